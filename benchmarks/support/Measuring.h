#pragma once

#include "support/MemcpyBaseline.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

// What benchmarks share that measure a subject and its baseline in turns.

namespace kyv::bench {

/// Keeps the compiler from dropping work whose result is in memory at \a address.
inline void keep(const void *address)
{
    asm volatile("" : : "r"(address) : "memory");
}

/// The thread's own processor time where the system tells it, so that other work on the machine
/// disturbs little.
inline double threadSeconds()
{
#ifdef CLOCK_THREAD_CPUTIME_ID
    timespec now = {};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) == 0)
        return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
#endif
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

inline double secondsOf(const std::function<void()> &work)
{
    const double start = threadSeconds();
    work();
    return threadSeconds() - start;
}

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// A piece of work and the bytes that it counts for.
struct Subject
{
    double bytes;
    std::function<void()> work;
};

/// The subject's speed as a fraction of the baseline's, and its time for four bytes.
struct Measured
{
    double fraction;
    double nanosecondsPerValue;
};

/// Medians over \a rounds of the baseline and then the subject.
inline Measured measure(const Subject &baseline, const Subject &subject, int rounds)
{
    std::vector<double> quotients;
    std::vector<double> times;
    subject.work(); // memory that the allocator keeps is there from now on
    for (int round = 0; round < rounds; ++round) {
        const double baselineSpeed = baseline.bytes / secondsOf(baseline.work);
        const double seconds = secondsOf(subject.work);
        quotients.push_back(subject.bytes / seconds / baselineSpeed);
        times.push_back(seconds * 4e9 / subject.bytes);
    }
    return {median(quotients), median(times)};
}

/// A copy between two buffers of 16 MiB.
inline Subject memcpySubject()
{
    static const std::vector<char> source(memcpyBytes, 1);
    static std::vector<char> target(memcpyBytes, 2);
    return {double(memcpyBytes), [] {
                std::memcpy(target.data(), source.data(), memcpyBytes);
                keep(target.data());
            }};
}

} // namespace kyv::bench
