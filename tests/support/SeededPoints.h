#pragma once

#include <QList>
#include <QPointF>

#include <array>

namespace kyv::test {

/// A small generator of pseudo-random integers, the same everywhere (splitmix64).
///
/// Steele, Lea, Flood: "Fast splittable pseudorandom number generators", OOPSLA 2014.
class SeededRandom
{
public:
    explicit SeededRandom(quint64 seed)
        : m_state(seed)
    {}

    quint64 next();
    /// From 0 to \a bound - 1.
    quint64 below(quint64 bound) { return next() % bound; }
    bool oneIn(quint64 bound) { return below(bound) == 0; }
    /// A value of random width, 0 to \a width bits.
    quint64 ofWidth(int width);

private:
    quint64 m_state;
};

/// How x runs in a generated list.
enum class XKind {
    LinearGrid,      ///< A constant step, by addition; the rounding makes it uneven.
    TimeOfFlight,    ///< Squares of a linear grid, as a time-of-flight axis has them.
    Orbitrap,        ///< A step that grows with x.
    SparseProfile,   ///< A grid with gaps.
    Centroid,        ///< Ascending, random steps.
    Float32Centroid, ///< The same, narrowed to single precision.
    Decimals,        ///< Ascending, rounded to thousandths.
    Equal,           ///< One value.
    NearlyEqual,     ///< One value, and another one at the end.
    UnlikeSigns,     ///< Random signs.
    ThroughZero,     ///< Ascending from negative to positive.
    Negative,        ///< Ascending, all negative.
    AnyPatterns,     ///< Any bits, both signs: NaNs, infinities, subnormals.
    AnyPositive,     ///< Any bits but the sign.
    SortedPatterns,  ///< The same, ascending.
    SmallPatterns,   ///< Patterns of a few bits: many short residuals.
    BentPatterns,    ///< Third differences of all widths: many groups to merge.
    Descending,      ///< A grid from its end.
    SharedLowBits,   ///< Patterns that differ in a few middle bits.
};
inline constexpr int xKindCount = 19;

/// How y runs in a generated list.
enum class YKind {
    Counts,        ///< Whole numbers, as ion counts.
    Floats,        ///< Single-precision values of all sizes.
    Doubles,       ///< Values that have to be rounded.
    Zeros,         ///< All zero.
    ZeroRuns,      ///< Runs of zeros of all lengths between peaks.
    Alternating,   ///< Zero, not zero.
    Equal,         ///< One value.
    AnyPatterns,   ///< Any bits: NaNs, infinities, subnormals, both zeros.
    NearFloatEnds, ///< Around the smallest and the largest float, ties included.
    SharedBits,    ///< Floats that differ in a few middle bits.
};
inline constexpr int yKindCount = 10;

const char *name(XKind kind);
const char *name(YKind kind);

/// \a count points of the given kinds. The same arguments give the same bits on every platform:
/// integer arithmetic and correctly rounded operations only.
QList<QPointF> seededPoints(XKind xKind, YKind yKind, qsizetype count, quint64 seed);

} // namespace kyv::test
