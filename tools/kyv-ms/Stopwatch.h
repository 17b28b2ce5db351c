#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

namespace kyv::tool {

/// Seconds of the fastest of \a repeats calls of \a work.
template <typename Work>
double fastestCall(int repeats, Work work)
{
    using Clock = std::chrono::steady_clock;
    double fastest = std::numeric_limits<double>::infinity();
    for (int i = 0; i < repeats; ++i) {
        const Clock::time_point start = Clock::now();
        work();
        fastest = std::min(fastest, std::chrono::duration<double>(Clock::now() - start).count());
    }
    return fastest;
}

} // namespace kyv::tool
