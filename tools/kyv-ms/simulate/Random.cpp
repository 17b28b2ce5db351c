#include "Random.h"

#include <cmath>

namespace kyv::runs {

double portableExp(double x)
{
    // e^x = 2^k · e^r with |r| at most ln(2)/2; the upper part of ln(2) times k is exact.
    constexpr double log2e = 1.4426950408889634;
    constexpr double ln2Upper = 0x1.62e42fefap-1;
    constexpr double ln2Lower = 0x1.cf79abc9e3b39p-40;
    const double k = std::floor(x * log2e + 0.5);
    const double r = (x - k * ln2Upper) - k * ln2Lower;
    double sum = 1.0;
    for (int n = 14; n >= 1; --n) // the Taylor series, innermost factor first
        sum = 1.0 + sum * r / double(n);
    return std::ldexp(sum, int(k));
}

double Random::normal()
{
    double sum = -6.0;
    for (int i = 0; i < 12; ++i)
        sum += uniform();
    return sum;
}

double Random::logUniform(double low, double decades)
{
    constexpr double ln10 = 2.302585092994046;
    return low * portableExp(uniform() * decades * ln10);
}

quint64 mixSeed(quint64 seed, quint64 index)
{
    // The finisher of SplitMix64 (Steele, Lea, Flood: Fast splittable pseudorandom number
    // generators, OOPSLA 2014).
    quint64 z = seed + (index + 1) * Q_UINT64_C(0x9E3779B97F4A7C15);
    z = (z ^ (z >> 30)) * Q_UINT64_C(0xBF58476D1CE4E5B9);
    z = (z ^ (z >> 27)) * Q_UINT64_C(0x94D049BB133111EB);
    return z ^ (z >> 31);
}

} // namespace kyv::runs
