#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace kyv::bench {

/// What "memcpy" means in every table: a copy between two buffers of 16 MiB, bytes counted once.
/// The buffers exceed the second-level cache, as spectra of a run do.
inline constexpr std::size_t memcpyBytes = std::size_t(16) << 20;

inline void measureMemcpy(benchmark::State &state)
{
    static const std::vector<char> source(memcpyBytes, 1);
    static std::vector<char> target(memcpyBytes, 2);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), memcpyBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(memcpyBytes));
}

} // namespace kyv::bench
