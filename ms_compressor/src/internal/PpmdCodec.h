#pragma once

#include "internal/ModelMemory.h"
#include "internal/PpmdModel.h"

namespace kyv::compressor::internal {

/// Codes bytes with the context model and the range coder, and brings them back.
///
/// Everything is total: output that does not fit is dropped, input that ends early reads as set
/// bits, and any input at all ends. Both operations start the model afresh in the memory, so
/// calls are independent.
class PpmdCodec
{
public:
    /// How states are scanned. The bytes are the same on every path.
    enum class Path { Portable, Sse41, Avx2, Avx512 };

    struct Result
    {
        qint32 byteCount = 0; ///< Bytes stored in the output.
        PpmdEvents events;    ///< How often the rare paths ran.
    };

    /// A codec of order \a maxOrder (2 to PpmdModel::orderLimit) that works in \a memory, which
    /// must belong to the calling thread and have room for the root: 8 KiB are enough.
    explicit PpmdCodec(ModelMemory::Block memory, int maxOrder = 2,
                       Path path = fastestPath()) noexcept
        : m_memory(memory)
        , m_maxOrder(maxOrder)
        , m_path(path)
    {}

    /// The fastest path that this processor runs.
    static Path fastestPath() noexcept;

    /// Codes the input and the end mark; at most \a capacity bytes are stored.
    ///
    /// A length or a capacity below 0 counts as 0.
    Result encode(const quint8 *input, qint32 inputLength, quint8 *output,
                  qint32 capacity) const noexcept;

    /// Decodes until \a capacity bytes are stored or the end mark is met.
    ///
    /// With capacity 0 one symbol is decoded, and dropped.
    Result decode(const quint8 *input, qint32 inputLength, quint8 *output,
                  qint32 capacity) const noexcept;

private:
    ModelMemory::Block m_memory;
    int m_maxOrder;
    Path m_path;
};

} // namespace kyv::compressor::internal
