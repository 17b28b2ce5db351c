#include <ms_compressor/PointsCompressor.h>

#include "Hex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace kyv::compressor;
using kyv::ErrorCode;
using kyv::test::fromHex;
using kyv::test::toHex;
using Method = PointsCompressionMethod;

namespace {

CompressedPointsData record(Method method, const QByteArray &payload)
{
    CompressedPointsData compressed;
    compressed.method = method;
    compressed.data = payload;
    return compressed;
}

QList<QPointF> decoded(Method method, const QByteArray &payload)
{
    const auto points = PointsCompressor().decode(record(method, payload));
    EXPECT_TRUE(points.hasValue());
    EXPECT_TRUE(points.warnings().isEmpty());
    return points.hasValue() ? points.value() : QList<QPointF>();
}

QByteArray encoded(Method method, const QList<QPointF> &points)
{
    const auto compressed = PointsCompressor().encode(points, method);
    EXPECT_TRUE(compressed.hasValue());
    EXPECT_TRUE(compressed.warnings().isEmpty());
    if (!compressed.hasValue())
        return {};
    EXPECT_EQ(compressed.value().method, method);
    return compressed.value().data;
}

constexpr char unit[] = "ms_compressor/src/PointsCompressor";

} // namespace

TEST(PointsCompressorTest, defaultRecordIsEmptyAndInterleaved)
{
    const CompressedPointsData compressed;
    EXPECT_EQ(compressed.method, Method::InterleavedDoubleDouble);
    EXPECT_TRUE(compressed.data.isEmpty());
}

TEST(PointsCompressorTest, emptyListsAreEmptyPayloads)
{
    for (const Method method : {Method::InterleavedDoubleDouble, Method::PlanarDoubleFloat,
                                Method::PlanarDoubleFloatBitCompressedV1}) {
        EXPECT_TRUE(encoded(method, {}).isEmpty());
        EXPECT_TRUE(decoded(method, {}).isEmpty());
    }
}

TEST(PointsCompressorTest, onePointPlanar)
{
    EXPECT_EQ(toHex(encoded(Method::PlanarDoubleFloat, {{1.0, 2.0}})),
              "00 00 00 00 00 00 f0 3f 00 00 00 40");
}

TEST(PointsCompressorTest, planarKeepsXAndThenY)
{
    EXPECT_EQ(toHex(encoded(Method::PlanarDoubleFloat, {{1.0, 2.0}, {-0.5, 0.1}})),
              toHex(fromHex("000000000000f03f 000000000000e0bf | 00000040 cdcccc3d")));
}

TEST(PointsCompressorTest, onePointInterleaved)
{
    EXPECT_EQ(toHex(encoded(Method::InterleavedDoubleDouble, {{1.0, 2.0}})),
              "00 00 00 00 00 00 f0 3f 00 00 00 00 00 00 00 40");
}

TEST(PointsCompressorTest, planarNarrowsY)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const QList<QPointF> points{{0.1, 0.1}, {2, 1e300}, {3, -1e300}, {4, 1e-60}, {5, std::nan("")}};
    const QList<QPointF> back =
        decoded(Method::PlanarDoubleFloat, encoded(Method::PlanarDoubleFloat, points));
    ASSERT_EQ(back.size(), 5);
    EXPECT_EQ(back[0].x(), 0.1);
    EXPECT_EQ(back[0].y(), 0.100000001490116119384765625);
    EXPECT_EQ(back[1].y(), infinity);
    EXPECT_EQ(back[2].y(), -infinity);
    EXPECT_EQ(back[3].y(), 0.0);
    EXPECT_TRUE(std::isnan(back[4].y()));
}

TEST(PointsCompressorTest, planarNarrowsTiesToEven)
{
    // 1 + 2^-24 lies halfway between 1 and the next float; 1 + 3 * 2^-24 between the next two.
    const double low = 1.0 + std::ldexp(1.0, -24);
    const double high = 1.0 + 3 * std::ldexp(1.0, -24);
    const auto back = decoded(Method::PlanarDoubleFloat,
                              encoded(Method::PlanarDoubleFloat, {{1, low}, {2, high}}));
    EXPECT_EQ(back[0].y(), 1.0);
    EXPECT_EQ(back[1].y(), 1.0 + std::ldexp(1.0, -22));
}

TEST(PointsCompressorTest, planarIgnoresTheRemainder)
{
    const QByteArray point = fromHex("000000000000f03f 00000040");
    EXPECT_TRUE(decoded(Method::PlanarDoubleFloat, point.first(11)).isEmpty());
    for (qsizetype extra = 0; extra < 12; ++extra) {
        const auto points = decoded(Method::PlanarDoubleFloat, point + QByteArray(extra, '\x55'));
        ASSERT_EQ(points.size(), 1) << extra;
        EXPECT_EQ(points[0], QPointF(1.0, 2.0)) << extra;
    }
}

TEST(PointsCompressorTest, interleavedRemainderFailsAndIsPassedOn)
{
    const auto points =
        PointsCompressor().decode(record(Method::InterleavedDoubleDouble, QByteArray(17, '\0')));
    ASSERT_FALSE(points.hasValue());
    EXPECT_EQ(points.error().code(), ErrorCode::InvalidInput);
    ASSERT_EQ(points.error().places().size(), 2);
    EXPECT_EQ(points.error().places()[0].file,
              QStringLiteral("kyv_common_stable/src/PointConversions"));
    EXPECT_EQ(points.error().places()[1].file, QLatin1String(unit));
    EXPECT_TRUE(
        points.error().places()[1].function.contains(QLatin1String("PointsCompressor::decode")));
}

TEST(PointsCompressorTest, bitCompressedFailureIsPassedOn)
{
    const auto points = PointsCompressor().decode(
        record(Method::PlanarDoubleFloatBitCompressedV1, QByteArray(3, '\1')));
    ASSERT_FALSE(points.hasValue());
    EXPECT_EQ(points.error().code(), ErrorCode::InconsistentData);
    EXPECT_EQ(points.error().message(), QStringLiteral("Inconsistent data."));
    ASSERT_EQ(points.error().places().size(), 2);
    const kyv::ErrorPlace &inner = points.error().places()[0];
    EXPECT_EQ(inner.file, QStringLiteral("ms_compressor/src/internal/BitCompression"));
    EXPECT_EQ(inner.line, 1045);
    EXPECT_TRUE(inner.function.contains(QLatin1String("BitCompression::decode")));
    EXPECT_EQ(points.error().places()[1].file, QLatin1String(unit));
}

TEST(PointsCompressorTest, unknownMethodsAreRefusedBothWays)
{
    for (const int number :
         {-1, 3, 99, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        const auto compressed = PointsCompressor().encode({{1, 1}}, Method(number));
        ASSERT_FALSE(compressed.hasValue());
        EXPECT_EQ(compressed.error().code(), ErrorCode::InvalidInput);
        EXPECT_EQ(compressed.error().message(),
                  QStringLiteral("Unhandled compression method: %1").arg(number));
        ASSERT_EQ(compressed.error().places().size(), 1);
        EXPECT_EQ(compressed.error().places()[0].file, QLatin1String(unit));

        const auto points = PointsCompressor().decode(record(Method(number), "anything"));
        ASSERT_FALSE(points.hasValue());
        EXPECT_EQ(points.error().code(), ErrorCode::InvalidInput);
        EXPECT_EQ(points.error().message(),
                  QStringLiteral("Unsupported compression method: %1").arg(number));
        ASSERT_EQ(points.error().places().size(), 1);
    }
}

TEST(PointsCompressorTest, aSpectrumComesBackByEveryMethod)
{
    QList<QPointF> spectrum;
    for (int i = 0; i < 500; ++i)
        spectrum.append({100.0 + i * 0.1 + i * i * 1e-6, i % 7 == 0 ? 0.0 : double(i % 91) * 0.25});
    PointsCompressor compressor; // one object serves any number of calls
    for (const int number : {0, 1, 2}) {
        const auto compressed = compressor.encode(spectrum, Method(number));
        ASSERT_TRUE(compressed.hasValue());
        const auto points = compressor.decode(compressed.value());
        ASSERT_TRUE(points.hasValue());
        EXPECT_EQ(points.value().size(), spectrum.size());
        for (qsizetype i = 0; i < spectrum.size(); ++i) {
            EXPECT_EQ(points.value()[i].x(), spectrum[i].x()) << number << ' ' << i;
            EXPECT_EQ(points.value()[i].y(), spectrum[i].y()) << number << ' ' << i;
        }
    }
}
