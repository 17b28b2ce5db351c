// Takes the features that the environment variable KYV_DISABLE_CPU_FEATURES names (separated by
// commas) away from whatever links the library's objects, before main() begins. The library
// itself reads no environment variable.

#include "internal/CpuFeatures.h"

#include <QByteArray>
#include <QList>

namespace {

using kyv::compressor::internal::CpuFeatures;

[[maybe_unused]] const bool featuresDisabled = [] {
    const QList<QByteArray> disabled = qgetenv("KYV_DISABLE_CPU_FEATURES").split(',');
    kyv::compressor::internal::limitCpuFeatures({.sse42 = !disabled.contains("sse4.2"),
                                                 .bmi2 = !disabled.contains("bmi2"),
                                                 .avx2 = !disabled.contains("avx2"),
                                                 .avx512 = !disabled.contains("avx512")});
    return true;
}();

} // namespace
