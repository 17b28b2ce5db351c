#pragma once

#include "internal/PpmdRecords.h"
#include "internal/PpmdTables.h"
#include "internal/StateScan.h"
#include "internal/UnitAllocator.h"

namespace kyv::compressor::internal {

/// How often the rare paths of one coding ran.
struct PpmdEvents
{
    int restarts = 0;
    int gluings = 0;
    int carves = 0;
    int rescales = 0;
    int rescalesToBinary = 0;
};

/// The statistical model of the byte format: a tree of contexts of up to maxOrder symbols.
///
/// This class holds the state and what runs seldom: start, restart, rescale and the moves of
/// state arrays. PpmdUpdate adds the update after each symbol, PpmdCoding the choice of
/// probabilities. All of a context's and a state's fields keep the names of the format document,
/// docs/formats/bytes.md, "Model".
///
/// One object serves one coding on one thread. It fits on the stack; contexts and states live in
/// the block.
class PpmdModel
{
public:
    using Halve = Halved (*)(const quint8 *symbols, quint8 *freqs, int count,
                             quint32 adder) noexcept;

    /// Longest supported order.
    static constexpr int orderLimit = 16;

    /// True once the model is too large for the caches near the processor.
    bool outgrowsCaches() const noexcept { return units.unitBytes() > (1u << 20); }

    /// Starts a model of order \a maxOrder (2 to orderLimit) in \a memory.
    PpmdModel(ModelMemory::Block memory, int maxOrder) noexcept;

    /// What the rare paths did so far.
    PpmdEvents events() const noexcept;

    Q_ALWAYS_INLINE ppmd::Context *context(quint32 offset) const noexcept
    {
        return reinterpret_cast<ppmd::Context *>(units.at(offset));
    }
    Q_ALWAYS_INLINE ppmd::StateArray states(const ppmd::Context *c) const noexcept
    {
        return {units.at(c->stats), ppmd::statsToCapacity[c->numStats]};
    }

    /// Forgets everything learnt and begins anew, as a fresh model does.
    ///
    /// This is what the format does when the memory or the text area is exhausted. Encoder and
    /// decoder do it at the same symbol, so the stream holds no mark of it. Returns the new root.
    ppmd::Context *restart() noexcept;

    /// Halves the frequencies of \a c, with state \a found, just raised, moved to the front.
    ///
    /// \a halve is the halve() of a scan, see StateScan.h. Returns the found state where it is
    /// then, or nothing if the memory was exhausted and the model restarted: the symbol ends there.
    ppmd::StateRef rescale(ppmd::Context *c, int found, Halve halve) noexcept;

    /// Makes room for one more state in \a c; false if the memory is exhausted.
    bool expand(ppmd::Context *c) noexcept;
    /// Gives a binary context an array, with its state as the first; false as in expand().
    bool leaveBinary(ppmd::Context *c) noexcept;

    UnitAllocator units;
    ppmd::Context *root = nullptr;
    int orderFall = 0; ///< By how much the current context's order is below maxOrder.
    int maxOrder;
    int initialRunLength;
    int runLength = 0;             ///< Binary hits in a row, about; negative after an escape.
    quint32 previousSuccess = 0;   ///< 1 if the last symbol was the expected one.
    quint32 binaryProbability = 0; ///< As last read from the binary table.
    ppmd::BinaryTable binSumm;
    ppmd::SeeTable seeContexts;

private:
    void start() noexcept;
    void foldToBinary(ppmd::Context *c, int oldNumStats, quint32 escFreq) noexcept;
    bool resize(ppmd::Context *c, int oldNumStats, int newNumStats) noexcept;

    PpmdEvents m_events;
};

} // namespace kyv::compressor::internal
