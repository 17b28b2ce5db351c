// Stored lists with the payloads that the formats require, made by an independent implementation:
// a small set that comes with the tests, and the full set where KYV_VECTORS_DIR names one.
//
// NAME.points is the list (and the payload of method 0), NAME.m1 and NAME.m2 are the payloads of
// methods 1 and 2, NAME.m2.status and NAME.m2.dec what decoding NAME.m2 gives.

#include "Hex.h"
#include "PointsCodecs.h"
#include "TestData.h"

#include <kyv_common_stable/PointConversions.h>
#include <ms_compressor/PointsCompressor.h>

#include <gtest/gtest.h>

using namespace kyv;
using namespace kyv::compressor;
using namespace kyv::test;
using Method = PointsCompressionMethod;

namespace {

/// Compares without printing: the lists are long, and the name tells enough.
void expectSame(const QByteArray &actual, const QByteArray &expected, const char *what)
{
    EXPECT_TRUE(actual == expected)
        << what << ": " << actual.size() << " bytes, expected " << expected.size();
}

QByteArray interleaved(const QList<QPointF> &points)
{
    return interpretAs(points, To<QByteArray>()).value();
}

QByteArray encodedBy(Method method, const QList<QPointF> &points)
{
    return PointsCompressor().encode(points, method).value().data;
}

Result<QList<QPointF>> decodedBy(Method method, const QByteArray &payload)
{
    CompressedPointsData compressed;
    compressed.method = method;
    compressed.data = payload;
    return PointsCompressor().decode(compressed);
}

QString statusOf(const reference::DecodedPoints &decoded)
{
    if (!decoded.points)
        return QStringLiteral("8 Inconsistent data.");
    if (decoded.bitsPastEnd == 0)
        return QStringLiteral("ok");
    return QStringLiteral("ok overread %1").arg(decoded.bitsPastEnd);
}

QString statusOf(const Result<QList<QPointF>> &decoded)
{
    if (decoded.hasValue())
        return QStringLiteral("ok");
    return QStringLiteral("%1 %2").arg(int(decoded.error().code())).arg(decoded.error().message());
}

void checkBitCompressed(const QList<QPointF> &points, const QByteArray &payload,
                        const QString &status, const QByteArray &decodedPoints)
{
    expectSame(encodedBy(Method::PlanarDoubleFloatBitCompressedV1, points), payload, "m2");
    expectSame(reference::encodeBitCompressed(points), payload, "m2 by the reference");

    const auto literal = reference::decodeBitCompressed(payload);
    EXPECT_EQ(statusOf(literal), status);
    const auto decoded = decodedBy(Method::PlanarDoubleFloatBitCompressedV1, payload);
    EXPECT_EQ(statusOf(decoded), status.section(QStringLiteral(" overread"), 0, 0));
    if (literal.points)
        expectSame(interleaved(*literal.points), decodedPoints, "m2.dec by the reference");
    if (decoded.hasValue())
        expectSame(interleaved(decoded.value()), decodedPoints, "m2.dec");

    if (restoresX(points)) {
        expectSame(interleaved(storedPoints(points)), decodedPoints,
                   "the list that the rules promise");
    }
}

/// Checks one list by all methods, both ways.
void checkVector(const QDir &folder, const QString &name)
{
    SCOPED_TRACE(name.toStdString());
    const auto content = [&](const char *suffix) {
        return fileContent(folder.filePath(name + QLatin1String(suffix)));
    };
    const QByteArray bytes = content(".points");
    const QByteArray planar = content(".m1");
    const QString status = QString::fromLatin1(content(".m2.status")).trimmed();
    const auto points = decodedBy(Method::InterleavedDoubleDouble, bytes);
    ASSERT_TRUE(points.hasValue());

    expectSame(encodedBy(Method::InterleavedDoubleDouble, points.value()), bytes, "points");
    expectSame(encodedBy(Method::PlanarDoubleFloat, points.value()), planar, "m1");
    const auto fromPlanar = decodedBy(Method::PlanarDoubleFloat, planar);
    ASSERT_TRUE(fromPlanar.hasValue());
    expectSame(encodedBy(Method::PlanarDoubleFloat, fromPlanar.value()), planar, "m1 read back");

    checkBitCompressed(points.value(), content(".m2"), status,
                       status.startsWith(QStringLiteral("ok")) ? content(".m2.dec") : QByteArray());
}

void checkFolder(const QDir &folder, int atLeast)
{
    const QStringList files = folder.entryList({QStringLiteral("*.points")});
    EXPECT_GE(files.size(), atLeast);
    for (const QString &file : files)
        checkVector(folder, file.chopped(int(qstrlen(".points"))));
}

} // namespace

TEST(PointsVectorsTest, storedPayloadsThatComeWithTheTests)
{
    checkFolder(testDataPath(QStringLiteral("points")), 40);
}

TEST(PointsVectorsTest, allStoredPayloads)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_VECTORS_DIR");
    checkFolder(folder + QStringLiteral("/points"), 250);
}
