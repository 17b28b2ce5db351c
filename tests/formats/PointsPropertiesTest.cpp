// What holds for every list of points, on generated lists of all kinds: the library's codec writes
// the bytes of the literal writer, reads what the literal reader reads, restores what the format
// promises, and stays within the format's bounds.

#include "PointsCodecs.h"
#include "SeededPoints.h"
#include "Thorough.h"

#include <kyv_common_stable/PointConversions.h>
#include <ms_compressor/PointsCompressor.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>

using namespace kyv::test;
using namespace kyv::compressor;
using Method = PointsCompressionMethod;

namespace {

/// The literal writer is asked about every list of these tests.
constexpr qsizetype always = std::numeric_limits<qsizetype>::max();

} // namespace

TEST(PointsPropertiesTest, everyKindOfXWithEveryKindOfY)
{
    const quint64 seeds = isThorough() ? 200 : 2;
    for (int x = 0; x < xKindCount; ++x) {
        for (int y = 0; y < yKindCount; ++y) {
            for (quint64 seed = 0; seed < seeds; ++seed) {
                const qsizetype count = qsizetype(SeededRandom(seed + 100).below(700));
                const char *failed =
                    failedProperty(seededPoints(XKind(x), YKind(y), count, seed), always);
                ASSERT_EQ(failed, nullptr) << name(XKind(x)) << " with " << name(YKind(y)) << ", "
                                           << count << " points, seed " << seed;
            }
        }
    }
}

RC_GTEST_PROP(PointsPropertiesTest, shortLists, ())
{
    const auto x = XKind(*rc::gen::inRange(0, xKindCount).as("kind of x"));
    const auto y = YKind(*rc::gen::inRange(0, yKindCount).as("kind of y"));
    const int count = *rc::gen::inRange(0, 40).as("points");
    const auto seed = *rc::gen::arbitrary<quint64>().as("seed");
    const char *failed = failedProperty(seededPoints(x, y, count, seed), always);
    RC_ASSERT(failed == nullptr);
}

RC_GTEST_PROP(PointsPropertiesTest, listsOfFewBits, ())
{
    // Patterns whose bits lie close together meet the limits of every rule far more often than
    // measured values do; a list of them shrinks to the few points that matter.
    const auto shift = *rc::gen::inRange(0, 60).as("shift");
    const auto patterns =
        *rc::gen::container<std::vector<quint64>>(rc::gen::inRange<quint64>(0, 70000))
             .as("x patterns before the shift");
    const auto floats =
        *rc::gen::container<std::vector<quint32>>(
             patterns.size(), rc::gen::element<quint32>(0, 0x80000000, 1, 0x10000, 0x3f800000,
                                                        0x3f810000, 0xbf800000, 0x7fc00000))
             .as("y patterns");
    QList<QPointF> points;
    for (std::size_t i = 0; i < patterns.size(); ++i)
        points.append(
            QPointF(fromPattern(patterns[i] << shift), double(std::bit_cast<float>(floats[i]))));
    const char *failed = failedProperty(points, always);
    RC_ASSERT(failed == nullptr);
}

RC_GTEST_PROP(PointsPropertiesTest, plainLayoutsKeepWhatTheyPromise, ())
{
    const auto x = XKind(*rc::gen::inRange(0, xKindCount).as("kind of x"));
    const auto y = YKind(*rc::gen::inRange(0, yKindCount).as("kind of y"));
    const int count = *rc::gen::inRange(0, 40).as("points");
    const auto seed = *rc::gen::arbitrary<quint64>().as("seed");
    QList<QPointF> points = seededPoints(x, y, count, seed);
    PointsCompressor compressor;

    const auto whole = compressor.encode(points, Method::InterleavedDoubleDouble);
    RC_ASSERT(whole.value().data.size() == 16 * count);
    RC_ASSERT(sameBits(compressor.decode(whole.value()).value(), points));

    const auto planar = compressor.encode(points, Method::PlanarDoubleFloat);
    RC_ASSERT(planar.value().data.size() == 12 * count);
    for (QPointF &point : points)
        point.setY(double(float(point.y())));
    RC_ASSERT(sameBits(compressor.decode(planar.value()).value(), points));
}
