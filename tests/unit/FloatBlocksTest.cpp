#include "internal/FloatBlocks.h"

#include "CpuLevels.h"
#include "Hex.h"
#include "PointBits.h"
#include "SeededPoints.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

using namespace kyv::compressor::internal;
using namespace kyv::test;

namespace {

QByteArray written(const QList<QPointF> &points)
{
    QByteArray bytes(points.size() * 8 + 64, '\xFF');
    BitWriter writer(reinterpret_cast<uchar *>(bytes.data()), 0);
    writer = writeFloatBlocks(writer, points.constData(), points.size());
    writer.alignToByte();
    return bytes.left(qsizetype(writer.position() / 8));
}

/// The y that reading gives, as bit patterns, or nothing where it fails.
std::optional<QList<quint64>> patternsOf(bool sound, const QList<QPointF> &points)
{
    if (!sound)
        return std::nullopt;
    QList<quint64> patterns;
    for (const QPointF &point : points)
        patterns.append(std::bit_cast<quint64>(point.y()));
    return patterns;
}

std::optional<QList<quint64>> readFast(const QByteArray &bytes, qsizetype count)
{
    QList<QPointF> points(count, QPointF(7, 7));
    const bool sound = readFloatBlocks(reinterpret_cast<const uchar *>(bytes.constData()),
                                       quint64(bytes.size()), 0, points.data(), count);
    return patternsOf(sound, points);
}

std::optional<QList<quint64>> readPlain(const QByteArray &bytes, qsizetype count)
{
    QList<QPointF> points(count, QPointF(7, 7));
    const BitReader reader(reinterpret_cast<const uchar *>(bytes.constData()),
                           quint64(bytes.size()), 0);
    const bool sound =
        kyv::compressor::internal::detail::readFloatBlocksPlain(reader, points.data(), count);
    return patternsOf(sound, points);
}

QList<QPointF> pointsWithY(std::initializer_list<double> ys)
{
    QList<QPointF> points;
    for (const double y : ys)
        points.append(QPointF(0, y));
    return points;
}

} // namespace

TEST(FloatBlocksTest, eightZerosAreOneRun)
{
    EXPECT_EQ(toHex(written(QList<QPointF>(8))), "0e");
}

TEST(FloatBlocksTest, nineZerosAreTwoRuns)
{
    EXPECT_EQ(toHex(written(QList<QPointF>(9))), "0e"); // 1110, then 0000
    EXPECT_EQ(toHex(written(QList<QPointF>(17))), "ee 00");
}

TEST(FloatBlocksTest, negativeZeroJoinsTheRun)
{
    EXPECT_EQ(toHex(written(pointsWithY({0.0, -0.0}))), "02");
}

TEST(FloatBlocksTest, singleFloatStandsWhole)
{
    // 1.0 is 3f800000: marker 1, count 0, then 32 bits.
    EXPECT_EQ(toHex(written(pointsWithY({1.0}))), toHex(fromHex("01 00 00 f0 07")));
}

TEST(FloatBlocksTest, equalFloatsShareSevenAndSixteenBits)
{
    // 3f803f80: prefix 0011111 of 7, flag, 16 trailing bits 3f80, and 9 middle bits 110000000 each.
    const double y = double(std::bit_cast<float>(0x3f803f80u));
    const QByteArray bytes = written(pointsWithY({y, y}));
    EXPECT_EQ(bytes.size(), (1 + 4 + 3 + 7 + 1 + 5 + 16 + 2 * 9 + 7) / 8);
    EXPECT_EQ(readFast(bytes, 2), patternsOf(true, pointsWithY({y, y})));
}

TEST(FloatBlocksTest, valuesAreNarrowedToFloat)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(readFast(written(pointsWithY({0.1, 1e300, -1e300, 1e-300})), 4),
              patternsOf(true, pointsWithY({double(0.1f), infinity, -infinity, 0.0})));
}

TEST(FloatBlocksTest, leadingAndTrailingBitsBeyond32AreRefused)
{
    // Two floats, 7 leading bits (0), flag, 26 trailing bits.
    quint64 bits = 1 | 1 << 1 | 7 << 5 | 1 << 15 | 26 << 16;
    QByteArray bytes(200, '\0');
    memcpy(bytes.data(), &bits, sizeof bits);
    EXPECT_FALSE(readFast(bytes, 2).has_value());
    EXPECT_FALSE(readFast(bytes, 20).has_value());
    EXPECT_FALSE(readPlain(bytes, 2).has_value());
    bits = 1 | 1 << 1 | 7 << 5 | 1 << 15 | 25 << 16; // no middle bits left, but sound
    memcpy(bytes.data(), &bits, sizeof bits);
    EXPECT_TRUE(readFast(bytes, 20).has_value());
    EXPECT_EQ(readFast(bytes, 20), readPlain(bytes, 20));
}

TEST(FloatBlocksTest, everyPathReadsWhatThePlainOneDoes)
{
    for (const CpuLevel &level : cpuLevels()) {
        const LimitedCpuFeatures limited(level.features);
        for (int kind = 0; kind < yKindCount; ++kind) {
            for (const qsizetype count : {1, 15, 16, 17, 100, 1000}) {
                SCOPED_TRACE(testing::Message()
                             << level.name << ", " << name(YKind(kind)) << ", " << count);
                const QByteArray bytes =
                    written(seededPoints(XKind::LinearGrid, YKind(kind), count, 1));
                ASSERT_EQ(readFast(bytes, count), readPlain(bytes, count));
                ASSERT_TRUE(readFast(bytes, count).has_value());
                ASSERT_FALSE(readFast(bytes.chopped(1), count).has_value());
            }
        }
    }
}

TEST(FloatBlocksTest, everyPathReadsAnyBytesAsThePlainOneDoes)
{
    for (const CpuLevel &level : cpuLevels()) {
        const LimitedCpuFeatures limited(level.features);
        for (quint64 seed = 0; seed < 20000; ++seed) {
            SeededRandom random(seed);
            QByteArray bytes(qsizetype(1 + random.below(400)), '\0');
            for (char &byte : bytes)
                byte = char(random.oneIn(3) ? 0xEE : random.next());
            const qsizetype count = qsizetype(1 + random.below(1000));
            ASSERT_EQ(readFast(bytes, count), readPlain(bytes, count))
                << level.name << ", seed " << seed;
        }
    }
}
