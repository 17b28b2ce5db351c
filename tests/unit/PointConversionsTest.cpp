#include <kyv_common_stable/PointConversions.h>

#include "Hex.h"

#include <gtest/gtest.h>

#include <limits>

using kyv::To;
using kyv::test::fromHex;
using kyv::test::toHex;

namespace {
const To<QByteArray> toBytes;
const To<QList<QPointF>> toPoints;
} // namespace

TEST(PointConversionsTest, xThenYAsLittleEndianDoubles)
{
    const QList<QPointF> points{{1.0, 2.0}, {-0.0, 0.1}};
    const auto bytes = kyv::interpretAs(points, toBytes);
    ASSERT_TRUE(bytes.hasValue());
    EXPECT_EQ(
        toHex(bytes.value()),
        toHex(fromHex("000000000000f03f 0000000000000040 0000000000000080 9a9999999999b93f")));
}

TEST(PointConversionsTest, emptyListAndEmptyBytes)
{
    EXPECT_TRUE(kyv::interpretAs(QList<QPointF>(), toBytes).value().isEmpty());
    EXPECT_TRUE(kyv::interpretAs(QByteArray(), toPoints).value().isEmpty());
}

TEST(PointConversionsTest, roundTripKeepsEveryBit)
{
    // Quiet and signalling NaNs, infinities, subnormals, both zeros.
    const QByteArray bytes = fromHex("010000000000f07f 000000000000f87f 000000000000f0ff "
                                     "0100000000000000 0000000000000080 0000000000000000");
    const auto points = kyv::interpretAs(bytes, toPoints);
    ASSERT_TRUE(points.hasValue());
    ASSERT_EQ(points.value().size(), 3);
    EXPECT_EQ(points.value()[1].x(), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(toHex(kyv::interpretAs(points.value(), toBytes).value()), toHex(bytes));
}

TEST(PointConversionsTest, sizeThatIsNoMultipleOf16Fails)
{
    for (const qsizetype size : {1, 15, 17, 24, 31}) {
        const auto points = kyv::interpretAs(QByteArray(size, '\0'), toPoints);
        ASSERT_FALSE(points.hasValue()) << size;
        EXPECT_EQ(points.error().code(), kyv::ErrorCode::InvalidInput);
        EXPECT_EQ(points.error().message(),
                  QStringLiteral("Size of interleaved points is not a multiple of 16 bytes: %1")
                      .arg(size));
        ASSERT_EQ(points.error().places().size(), 1);
        EXPECT_EQ(points.error().places()[0].file,
                  QStringLiteral("kyv_common_stable/src/PointConversions"));
    }
}
