#include "CpuFeatures.h"

namespace kyv::compressor::internal {

CpuFeatures detectedCpuFeatures() noexcept
{
    CpuFeatures features;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init(); // this may run before the constructor that fills the compiler's table
    features.sse42 = __builtin_cpu_supports("sse4.2");
    features.bmi2 = __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    features.avx2 = __builtin_cpu_supports("avx2");
    features.avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw")
                      && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
#endif
    return features;
}

namespace detail {
CpuFeatures allowedCpuFeatures = detectedCpuFeatures();
}

void limitCpuFeatures(const CpuFeatures &wanted) noexcept
{
    const CpuFeatures detected = detectedCpuFeatures();
    detail::allowedCpuFeatures = {.sse42 = detected.sse42 && wanted.sse42,
                                  .bmi2 = detected.bmi2 && wanted.bmi2,
                                  .avx2 = detected.avx2 && wanted.avx2,
                                  .avx512 = detected.avx512 && wanted.avx512};
}

} // namespace kyv::compressor::internal
