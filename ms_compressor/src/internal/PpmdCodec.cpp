// The choice of the path. The loops themselves are templates over the way states are scanned,
// compiled once for each path: here the portable one, each vector path in a file of its own with
// its compiler flags.

#include "internal/PpmdCodec.h"

#include "internal/CpuFeatures.h"
#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/PpmdPaths.h"

namespace kyv::compressor::internal {

namespace ppmd {

const PathTable portablePath = {run<PpmdEncoding<PortableScan>>, run<PpmdDecoding<PortableScan>>,
                                ScanTable::of<PortableScan>()};

const PathTable &tableOf(PpmdCodec::Path path) noexcept
{
    Q_ASSERT(isUsable(path));
    switch (path) {
#ifdef KYV_HAS_AVX512
    case PpmdCodec::Path::Avx512:
        return avx512Path;
#endif
#ifdef KYV_HAS_AVX2
    case PpmdCodec::Path::Avx2:
        return avx2Path;
#endif
#ifdef KYV_HAS_SSE41
    case PpmdCodec::Path::Sse41:
        return sse41Path;
#endif
    default:
        return portablePath;
    }
}

bool isUsable(PpmdCodec::Path path) noexcept
{
    const CpuFeatures &features = cpuFeatures();
    [[maybe_unused]] const bool hasAvx2 = features.avx2 && features.bmi2;
    switch (path) {
    case PpmdCodec::Path::Portable:
        return true;
    case PpmdCodec::Path::Sse41:
#ifdef KYV_HAS_SSE41
        return features.sse42;
#else
        return false;
#endif
    case PpmdCodec::Path::Avx2:
#ifdef KYV_HAS_AVX2
        return hasAvx2; // every processor with AVX2 has LZCNT
#else
        return false;
#endif
    case PpmdCodec::Path::Avx512:
#ifdef KYV_HAS_AVX512
        return hasAvx2 && features.avx512; // every processor with VBMI has DQ
#else
        return false;
#endif
    }
    return false;
}

} // namespace ppmd

PpmdCodec::Path PpmdCodec::fastestPath() noexcept
{
    for (const Path path : {Path::Avx512, Path::Avx2, Path::Sse41}) {
        if (ppmd::isUsable(path))
            return path;
    }
    return Path::Portable;
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
