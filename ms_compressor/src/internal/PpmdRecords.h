#pragma once

#include "internal/PpmdTables.h"

#include <QtGlobal>

#include <utility>

namespace kyv::compressor::internal::ppmd {

/// A context: the statistics of what followed the same last symbols. One unit of the block.
///
/// A context with several states keeps them in an array of their own. A binary context has just
/// one state, which lives inside the record: its symbol and frequency in place of SummFreq, its
/// successor in place of Stats.
struct Context
{
    quint8 numStats; ///< States - 1, so 0 marks a binary context.
    quint8 flags;
    quint16 summFreq; ///< Sum of the frequencies and the escape's.
    quint32 stats;    ///< The state array; in a binary context the successor of its state.
    quint32 suffix;   ///< The context that forgets the oldest symbol; 0 at the root.

    Q_ALWAYS_INLINE quint8 *singleSymbol() noexcept { return reinterpret_cast<quint8 *>(this) + 2; }
    Q_ALWAYS_INLINE quint8 *singleFreq() noexcept { return reinterpret_cast<quint8 *>(this) + 3; }
    Q_ALWAYS_INLINE quint32 *singleSuccessor() noexcept { return &stats; }
};
static_assert(sizeof(Context) == unitSize);

/// The states of a context, as three arrays that share a block: symbols, frequencies, successors.
///
/// A block has room for an even number of states, its capacity, and 6 bytes for each. Kept
/// apart, sixteen symbols are compared at once and their frequencies are summed at once. The
/// format fixes the size and the address of the block, not the order of the bytes in it.
struct StateArray
{
    quint8 *symbols;
    quint8 *freqs;
    quint32 *successors;

    Q_ALWAYS_INLINE StateArray(quint8 *block, int capacity) noexcept
        : symbols(block)
        , freqs(block + capacity)
        , successors(reinterpret_cast<quint32 *>(block + 2 * capacity))
    {}

    /// Lets state \a i and the one before change places.
    Q_ALWAYS_INLINE void swapWithPrevious(int i) const noexcept
    {
        std::swap(symbols[i], symbols[i - 1]);
        std::swap(freqs[i], freqs[i - 1]);
        std::swap(successors[i], successors[i - 1]);
    }
};

/// A state wherever it lives: one of an array, or the single one of a binary context.
struct StateRef
{
    quint8 *freq = nullptr;
    quint32 *successor = nullptr;

    Q_ALWAYS_INLINE explicit operator bool() const noexcept { return successor != nullptr; }
};

} // namespace kyv::compressor::internal::ppmd
