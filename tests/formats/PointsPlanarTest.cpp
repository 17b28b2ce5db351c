// docs/formats/points-planar.md: its worked examples and kept oddities.

#include "Hex.h"
#include "PointBits.h"

#include <ms_compressor/PointsCompressor.h>

#include <gtest/gtest.h>

#include <limits>

using namespace kyv::compressor;
using namespace kyv::test;
using Method = PointsCompressionMethod;

namespace {

struct Row
{
    const char *name;
    Method method;
    QList<QPointF> points;
    const char *payload;
    QList<QPointF> comesBack;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

class PointsPlanar : public testing::TestWithParam<Row>
{};

constexpr double inf = std::numeric_limits<double>::infinity();

const Row rows[] = {
    {"interleaved",
     Method::InterleavedDoubleDouble,
     {{1, 2}, {-0.0, 0.1}},
     "000000000000f03f 0000000000000040 0000000000000080 9a9999999999b93f",
     {{1, 2}, {-0.0, 0.1}}},
    {"planar", Method::PlanarDoubleFloat, {{1, 2}}, "000000000000f03f 00000040", {{1, 2}}},
    {"planarOfTwoPoints",
     Method::PlanarDoubleFloat,
     {{0.1, 0.1}, {5, -0.0}},
     "9a9999999999b93f 0000000000001440 cdcccc3d 00000080",
     {{0.1, 0.100000001490116119384765625}, {5, -0.0}}},
    {"planarBeyondTheRangeOfFloats",
     Method::PlanarDoubleFloat,
     {{1, 1e39}, {1, -1e-60}},
     "000000000000f03f 000000000000f03f 0000807f 00000080",
     {{1, inf}, {1, -0.0}}},
};

} // namespace

TEST_P(PointsPlanar, isWrittenAndRead)
{
    const Row &row = GetParam();
    const auto encoded = PointsCompressor().encode(row.points, row.method);
    ASSERT_TRUE(encoded.hasValue());
    EXPECT_EQ(toHex(encoded.value().data), toHex(fromHex(row.payload)));
    const auto decoded = PointsCompressor().decode(encoded.value());
    ASSERT_TRUE(decoded.hasValue());
    EXPECT_EQ(exactText(decoded.value()), exactText(row.comesBack));
}

INSTANTIATE_TEST_SUITE_P(PointsPlanarTest, PointsPlanar, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(PointsPlanarTest, remainderBehindWholePointsIsIgnored)
{
    // The y block begins behind the x of the whole points, whatever the size.
    CompressedPointsData compressed;
    compressed.method = Method::PlanarDoubleFloat;
    for (int remainder = 0; remainder < 12; ++remainder) {
        compressed.data = fromHex("000000000000f03f 00000040") + QByteArray(remainder, '\x7f');
        const auto decoded = PointsCompressor().decode(compressed);
        ASSERT_TRUE(decoded.hasValue());
        EXPECT_EQ(exactText(decoded.value()), exactText({{1, 2}}));

        compressed.data = QByteArray(remainder, '\x7f');
        EXPECT_TRUE(PointsCompressor().decode(compressed).value().isEmpty());
    }
}
