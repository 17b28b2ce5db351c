#pragma once

#include "internal/CpuFeatures.h"

#include <vector>

namespace kyv::test {

/// Allows only some vector paths for as long as it lives.
class LimitedCpuFeatures
{
public:
    explicit LimitedCpuFeatures(const compressor::internal::CpuFeatures &wanted)
        : m_before(compressor::internal::cpuFeatures())
    {
        compressor::internal::limitCpuFeatures(wanted);
    }
    ~LimitedCpuFeatures() { compressor::internal::limitCpuFeatures(m_before); }

    LimitedCpuFeatures(const LimitedCpuFeatures &) = delete;
    LimitedCpuFeatures &operator=(const LimitedCpuFeatures &) = delete;

private:
    compressor::internal::CpuFeatures m_before;
};

/// A set of features under the name that test failures print.
struct CpuLevel
{
    const char *name;
    compressor::internal::CpuFeatures features;
};

/// The plain level, and every vector level that this processor has and the environment allows.
inline std::vector<CpuLevel> cpuLevels()
{
    const compressor::internal::CpuFeatures here = compressor::internal::cpuFeatures();
    std::vector<CpuLevel> levels = {{"plain", {}}};
    if (here.sse42)
        levels.push_back({"sse4.2", {.sse42 = true}});
    if (here.bmi2)
        levels.push_back({"bmi2", {.bmi2 = true}});
    if (here.avx2)
        levels.push_back({"avx2", {.sse42 = here.sse42, .avx2 = true}});
    if (here.avx512)
        levels.push_back({"avx512", {.sse42 = here.sse42, .avx2 = here.avx2, .avx512 = true}});
    return levels;
}

} // namespace kyv::test
