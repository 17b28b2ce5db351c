// The plain loops over intensities, which define what every set gives, and the choice of a set.

#include "IntensityKernels.h"

#include "CpuFeatures.h"
#include "IntensityQuantizer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kyv::compressor::internal {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

DifferenceScan scanDifferences(const float *data, std::size_t count, float limit)
{
    DifferenceScan scan;
    float next = infinity;
    for (std::size_t i = 1; i < count; ++i) {
        const float difference = std::fabs(data[i] - data[i - 1]);
        if (!(difference > 0.5F)) // NaN too
            continue;
        ++scan.kept;
        if (difference < limit)
            ++scan.below;
        else
            next = std::min(next, difference);
    }
    if (scan.below < scan.kept)
        scan.next = next;
    return scan;
}

IntensityRange findRange(const float *data, std::size_t count)
{
    IntensityRange range{infinity, -infinity};
    for (std::size_t i = 0; i < count; ++i) {
        // A NaN is neither smaller nor larger.
        range.smallest = data[i] < range.smallest ? data[i] : range.smallest;
        range.largest = data[i] > range.largest ? data[i] : range.largest;
    }
    return range;
}

void quantize(const IntensityQuantizer &quantizer, const float *intensities, std::size_t count,
              quint32 *levels)
{
    for (std::size_t i = 0; i < count; ++i)
        levels[i] = quantizer.level(intensities[i]);
}

void dequantize(const IntensityQuantizer &quantizer, const quint32 *levels, std::size_t count,
                float *intensities)
{
    for (std::size_t i = 0; i < count; ++i)
        intensities[i] = quantizer.intensity(levels[i]);
}

} // namespace

const IntensityKernels plainIntensityKernels{
    "plain", scanDifferences, findRange, quantize, dequantize,
};

#ifdef KYV_HAS_AVX512
extern const IntensityKernels avx2IntensityKernels;
extern const IntensityKernels avx512IntensityKernels;
#endif

std::span<const IntensityKernels *const> availableIntensityKernels()
{
#ifdef KYV_HAS_AVX512
    static constexpr const IntensityKernels *sets[] = {
        &plainIntensityKernels, &avx2IntensityKernels, &avx512IntensityKernels};
    const CpuFeatures &features = cpuFeatures();
    return std::span(sets).first(features.avx512 ? 3 : features.avx2 ? 2 : 1);
#else
    static constexpr const IntensityKernels *sets[] = {&plainIntensityKernels};
    return sets;
#endif
}

const IntensityKernels &intensityKernels()
{
    return *availableIntensityKernels().back();
}

} // namespace kyv::compressor::internal
