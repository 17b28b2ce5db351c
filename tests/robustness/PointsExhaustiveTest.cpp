// All values of the three bytes behind valid headers of one to four points, cut there and with more
// bytes behind them: the codec gives the value or the error that the literal reader gives.
//
// 16.7 million payloads a row; a run without KYV_THOROUGH=1 takes every 127th.

#include "Hex.h"
#include "PointsPayloads.h"
#include "Thorough.h"

#include <QtEndian>

#include <gtest/gtest.h>

using namespace kyv::test;

namespace {

struct Row
{
    const char *name;
    int yOffset;
    int tailSize;
    quint64 tailByte; ///< Each byte of the tail.
};

constexpr Row rows[] = {
    // Order codes and one byte of x; the last byte is y.
    {"yInTheLastByte", 10, 0, 0},
    // Both streams begin at the second byte.
    {"xAndYTogether", 9, 0, 0},
    // Order codes and the first bits of x, up to P and T; y is zero runs.
    {"zerosBehind", 31, 24, 0x00},
    {"onesBehind", 31, 24, 0xff},
    {"mixedBitsBehind", 28, 24, 0x9c},
};

class PointsExhaustive : public testing::TestWithParam<std::tuple<int, Row>>
{};

} // namespace

TEST_P(PointsExhaustive, threeBytesAreAValueOrTheError)
{
    const auto &[count, row] = GetParam();
    QByteArray payload(11, '\0');
    qToLittleEndian(quint32(count), payload.data());
    qToLittleEndian(quint32(row.yOffset), payload.data() + 4);
    payload.append(QByteArray(row.tailSize, char(row.tailByte)));

    const quint32 stride = isThorough() ? 1 : 127;
    for (quint32 value = 0; value < (1u << 24); value += stride) {
        payload[8] = char(value);
        payload[9] = char(value >> 8);
        payload[10] = char(value >> 16);
        ASSERT_TRUE(readersAgree(payload)) << toHex(payload);
    }
}

INSTANTIATE_TEST_SUITE_P(PointsExhaustiveTest, PointsExhaustive,
                         testing::Combine(testing::Range(1, 5), testing::ValuesIn(rows)),
                         [](const auto &row) {
                             return std::string(std::get<1>(row.param).name) + "Of"
                                    + std::to_string(std::get<0>(row.param));
                         });
