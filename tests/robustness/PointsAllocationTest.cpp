// What a call of the points service allocates. Sanitizers, which replace malloc themselves, leave
// this test out.

#include "AllocationWatch.h"
#include "SeededPoints.h"

#include "internal/BitCompression.h"

#include <ms_compressor/PointsCompressor.h>

#include <gtest/gtest.h>

#include <new>

using kyv::compressor::internal::BitCompression;
using namespace kyv::test;

namespace {

class PointsAllocationTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!AllocationWatch::isPossible())
            GTEST_SKIP() << "malloc cannot be watched here";
    }
};

/// Bytes for each point that the bit codec reserves for its output (section 10 of the document
/// explains the largest payload).
constexpr std::size_t reservedPerPoint = 15;

} // namespace

// One call takes the output as reserved, a byte for each point, and 64 KiB.
TEST_F(PointsAllocationTest, bitCodecTakesItsOutput)
{
    constexpr std::size_t beside = 65536;
    for (int x = 0; x < xKindCount; ++x) {
        const QList<QPointF> points = seededPoints(XKind(x), YKind(x % yKindCount), 200000, 5);
        const std::size_t count = std::size_t(points.size());
        QByteArray payload;
        EXPECT_LE(AllocationWatch::during([&] {
                      payload = BitCompression().encode(points).value();
                  }).peak,
                  reservedPerPoint * count + count + beside)
            << "kind " << x;
        EXPECT_LT(std::size_t(payload.capacity()), std::size_t(payload.size()) + 4096);
        EXPECT_LE(AllocationWatch::during([&] { (void)BitCompression().decode(payload); }).peak,
                  count * sizeof(QPointF) + count + beside)
            << "kind " << x;
    }
}

TEST_F(PointsAllocationTest, exhaustedMemoryIsThrown)
{
    using namespace kyv::compressor;
    const QList<QPointF> points = seededPoints(XKind(0), YKind(0), 200000, 5);
    for (const auto method : {PointsCompressionMethod::PlanarDoubleFloat,
                              PointsCompressionMethod::InterleavedDoubleDouble,
                              PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1}) {
        PointsCompressor compressor;
        const CompressedPointsData payload =
            compressor.encode(points, PointsCompressionParameters(method)).value();
        const AllocationWatch::Refusal refusal(size_t(points.size()) * sizeof(QPointF));
        EXPECT_THROW((void)compressor.decode(payload), std::bad_alloc) << int(method);
    }
}
