// The power law of quantized intensities, step by step as docs/formats/intensities.md and
// docs/formats/pack-parameters.md number them.
//
// pow, log and exp are the C library's: levels and restored intensities depend on their last
// bit, so nothing here may be rearranged, hoisted into another precision or fused. The build
// turns contraction off for the whole project (cmake/KyvCompileOptions.cmake).

#include "IntensityQuantizer.h"

#include <algorithm>
#include <cmath>

namespace kyv::compressor::internal {

namespace {

constexpr double lowestLevel = 1.0;
constexpr double highestLevel = 1023.0;
constexpr double largestPower = 0.8;

} // namespace

double powerOf(float rawMax, float singleCount)
{
    const double range = double(rawMax) / double(singleCount);
    const double k = (std::log(lowestLevel) / std::log(highestLevel) + 1.0) / std::log(range);
    double power = std::log(highestLevel) * k;
    if (power > largestPower) {
        // Format: Power, "cap": the range to the power 0.8, rounded up to a whole level.
        const qint32 highest = truncateToInt32(std::ceil(std::exp(largestPower / k)));
        power = std::log(double(highest)) * k;
    }
    // Format: Power, "no range": rawMax equal to singleCount, or a list of zeros.
    return std::isnan(power) ? largestPower : power;
}

IntensityQuantizer::IntensityQuantizer(const PackParameters &parameters)
    : m_power(parameters.power())
    , m_inversePower(1.0 / parameters.power())
    , m_singleCount(parameters.singleCount())
    , m_rawOffset(parameters.rawOffset())
    , m_levelOffset(parameters.compressedOffset())
    , m_maxLevel(parameters.maxCompressed())
{
    const double highest = double(m_levelOffset + m_maxLevel);
    const float range = (parameters.rawMax() - m_rawOffset) / m_singleCount;
    const double rangePower = std::pow(double(range), m_power);
    m_scale = highest / rangePower;
    m_inverseScale = rangePower * (1.0 / highest);
}

double IntensityQuantizer::counts(float intensity) const noexcept
{
    return std::max(double(intensity - m_rawOffset), 0.0) / double(m_singleCount);
}

quint32 IntensityQuantizer::level(float intensity) const noexcept
{
    if (!(intensity > 0.0F)) // NaN too
        return 0;
    const double scaled = std::pow(counts(intensity), m_power) * m_scale;
    // Format: Quantizing, "rounding": adding a half and truncating is not lround().
    const double rounded = scaled > 0.0 ? scaled + 0.5 : scaled - 0.5;
    return quint32(truncateToInt32(rounded)) - m_levelOffset;
}

float IntensityQuantizer::intensity(quint32 level) const noexcept
{
    if (level == 0)
        return 0.0F;
    const qint32 scaled = qint32(m_levelOffset + level);
    const double counts = std::pow(double(scaled) * m_inverseScale, m_inversePower);
    return float(counts * double(m_singleCount) + double(m_rawOffset));
}

} // namespace kyv::compressor::internal
