#pragma once

#include "CpuFeatures.h"

#include <QtGlobal>

/// \file
/// Bit fields at any place cost shifts by varying counts, which BMI2 makes in one step instead of
/// three. A reader's loop is an always-inline function; it is compiled once as it is and once more
/// inside a function marked KYV_BMI2, and usesBmi2() chooses between the two at run time.

#if defined(__x86_64__) && defined(__GNUC__)
#define KYV_HAS_BMI2
#define KYV_BMI2 [[gnu::target("bmi,bmi2")]]
#else
#define KYV_BMI2
#endif

namespace kyv::compressor::internal {

inline bool usesBmi2() noexcept
{
#ifdef KYV_HAS_BMI2
    return cpuFeatures().bmi2;
#else
    return false;
#endif
}

} // namespace kyv::compressor::internal
