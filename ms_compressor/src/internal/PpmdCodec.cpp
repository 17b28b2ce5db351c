// The choice of the path. The loops themselves are templates over the way states are scanned,
// compiled once for each path: here the portable one, each vector path in a file of its own with
// its compiler flags.

#include "internal/PpmdCodec.h"

#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/PpmdPaths.h"

namespace kyv::compressor::internal {

namespace {

constexpr ppmd::Runs portableRuns = {ppmd::run<PpmdEncoding<PortableScan>>,
                                     ppmd::run<PpmdDecoding<PortableScan>>};

const ppmd::Runs &runsOf(PpmdCodec::Path path) noexcept
{
    switch (path) {
    case PpmdCodec::Path::Avx2:
        return ppmd::avx2Runs;
    case PpmdCodec::Path::Avx512:
        return ppmd::avx512Runs;
    case PpmdCodec::Path::Portable:
        break;
    }
    return portableRuns;
}

PpmdCodec::Path detectPath() noexcept
{
#if defined(Q_PROCESSOR_X86_64) && defined(Q_CC_GNU)
    const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")
                      && __builtin_cpu_supports("bmi2");
    const bool avx512 = avx2 && __builtin_cpu_supports("avx512bw")
                        && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl")
                        && __builtin_cpu_supports("avx512vbmi");
    if (avx512 && ppmd::avx512Runs.encode != nullptr)
        return PpmdCodec::Path::Avx512;
    if (avx2 && ppmd::avx2Runs.encode != nullptr)
        return PpmdCodec::Path::Avx2;
#endif
    return PpmdCodec::Path::Portable;
}

} // namespace

PpmdCodec::Path PpmdCodec::fastestPath() noexcept
{
    static const Path path = detectPath();
    return path;
}

PpmdCodec::Result PpmdCodec::encode(const quint8 *input, qint32 inputLength, quint8 *output,
                                    qint32 capacity) const noexcept
{
    return runsOf(m_path).encode(m_memory, m_maxOrder, input, inputLength, output, capacity);
}

PpmdCodec::Result PpmdCodec::decode(const quint8 *input, qint32 inputLength, quint8 *output,
                                    qint32 capacity) const noexcept
{
    return runsOf(m_path).decode(m_memory, m_maxOrder, input, inputLength, output, capacity);
}

} // namespace kyv::compressor::internal
