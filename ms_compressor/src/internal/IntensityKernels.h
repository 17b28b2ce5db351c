#pragma once

#include <QtGlobal>

#include <cstddef>
#include <span>

namespace kyv::compressor::internal {

class IntensityQuantizer;

/// What one pass over the kept differences |data[i] - data[i - 1]| > 0.5 finds.
struct DifferenceScan
{
    quint64 kept = 0;  ///< How many differences are kept.
    quint64 below = 0; ///< How many of them are less than the pass's limit.
    float next = 0;    ///< The smallest one not less than the limit; 0 if there is none.

    bool operator==(const DifferenceScan &) const = default;
};

/// The smallest and largest number among some intensities; equal signs of zero not guaranteed.
struct IntensityRange
{
    float smallest;
    float largest;
};

/// The loops over intensities that exist once in plain C++ and again for wider registers.
///
/// All sets give the same results to the last bit; the plain one is the definition.
struct IntensityKernels
{
    const char *name;

    /// Scans the differences between \a count neighbours against \a limit (above 0).
    DifferenceScan (*scanDifferences)(const float *data, std::size_t count, float limit);

    /// The range of \a count intensities without the NaNs; +infinity and -infinity, in this
    /// order, if there is no number among them. A zero may have either sign.
    IntensityRange (*findRange)(const float *data, std::size_t count);

    /// The level of each of \a count intensities.
    void (*quantize)(const IntensityQuantizer &quantizer, const float *intensities,
                     std::size_t count, quint32 *levels);

    /// The intensity of each of \a count levels.
    void (*dequantize)(const IntensityQuantizer &quantizer, const quint32 *levels,
                       std::size_t count, float *intensities);
};

/// The plain set: the definition, and what takes over the tails of the others.
extern const IntensityKernels plainIntensityKernels;

/// The best set that cpuFeatures() allows.
const IntensityKernels &intensityKernels();

/// Every set that cpuFeatures() allows, the plain one first and the best one last.
std::span<const IntensityKernels *const> availableIntensityKernels();

} // namespace kyv::compressor::internal
