#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

namespace kyv::tool {

/// Seconds of the fastest of \a repeats calls of \a work. A call that takes long is not repeated:
/// its time is steady, and the user waits.
template <typename Work>
double fastestCall(int repeats, Work work)
{
    using Clock = std::chrono::steady_clock;
    constexpr double enough = 0.05;
    double fastest = std::numeric_limits<double>::infinity();
    double total = 0;
    for (int i = 0; i < repeats && total < enough; ++i) {
        const Clock::time_point start = Clock::now();
        work();
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        fastest = std::min(fastest, seconds);
        total += seconds;
    }
    return fastest;
}

} // namespace kyv::tool
