#pragma once

#include <ms_compressor/PackParameters.h>

#include <QtGlobal>

namespace kyv::compressor::internal {

/// The exponent that spreads intensities from \a singleCount to \a rawMax over 1023 levels,
/// capped at about 0.8.
double powerOf(float rawMax, float singleCount);

/// \a value truncated toward zero; 0x80000000 where it is outside the 32-bit integers or NaN.
///
/// C++ leaves such conversions undefined; the format defines them as what x86 processors do.
constexpr qint32 truncateToInt32(double value) noexcept
{
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return fits ? qint32(value) : -0x7FFFFFFF - 1;
}

/// The power law between intensities and levels, for the scale of one set of parameters.
///
/// level() and intensity() are the definition: which steps are single and which double
/// precision, and their order, decide stored bytes and restored bits. IntensityKernels has the
/// loops that give the same results faster.
class IntensityQuantizer
{
public:
    explicit IntensityQuantizer(const PackParameters &parameters);

    /// The level of \a intensity; not clamped.
    quint32 level(float intensity) const noexcept;

    /// The intensity of \a level: exactly 0 for level 0, NaN where the formula gives NaN.
    float intensity(quint32 level) const noexcept;

    /// (x - rawOffset) / singleCount, not below 0: an intensity in counts.
    double counts(float intensity) const noexcept;

    double power() const noexcept { return m_power; }
    double inversePower() const noexcept { return m_inversePower; }
    double scale() const noexcept { return m_scale; }
    double inverseScale() const noexcept { return m_inverseScale; }
    float singleCount() const noexcept { return m_singleCount; }
    float rawOffset() const noexcept { return m_rawOffset; }
    quint32 levelOffset() const noexcept { return m_levelOffset; }
    quint32 maxLevel() const noexcept { return m_maxLevel; }

private:
    double m_power;
    double m_inversePower;
    double m_scale;        ///< levels = counts ^ power * scale
    double m_inverseScale; ///< counts = (levels * inverseScale) ^ inversePower
    float m_singleCount;
    float m_rawOffset;
    quint32 m_levelOffset; ///< compressedOffset() of the parameters
    quint32 m_maxLevel;    ///< maxCompressed() of the parameters
};

} // namespace kyv::compressor::internal
