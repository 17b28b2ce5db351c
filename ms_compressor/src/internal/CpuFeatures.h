#pragma once

namespace kyv::compressor::internal {

/// Which vector paths may run. Every path gives the results of the plain one.
struct CpuFeatures
{
    bool sse42 = false;  ///< SSE4.2, and so SSE4.1
    bool bmi2 = false;   ///< BMI and BMI2
    bool avx2 = false;   ///< AVX2, FMA, BMI, BMI2 and LZCNT
    bool avx512 = false; ///< AVX-512 F, BW, DQ, VL and VBMI, and all of avx2
};

/// The features of this processor that the operating system supports too.
CpuFeatures detectedCpuFeatures() noexcept;

namespace detail {
extern CpuFeatures allowedCpuFeatures;
}

/// The features that vector paths may use: those found when the library was loaded, less those
/// that limitCpuFeatures() took away.
inline const CpuFeatures &cpuFeatures() noexcept
{
    return detail::allowedCpuFeatures;
}

/// Allows only features that are both detected and in \a wanted. For tests, which hold every path
/// against the plain one; no other thread may be packing or unpacking meanwhile.
void limitCpuFeatures(const CpuFeatures &wanted) noexcept;

} // namespace kyv::compressor::internal
