#pragma once

#include "internal/PpmdCodec.h"
#include "internal/StateScan.h"

namespace kyv::compressor::internal::ppmd {

/// One way to scan states, and the coding loops that were compiled for it.
struct PathTable
{
    using Run = PpmdCodec::Result (*)(ModelMemory::Block memory, int maxOrder, const quint8 *input,
                                      qint32 inputLength, quint8 *output, qint32 capacity) noexcept;

    Run encode;
    Run decode;
    ScanTable scan;
};

extern const PathTable portablePath;
// Compiled where KYV_HAS_SSE41, KYV_HAS_AVX2 and KYV_HAS_AVX512 say so.
extern const PathTable sse41Path;
extern const PathTable avx2Path;
extern const PathTable avx512Path;

/// True if \a path was compiled and cpuFeatures() allows it.
bool isUsable(PpmdCodec::Path path) noexcept;

/// The table of a usable path.
const PathTable &tableOf(PpmdCodec::Path path) noexcept;

/// The run of \a Coding, PpmdEncoding or PpmdDecoding for one way to scan states.
template <class Coding>
PpmdCodec::Result run(ModelMemory::Block memory, int maxOrder, const quint8 *input,
                      qint32 inputLength, quint8 *output, qint32 capacity) noexcept
{
    return Coding(memory, maxOrder).run(input, inputLength, output, capacity);
}

} // namespace kyv::compressor::internal::ppmd
