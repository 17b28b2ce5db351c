#include "CpuFeatures.h"

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define KYV_X86
#include <cpuid.h>
#endif

namespace kyv::compressor::internal {

namespace {

#ifdef KYV_X86
/// LZCNT; the compilers' own check does not know it by one name.
bool hasLeadingZeroCount() noexcept
{
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(0x80000001, &a, &b, &c, &d) && (c & bit_LZCNT);
}
#endif

} // namespace

CpuFeatures detectedCpuFeatures() noexcept
{
    CpuFeatures features;
#ifdef KYV_X86
    __builtin_cpu_init(); // this may run before the constructor that fills the compiler's table
    features.sse42 = __builtin_cpu_supports("sse4.2");
    features.bmi2 = __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    features.avx2 = features.bmi2 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")
                    && hasLeadingZeroCount();
    features.avx512 = features.avx2 && __builtin_cpu_supports("avx512f")
                      && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq")
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
                                  .avx512 = detected.avx512 && wanted.avx2 && wanted.avx512};
}

} // namespace kyv::compressor::internal
