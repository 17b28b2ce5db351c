#pragma once

#include <QtGlobal>

#include <random>

namespace kyv::runs {

/// e^x by additions and multiplications alone, within a few units of the last place.
///
/// The C library's exp differs in its last bit from one system to the next; simulated runs must
/// not. Every step here is rounded as IEEE 754 prescribes. For |x| up to 700.
double portableExp(double x);

/// Seeded random numbers that are the same on every platform.
///
/// The engine is fixed by the C++ standard; the standard's distributions are not, so they are made
/// here from its integers.
class Random
{
public:
    explicit Random(quint64 seed)
        : m_engine(seed)
    {}

    /// Any of 2^64 values.
    quint64 bits() { return m_engine(); }
    /// 0 up to, but not including, 1.
    double uniform() { return double(m_engine() >> 11) * 0x1p-53; }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    /// 0 to \a count - 1.
    qsizetype index(qsizetype count) { return qsizetype(uniform() * double(count)); }
    /// Mean 0, deviation 1, by the sum of twelve uniform numbers (never beyond 6).
    double normal();
    /// Spread evenly over \a decades powers of ten, from \a low up.
    double logUniform(double low, double decades);

private:
    std::mt19937_64 m_engine;
};

/// A seed that differs in about half its bits for neighbouring \a index.
quint64 mixSeed(quint64 seed, quint64 index);

} // namespace kyv::runs
