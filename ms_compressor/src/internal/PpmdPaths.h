#pragma once

#include "internal/PpmdCodec.h"

namespace kyv::compressor::internal::ppmd {

/// Encoding or decoding of a buffer on one path.
using Run = PpmdCodec::Result (*)(ModelMemory::Block memory, int maxOrder, const quint8 *input,
                                  qint32 inputLength, quint8 *output, qint32 capacity) noexcept;

struct Runs
{
    Run encode = nullptr;
    Run decode = nullptr;
};

/// Empty where the path was not compiled, because of the architecture or the compiler.
extern const Runs avx2Runs;
extern const Runs avx512Runs;

/// The runs of \a Coding, PpmdEncoding or PpmdDecoding for one way to scan states.
template <class Coding>
PpmdCodec::Result run(ModelMemory::Block memory, int maxOrder, const quint8 *input,
                      qint32 inputLength, quint8 *output, qint32 capacity) noexcept
{
    return Coding(memory, maxOrder).run(input, inputLength, output, capacity);
}

} // namespace kyv::compressor::internal::ppmd
