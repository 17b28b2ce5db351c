// The intensity of one count, from the differences between neighbours.
//
// The rule (docs/formats/pack-parameters.md, "Single count") sorts all differences above 0.5 and
// groups them from the smallest up: a group takes everything below twice its base, the smallest
// difference that the groups before it left over. The answer is the base of the first group with
// which a fiftieth of the differences is reached.
//
// No sorting is needed for that: one pass counts what lies below twice the current base and finds
// the next base. Bases at least double, so there are at most 129 of them between 0.5 and infinity,
// and the groups that matter hold a fiftieth of the data: few passes over the list do.
//
// The subtle thing: the running sum is a float, so that above 2^24 it is rounded group by group.

#include "SingleCount.h"

#include "IntensityKernels.h"

#include <cmath>
#include <limits>

namespace kyv::compressor::internal {

namespace {

constexpr float smallestKept = 0.5F;
constexpr quint64 oftenEnough = 50; // a fiftieth of the kept differences

/// The groups with an infinite base: twice infinity is not greater than infinity, so every
/// infinite difference is a group of its own.
///
/// Format: Single count, "infinite differences".
float infiniteGroups(quint64 count, float sum, float threshold)
{
    for (quint64 i = 0; i < count; ++i) {
        sum += 1.0F;
        if (sum >= threshold)
            return std::numeric_limits<float>::infinity();
    }
    return 0.0F;
}

} // namespace

float estimateSingleCount(const float *data, std::size_t count)
{
    const auto scan = [&](float limit) {
        return intensityKernels().scanDifferences(data, count, limit);
    };
    const DifferenceScan all = scan(smallestKept);
    const float threshold = float(all.kept / oftenEnough);
    float base = all.next;
    float sum = 0.0F;
    quint64 grouped = 0;
    while (grouped < all.kept) {
        if (std::isinf(base))
            return infiniteGroups(all.kept - grouped, sum, threshold);
        // Twice the base may overflow to infinity; then every finite difference is below.
        const DifferenceScan group = scan(2.0F * base);
        sum += float(group.below - grouped);
        if (sum >= threshold)
            return base;
        grouped = group.below;
        base = group.next;
    }
    return 0.0F;
}

} // namespace kyv::compressor::internal
