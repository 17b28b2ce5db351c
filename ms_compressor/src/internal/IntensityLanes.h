#pragma once

// The loops of IntensityKernels over any register width, written once.
//
// Included only by the sources that are compiled for one instruction set each. The lanes, which
// wrap that set, live in an anonymous namespace there, so that no two of them share an
// instantiation; nothing else in here may be emitted as a shared function either.
//
// The power law is computed approximately, with a bound on the error: a level or a float that is
// the same at both ends of the interval is the one that the exact formula gives (conversions and
// sums round monotonically). Lanes for which the ends differ and everything out of the ordinary
// go to the plain formula. docs/quantizer-exactness.md derives the bounds.
//
// Real lanes hold floats or doubles: floats serve the quantizing of scales of up to 4096 levels,
// whose boundaries lie far apart; doubles serve wider scales and the restored floats.

#include "IntensityKernels.h"
#include "IntensityQuantizer.h"

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

namespace kyv::compressor::internal {

namespace {

constexpr double ln2 = 0.69314718055994530942;

/// What an approximation in one precision consists of, and how far it is trusted.
template <typename Real>
struct Precision;

template <>
struct Precision<float>
{
    using Word = quint32;
    static constexpr int mantissaBits = 23;
    static constexpr float exponentBias = 127.0F;
    static constexpr float roundingBase = 0x1.8p23F; ///< adding it rounds to a whole number
    static constexpr std::size_t log2Terms = 4;
    static constexpr std::size_t exp2Terms = 7;
    static constexpr double largestExponent = 32.0; ///< of two, of bases and of powers
    static constexpr double errorUnit = 0x1p-18;
    static constexpr double smallestFactor = 0x1p-100; ///< factors within fit into a Real
    static constexpr double largestFactor = 0x1p100;
};

template <>
struct Precision<double>
{
    using Word = quint64;
    static constexpr int mantissaBits = 52;
    static constexpr double exponentBias = 1023.0;
    static constexpr double roundingBase = 0x1.8p52;
    static constexpr std::size_t log2Terms = 8;
    static constexpr std::size_t exp2Terms = 12;
    static constexpr double largestExponent = 1000.0;
    static constexpr double errorUnit = 0x1p-40;
    static constexpr double smallestFactor = 0x1p-1000;
    static constexpr double largestFactor = 0x1p1000;
};

/// log2(m) = s * (c[0] + c[1] s^2 + c[2] s^4 + ...) with s = (m - 1) / (m + 1): the series of
/// the inverse hyperbolic tangent, c[k] = 2 / ((2k + 1) ln 2).
template <typename Real>
constexpr auto log2Coefficients = [] {
    std::array<Real, Precision<Real>::log2Terms> c{};
    for (std::size_t k = 0; k < c.size(); ++k)
        c[k] = Real(2.0 / (double(2 * k + 1) * ln2));
    return c;
}();

/// 2^r = c[0] + c[1] r + c[2] r^2 + ... with c[k] = (ln 2)^k / k!.
template <typename Real>
constexpr auto exp2Coefficients = [] {
    std::array<Real, Precision<Real>::exp2Terms> c{};
    double coefficient = 1.0;
    for (std::size_t k = 0; k < c.size(); ++k) {
        c[k] = Real(coefficient);
        coefficient *= ln2 / double(k + 1);
    }
    return c;
}();

/// c[0] + c[1] x + c[2] x^2 + ..., even and odd terms in two chains that run side by side.
template <class Lanes, std::size_t terms>
inline typename Lanes::Reals polynomial(const std::array<typename Lanes::Real, terms> &c,
                                        typename Lanes::Reals x)
{
    const auto square = Lanes::multiply(x, x);
    auto upper = Lanes::reals(c[terms - 1]);
    auto lower = Lanes::reals(c[terms - 2]);
    for (std::size_t k = terms - 2; k >= 2; k -= 2) {
        upper = Lanes::multiplyAdd(upper, square, Lanes::reals(c[k - 1]));
        lower = Lanes::multiplyAdd(lower, square, Lanes::reals(c[k - 2]));
        if (k == 3) // an odd number of terms leaves c[0] over
            return Lanes::multiplyAdd(Lanes::multiplyAdd(upper, x, lower), x, Lanes::reals(c[0]));
    }
    return Lanes::multiplyAdd(upper, x, lower);
}

/// log2 of normal positive numbers.
template <class Lanes>
inline typename Lanes::Reals approximateLog2(typename Lanes::Reals value)
{
    using Real = typename Lanes::Real;
    using Word = typename Precision<Real>::Word;
    // Adding what sqrt(1/2) lacks to 1 carries into the exponent exactly from sqrt(2) on, so the
    // mantissa lies between the two.
    constexpr Word one = std::bit_cast<Word>(Real(1));
    constexpr Word carry = one - std::bit_cast<Word>(Real(0.70710678118654752440));
    constexpr Word exponentField = ~((Word(1) << Precision<Real>::mantissaBits) - 1);
    const auto bits = Lanes::bitsOf(value);
    const auto carried = Lanes::add(bits, Lanes::words(carry));
    const auto exponentBits = Lanes::bitAnd(carried, Lanes::words(exponentField));
    const auto mantissa =
        Lanes::realsOf(Lanes::subtract(bits, Lanes::subtract(exponentBits, Lanes::words(one))));
    const auto exponent = Lanes::subtract(Lanes::biasedExponents(carried),
                                          Lanes::reals(Precision<Real>::exponentBias));

    const auto s = Lanes::divide(Lanes::subtract(mantissa, Lanes::reals(1)),
                                 Lanes::add(mantissa, Lanes::reals(1)));
    const auto series = polynomial<Lanes>(log2Coefficients<Real>, Lanes::multiply(s, s));
    return Lanes::multiplyAdd(s, series, exponent);
}

/// 2 ^ exponent for exponents within largestExponent.
template <class Lanes>
inline typename Lanes::Reals approximateExp2(typename Lanes::Reals exponent)
{
    using Real = typename Lanes::Real;
    const auto base = Lanes::reals(Precision<Real>::roundingBase);
    const auto shifted = Lanes::add(exponent, base);
    const auto rest = Lanes::subtract(exponent, Lanes::subtract(shifted, base));
    const auto series = polynomial<Lanes>(exp2Coefficients<Real>, rest);
    return Lanes::realsOf(
        Lanes::add(Lanes::bitsOf(series), Lanes::toExponentField(Lanes::bitsOf(shifted))));
}

/// A power, and which of its lanes are within the bound of relativeError().
template <class Lanes>
struct Power
{
    typename Lanes::Reals value;
    unsigned bounded;
};

/// base ^ exponent for positive bases.
template <class Lanes>
inline Power<Lanes> approximatePower(typename Lanes::Reals base, typename Lanes::Reals exponent)
{
    using Real = typename Lanes::Real;
    const auto largest = Lanes::reals(Real(Precision<Real>::largestExponent));
    const auto smallestBase = Lanes::reals(std::numeric_limits<Real>::min());
    const auto largestBase = Lanes::reals(std::numeric_limits<Real>::max());
    const auto binary = approximateLog2<Lanes>(base);
    const auto scaled = Lanes::multiply(binary, exponent);
    const auto larger = Lanes::maximum(Lanes::absolute(binary), Lanes::absolute(scaled));
    return {approximateExp2<Lanes>(scaled),
            Lanes::bits(Lanes::lessOrEqual(larger, largest))
                & Lanes::bits(Lanes::lessOrEqual(smallestBase, base))
                & Lanes::bits(Lanes::lessOrEqual(base, largestBase))};
}

/// Exponents beyond this are left to the plain formula.
constexpr double largestPower = 64.0;

/// How far an approximate power may lie from what the C library's pow gives and what follows
/// from it in a few operations, as a share of the value.
template <typename Real>
inline double relativeError(double power)
{
    return (1.0 + std::fabs(power)) * Precision<Real>::errorUnit;
}

/// True if \a value, as a factor of the approximate formula, leaves the error bound intact.
template <typename Real>
inline bool isOrdinaryFactor(double value)
{
    return value >= Precision<Real>::smallestFactor && value <= Precision<Real>::largestFactor;
}

/// Hands the lanes of \a unsure, a bit each, to \a plain(lane).
template <typename Function>
inline void eachLane(unsigned unsure, Function plain)
{
    for (; unsure != 0; unsure &= unsure - 1)
        plain(std::size_t(std::countr_zero(unsure)));
}

/// Quantizes whole registers of intensities; returns how many that are.
template <class Lanes>
std::size_t quantizeLanes(const IntensityQuantizer &quantizer, const float *intensities,
                          std::size_t count, quint32 *levels)
{
    using Real = typename Lanes::Real;
    const auto rawOffset = Lanes::floats(quantizer.rawOffset());
    const auto zero = Lanes::floats(0.0F);
    const auto countsPerUnit = Lanes::reals(Real(1.0 / double(quantizer.singleCount())));
    const auto power = Lanes::reals(Real(quantizer.power()));
    const auto scale = Lanes::reals(Real(quantizer.scale()));
    const auto error = Lanes::reals(Real(relativeError<Real>(quantizer.power())));
    const auto half = Lanes::reals(Real(0.5));
    std::size_t i = 0;
    for (; i + Lanes::count <= count; i += Lanes::count) {
        const auto x = Lanes::load(intensities + i);
        const auto above = Lanes::subtractFloats(x, rawOffset);
        const auto counts = Lanes::multiply(Lanes::widen(above), countsPerUnit);
        const auto result = approximatePower<Lanes>(counts, power);
        const auto scaled = Lanes::multiply(result.value, scale);
        const auto spread = Lanes::multiply(scaled, error);
        const auto low = Lanes::truncate(Lanes::add(Lanes::subtract(scaled, spread), half));
        const auto high = Lanes::truncate(Lanes::add(Lanes::add(scaled, spread), half));

        // An intensity not above the offset has no counts: its scaled value is 0, too.
        const auto positive = Lanes::lessFloats(zero, x);
        const auto lowest = Lanes::lessOrEqualFloats(above, zero);
        Lanes::storeLevels(levels + i, low, lowest, quantizer.levelOffset(), positive);
        const unsigned sure = Lanes::bits(lowest) | (Lanes::equal(low, high) & result.bounded);
        const unsigned unsure = Lanes::bits(positive) & ~sure;
        if (unsure != 0) [[unlikely]] {
            eachLane(unsure, [&](std::size_t lane) {
                levels[i + lane] = quantizer.level(intensities[i + lane]);
            });
        }
    }
    return i;
}

template <class FloatLanes, class DoubleLanes>
void quantize(const IntensityQuantizer &quantizer, const float *intensities, std::size_t count,
              quint32 *levels)
{
    constexpr double widestFloatScale = 4096.0;
    const double singleCount = double(quantizer.singleCount());
    const double power = quantizer.power();
    const double scale = quantizer.scale();
    std::size_t done = 0;
    if (power > 0.0 && power <= largestPower) {
        const double highestLevel = double(quantizer.levelOffset() + quantizer.maxLevel());
        const bool floatsSuffice =
            highestLevel <= widestFloatScale && isOrdinaryFactor<float>(singleCount)
            && isOrdinaryFactor<float>(scale) && power >= Precision<float>::smallestFactor;
        if (floatsSuffice)
            done = quantizeLanes<FloatLanes>(quantizer, intensities, count, levels);
        else if (isOrdinaryFactor<double>(singleCount) && isOrdinaryFactor<double>(scale))
            done = quantizeLanes<DoubleLanes>(quantizer, intensities, count, levels);
    }
    plainIntensityKernels.quantize(quantizer, intensities + done, count - done, levels + done);
}

template <class Lanes>
void dequantize(const IntensityQuantizer &quantizer, const quint32 *levels, std::size_t count,
                float *intensities)
{
    const bool ordinary = std::fabs(quantizer.inversePower()) <= largestPower
                          && isOrdinaryFactor<double>(quantizer.inverseScale())
                          && std::isfinite(quantizer.singleCount())
                          && std::isfinite(quantizer.rawOffset());
    std::size_t i = 0;
    if (ordinary) {
        const auto inverseScale = Lanes::reals(quantizer.inverseScale());
        const auto inversePower = Lanes::reals(quantizer.inversePower());
        const auto singleCount = Lanes::reals(double(quantizer.singleCount()));
        const auto rawOffset = Lanes::reals(double(quantizer.rawOffset()));
        const auto error = Lanes::reals(relativeError<double>(quantizer.inversePower()));
        const auto offsetError = Lanes::reals(std::fabs(double(quantizer.rawOffset())) * 0x1p-50);
        for (; i + Lanes::count <= count; i += Lanes::count) {
            const auto level = Lanes::loadLevels(levels + i);
            const auto scaled = Lanes::multiply(
                Lanes::convert(Lanes::addLevels(level, quantizer.levelOffset())), inverseScale);
            const auto result = approximatePower<Lanes>(scaled, inversePower);
            const auto above = Lanes::multiply(result.value, singleCount);
            const auto value = Lanes::add(above, rawOffset);
            const auto spread = Lanes::multiplyAdd(Lanes::absolute(above), error, offsetError);
            const auto low = Lanes::narrow(Lanes::subtract(value, spread));
            const auto high = Lanes::narrow(Lanes::add(value, spread));

            Lanes::storeIntensities(intensities + i, low, level);
            const unsigned sure = Lanes::equalBits(low, high) & result.bounded;
            const unsigned unsure = Lanes::nonzero(level) & ~sure;
            if (unsure != 0) [[unlikely]] {
                eachLane(unsure, [&](std::size_t lane) {
                    intensities[i + lane] = quantizer.intensity(levels[i + lane]);
                });
            }
        }
    }
    plainIntensityKernels.dequantize(quantizer, levels + i, count - i, intensities + i);
}

template <class Lanes>
DifferenceScan scanDifferences(const float *data, std::size_t count, float limit)
{
    const auto half = Lanes::floats(0.5F);
    const auto limits = Lanes::floats(limit);
    auto next = Lanes::floats(std::numeric_limits<float>::infinity());
    typename Lanes::Counter kept{};
    typename Lanes::Counter notBelow{};
    std::size_t i = 1;
    for (; i + Lanes::count <= count; i += Lanes::count) {
        const auto difference =
            Lanes::absolute(Lanes::subtract(Lanes::load(data + i), Lanes::load(data + i - 1)));
        const auto isKept = Lanes::lessFloats(half, difference);
        const auto isNext = Lanes::both(isKept, Lanes::lessOrEqual(limits, difference));
        Lanes::countInto(kept, isKept);
        Lanes::countInto(notBelow, isNext);
        next = Lanes::minimumWhere(isNext, next, difference);
    }
    DifferenceScan scan;
    const quint64 vectorNotBelow = Lanes::total(notBelow);
    scan.kept = Lanes::total(kept);
    scan.below = scan.kept - vectorNotBelow;
    for (const float element : Lanes::elements(next)) {
        if (vectorNotBelow > 0 && (scan.next == 0.0F || element < scan.next))
            scan.next = element;
    }
    if (i < count) {
        const DifferenceScan tail =
            plainIntensityKernels.scanDifferences(data + i - 1, count - i + 1, limit);
        if (tail.below < tail.kept && (vectorNotBelow == 0 || tail.next < scan.next))
            scan.next = tail.next;
        scan.kept += tail.kept;
        scan.below += tail.below;
    }
    return scan;
}

template <class Lanes>
IntensityRange findRange(const float *data, std::size_t count)
{
    auto smallest = Lanes::floats(std::numeric_limits<float>::infinity());
    auto largest = Lanes::floats(-std::numeric_limits<float>::infinity());
    std::size_t i = 0;
    for (; i + Lanes::count <= count; i += Lanes::count) {
        const auto x = Lanes::load(data + i);
        smallest = Lanes::minimum(x, smallest); // a NaN in x gives the second
        largest = Lanes::maximum(x, largest);
    }
    IntensityRange range = plainIntensityKernels.findRange(data + i, count - i);
    for (const float element : Lanes::elements(smallest))
        range.smallest = element < range.smallest ? element : range.smallest;
    for (const float element : Lanes::elements(largest))
        range.largest = element > range.largest ? element : range.largest;
    return range;
}

} // namespace

} // namespace kyv::compressor::internal
