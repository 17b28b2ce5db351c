// Stored lists with the payloads that the formats require, made by an independent implementation:
// a small set that comes with the tests, and the full set where KYV_VECTORS_DIR names one.

#include "ReferenceBitCompression.h"
#include "Hex.h"
#include "TestData.h"

#include <kyv_common_stable/PointConversions.h>

#include <gtest/gtest.h>

using namespace kyv;
using namespace kyv::test;

namespace {

QList<QPointF> pointsOf(const QByteArray &interleaved)
{
    return interpretAs(interleaved, To<QList<QPointF>>()).value();
}

QByteArray bytesOf(const QList<QPointF> &points)
{
    return interpretAs(points, To<QByteArray>()).value();
}
} // namespace

TEST(PointsVectorsTest, reference)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_VECTORS_DIR");
    const QDir dir(folder + QStringLiteral("/points"));
    for (const QString &name : dir.entryList({QStringLiteral("*.points")})) {
        const QString stem = dir.filePath(name.chopped(7));
        const auto points = pointsOf(fileContent(dir.filePath(name)));
        const QByteArray m2 = fileContent(stem + QStringLiteral(".m2"));
        EXPECT_EQ(reference::encodeBitCompressed(points), m2) << name.toStdString();
        const auto decoded = reference::decodeBitCompressed(m2);
        const QString status = decoded.points ? decoded.bitsPastEnd ? QStringLiteral("ok overread %1").arg(decoded.bitsPastEnd) : QStringLiteral("ok") : QStringLiteral("8 Inconsistent data.");
        EXPECT_EQ(status.toStdString(), fileContent(stem + QStringLiteral(".m2.status")).trimmed().toStdString());
        if (decoded.points)
            EXPECT_EQ(bytesOf(*decoded.points), fileContent(stem + QStringLiteral(".m2.dec"))) << name.toStdString();
    }
}
