#include "SeededPoints.h"

#include "PointBits.h"

#include <algorithm>
#include <array>

namespace kyv::test {

quint64 SeededRandom::next()
{
    m_state += 0x9e3779b97f4a7c15u;
    quint64 z = m_state;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
}

quint64 SeededRandom::ofWidth(int width)
{
    const int chosen = int(below(quint64(width) + 1));
    return chosen == 0 ? 0 : next() >> (64 - chosen);
}

namespace {

constexpr quint64 signBit = quint64(1) << 63;

/// From 0 up to, not including, 1: 53 random bits.
double fraction(SeededRandom &random)
{
    return double(random.next() >> 11) * 0x1p-53;
}

double start(SeededRandom &random)
{
    return 50.0 + double(random.below(100000)) * 0.01;
}

double step(SeededRandom &random)
{
    constexpr std::array steps{0.001, 0.005, 0.01, 0.1, 0.25, 0.5, 1.0, 1.0 / 3.0};
    return steps[std::size_t(random.below(steps.size()))];
}

QList<double> grid(SeededRandom &random, qsizetype count, quint64 keepOneIn)
{
    QList<double> x;
    const double first = start(random);
    const double width = step(random);
    for (qsizetype i = 0; x.size() < count; ++i) {
        if (keepOneIn == 1 || random.oneIn(keepOneIn) || i % 7 > 3)
            x.append(first + double(i) * width);
    }
    return x;
}

QList<double> timeOfFlight(SeededRandom &random, qsizetype count)
{
    QList<double> x;
    const double root = 10.0 + fraction(random);
    const double width = 0.0001 + fraction(random) * 0.001;
    for (qsizetype i = 0; i < count; ++i) {
        const double time = root + double(i) * width;
        x.append(time * time);
    }
    return x;
}

QList<double> growingSteps(SeededRandom &random, qsizetype count)
{
    QList<double> x;
    const double growth = 1.0 + fraction(random) * 0.0001;
    double value = start(random);
    for (qsizetype i = 0; i < count; ++i) {
        x.append(value);
        value *= growth;
    }
    return x;
}

QList<double> centroids(SeededRandom &random, qsizetype count, bool narrowed)
{
    QList<double> x;
    double value = start(random);
    for (qsizetype i = 0; i < count; ++i) {
        value += fraction(random) * double(random.below(4) + 1);
        x.append(narrowed ? double(float(value)) : value);
    }
    return x;
}

QList<double> decimals(SeededRandom &random, qsizetype count)
{
    QList<double> x;
    quint64 thousandths = 50000 + random.below(1000000);
    for (qsizetype i = 0; i < count; ++i) {
        thousandths += random.below(2000);
        x.append(double(thousandths) / 1000.0);
    }
    return x;
}

QList<double> patterns(SeededRandom &random, qsizetype count, int width, quint64 mask)
{
    QList<double> x;
    for (qsizetype i = 0; i < count; ++i)
        x.append(fromPattern((random.oneIn(4) ? random.ofWidth(width) : random.next()) & mask));
    return x;
}

/// Sums of sums of sums of small numbers, each now and then restarted.
QList<double> bentPatterns(SeededRandom &random, qsizetype count)
{
    QList<double> x;
    const int width = 1 + int(random.below(24));
    quint64 value = 0;
    quint64 first = 0;
    quint64 second = 0;
    for (qsizetype i = 0; i < count; ++i) {
        if (value == 0 || random.oneIn(400)) {
            value = quint64(1) << 61;
            first = quint64(1) << (20 + random.below(20));
            second = quint64(1) << (10 + random.below(15));
        }
        x.append(fromPattern(value));
        second ^= random.ofWidth(width);
        first += second;
        value = (value + first) & ~signBit;
    }
    return x;
}

QList<double> sharedLowBits(SeededRandom &random, qsizetype count)
{
    QList<double> x;
    const quint64 common = random.next() & ~signBit;
    const int shift = int(random.below(62));
    const int width = 1 + int(random.below(std::min<quint64>(62 - quint64(shift), 20) + 1));
    for (qsizetype i = 0; i < count; ++i)
        x.append(fromPattern((common ^ (random.ofWidth(width) << shift)) & ~signBit));
    return x;
}

QList<double> negated(QList<double> x)
{
    for (double &value : x)
        value = -value;
    std::reverse(x.begin(), x.end());
    return x;
}

QList<double> xValues(XKind kind, SeededRandom &random, qsizetype count)
{
    switch (kind) {
    case XKind::LinearGrid:
        return grid(random, count, 1);
    case XKind::TimeOfFlight:
        return timeOfFlight(random, count);
    case XKind::Orbitrap:
        return growingSteps(random, count);
    case XKind::SparseProfile:
        return grid(random, count, 5);
    case XKind::Centroid:
        return centroids(random, count, false);
    case XKind::Float32Centroid:
        return centroids(random, count, true);
    case XKind::Decimals:
        return decimals(random, count);
    case XKind::Equal:
        return QList<double>(count, fromPattern(random.ofWidth(64)));
    case XKind::NearlyEqual: {
        QList<double> x(count, fromPattern(random.ofWidth(63)));
        if (count > 0)
            x.last() = fromPattern(pattern(x.last()) ^ (quint64(1) << random.below(63)));
        return x;
    }
    case XKind::UnlikeSigns: {
        QList<double> x = centroids(random, count, random.oneIn(2));
        for (double &value : x)
            value = random.oneIn(2) ? -value : value;
        return x;
    }
    case XKind::ThroughZero: {
        QList<double> x;
        const double width = step(random);
        const double first = -width * double(random.below(quint64(count) + 1));
        for (qsizetype i = 0; i < count; ++i)
            x.append(first + double(i) * width);
        return x;
    }
    case XKind::Negative:
        return negated(centroids(random, count, random.oneIn(2)));
    case XKind::AnyPatterns:
        return patterns(random, count, 64, ~quint64(0));
    case XKind::AnyPositive:
        return patterns(random, count, 63, ~signBit);
    case XKind::SortedPatterns: {
        QList<double> x = patterns(random, count, 63, ~signBit);
        std::sort(x.begin(), x.end(), [](double a, double b) { return pattern(a) < pattern(b); });
        return x;
    }
    case XKind::SmallPatterns:
        return patterns(random, count, 12, (quint64(1) << (1 + random.below(16))) - 1);
    case XKind::BentPatterns:
        return bentPatterns(random, count);
    case XKind::Descending: {
        QList<double> x = grid(random, count, 1);
        std::reverse(x.begin(), x.end());
        return x;
    }
    case XKind::SharedLowBits:
        return sharedLowBits(random, count);
    }
    return {};
}

double fromFloatPattern(quint64 bits)
{
    return double(std::bit_cast<float>(quint32(bits)));
}

double nearFloatEnd(SeededRandom &random)
{
    const double sign = random.oneIn(2) ? -1.0 : 1.0;
    const double units = double(random.below(8)) * 0.25;
    if (random.oneIn(3))
        return sign * 0x1p-149 * units;
    if (random.oneIn(2))
        return sign * (0x1.fffffep127 + 0x1p102 * units);
    return sign * (1.0 + 0x1p-23 * units);
}

/// One y behind \a i others.
double yValue(YKind kind, SeededRandom &random, qsizetype i, quint64 common)
{
    switch (kind) {
    case YKind::Counts:
        return double(random.ofWidth(20));
    case YKind::Floats:
        return fromFloatPattern(0x3f800000 + (random.next() >> 40) * 4);
    case YKind::Doubles:
        return fraction(random) * double(random.ofWidth(30) + 1);
    case YKind::Zeros:
        return 0.0;
    case YKind::ZeroRuns:
        return ((common >> (quint64(i) / (1 + common % 23) % 64)) & 1) ? double(random.ofWidth(12))
                                                                       : 0.0;
    case YKind::Alternating:
        return i % 2 == 0 ? -0.0 : double(random.next() >> 30);
    case YKind::Equal:
        return fromFloatPattern(common & 0x7f7fffff);
    case YKind::AnyPatterns:
        return random.oneIn(5) ? 0.0 : fromPattern(random.next());
    case YKind::NearFloatEnds:
        return nearFloatEnd(random);
    case YKind::SharedBits:
        return fromFloatPattern((common & 0x7f7fffff)
                                ^ (random.ofWidth(1 + int(common >> 60)) << ((common >> 40) % 24)));
    }
    return 0.0;
}

} // namespace

const char *name(XKind kind)
{
    constexpr std::array names{"LinearGrid",   "TimeOfFlight",    "Orbitrap",       "SparseProfile",
                               "Centroid",     "Float32Centroid", "Decimals",       "Equal",
                               "NearlyEqual",  "UnlikeSigns",     "ThroughZero",    "Negative",
                               "AnyPatterns",  "AnyPositive",     "SortedPatterns", "SmallPatterns",
                               "BentPatterns", "Descending",      "SharedLowBits"};
    static_assert(names.size() == xKindCount);
    return names[std::size_t(kind)];
}

const char *name(YKind kind)
{
    constexpr std::array names{"Counts",        "Floats",      "Doubles", "Zeros",
                               "ZeroRuns",      "Alternating", "Equal",   "AnyPatterns",
                               "NearFloatEnds", "SharedBits"};
    static_assert(names.size() == yKindCount);
    return names[std::size_t(kind)];
}

QList<QPointF> seededPoints(XKind xKind, YKind yKind, qsizetype count, quint64 seed)
{
    SeededRandom random(seed * 1000 + quint64(xKind) * 20 + quint64(yKind));
    const QList<double> x = xValues(xKind, random, count);
    const quint64 common = random.next();
    QList<QPointF> points;
    points.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        points.append(QPointF(x[i], yValue(yKind, random, i, common)));
    return points;
}

} // namespace kyv::test
