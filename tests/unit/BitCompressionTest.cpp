#include "internal/BitCompression.h"

#include "Hex.h"
#include "TestData.h"

#include <kyv_common_stable/PointConversions.h>

#include <gtest/gtest.h>

using kyv::compressor::internal::BitCompression;

namespace {

QList<QPointF> pointsOf(const QByteArray &bytes)
{
    return kyv::interpretAs(bytes, kyv::To<QList<QPointF>>()).value();
}

QByteArray bytesOf(const QList<QPointF> &points)
{
    return kyv::interpretAs(points, kyv::To<QByteArray>()).value();
}

} // namespace

TEST(BitCompressionTest, conformanceVectorsBothWays)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_VECTORS_DIR");
    const QDir dir(folder + QStringLiteral("/points"));
    const QStringList names = dir.entryList({QStringLiteral("*.points")}, QDir::Files);
    ASSERT_FALSE(names.isEmpty());
    for (const QString &name : names) {
        SCOPED_TRACE(name.toStdString());
        const QString base = dir.filePath(name.chopped(7));
        const QByteArray payload = kyv::test::fileContent(base + QStringLiteral(".m2"));
        const auto encoded =
            BitCompression().encode(pointsOf(kyv::test::fileContent(dir.filePath(name))));
        ASSERT_TRUE(encoded.hasValue());
        EXPECT_EQ(encoded.value(), payload);

        const QByteArray status = kyv::test::fileContent(base + QStringLiteral(".m2.status"));
        const auto decoded = BitCompression().decode(payload);
        ASSERT_EQ(decoded.hasValue(), status.startsWith("ok")) << status.constData();
        if (decoded.hasValue()) {
            EXPECT_EQ(bytesOf(decoded.value()),
                      kyv::test::fileContent(base + QStringLiteral(".m2.dec")));
        } else {
            EXPECT_EQ(decoded.error().code(), kyv::ErrorCode::InconsistentData);
        }
    }
}
