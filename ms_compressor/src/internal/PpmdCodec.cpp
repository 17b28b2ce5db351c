// The choice of the path. The loops themselves are templates over the way states are scanned,
// compiled once for each path: here the portable one, each vector path in a file of its own with
// its compiler flags.

#include "internal/PpmdCodec.h"

#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/PpmdPaths.h"

namespace kyv::compressor::internal {

namespace ppmd {

const PathTable portablePath = {run<PpmdEncoding<PortableScan>>, run<PpmdDecoding<PortableScan>>,
                                ScanTable::of<PortableScan>()};

const PathTable &tableOf(PpmdCodec::Path path) noexcept
{
    switch (path) {
    case PpmdCodec::Path::Avx2:
        return avx2Path;
    case PpmdCodec::Path::Avx512:
        return avx512Path;
    case PpmdCodec::Path::Portable:
        break;
    }
    return portablePath;
}

bool isUsable(PpmdCodec::Path path) noexcept
{
    if (tableOf(path).encode == nullptr)
        return false;
#if defined(Q_PROCESSOR_X86_64) && (defined(Q_CC_GNU) || defined(Q_CC_CLANG))
    const bool hasAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")
                         && __builtin_cpu_supports("bmi2");
    switch (path) {
    case PpmdCodec::Path::Avx2:
        return hasAvx2;
    case PpmdCodec::Path::Avx512:
        return hasAvx2 && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq")
               && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
    case PpmdCodec::Path::Portable:
        break;
    }
#endif
    return path == PpmdCodec::Path::Portable;
}

} // namespace ppmd

PpmdCodec::Path PpmdCodec::fastestPath() noexcept
{
    static const Path fastest = [] {
        for (const Path path : {Path::Avx512, Path::Avx2}) {
            if (ppmd::isUsable(path))
                return path;
        }
        return Path::Portable;
    }();
    return fastest;
}

PpmdCodec::Result PpmdCodec::encode(const quint8 *input, qint32 inputLength, quint8 *output,
                                    qint32 capacity) const noexcept
{
    return ppmd::tableOf(m_path).encode(m_memory, m_maxOrder, input, inputLength, output, capacity);
}

PpmdCodec::Result PpmdCodec::decode(const quint8 *input, qint32 inputLength, quint8 *output,
                                    qint32 capacity) const noexcept
{
    return ppmd::tableOf(m_path).decode(m_memory, m_maxOrder, input, inputLength, output, capacity);
}

} // namespace kyv::compressor::internal
