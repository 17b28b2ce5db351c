#pragma once

#include "internal/PpmdCodec.h"
#include "internal/PpmdUpdate.h"
#include "internal/RangeCoder.h"
#include "internal/StateScan.h"

namespace kyv::compressor::internal {

/// What encoding and decoding share: probabilities, and what a hit or a miss does to them.
///
/// Both loops inline all of this, once each, so that what is hot stays in registers.
template <class Scan>
class PpmdCoding : protected PpmdUpdate<Scan>
{
public:
    using PpmdUpdate<Scan>::PpmdUpdate;

protected:
    using Context = ppmd::Context;
    using StateArray = ppmd::StateArray;
    using StateRef = ppmd::StateRef;
    using SeeContext = ppmd::SeeContext;

    /// The symbols that an escape has ruled out: all those of the context it left.
    ///
    /// A context holds every symbol of the longer contexts that end in it, so the set of the last
    /// escape contains those of the escapes before.
    struct RuledOut
    {
        const quint8 *symbols;
        int count;
    };

    // A binary context ----------------------------------------------------------------------------

    Q_ALWAYS_INLINE quint16 &binaryCell(Context *c) noexcept
    {
        const int column = ppmd::parentColumn[this->context(c->suffix)->numStats]
                           + int(this->previousSuccess) + c->flags + ((this->runLength >> 26) & 32);
        return this->binSumm[ppmd::quantized[*c->singleFreq() - 1u]][size_t(column)];
    }

    Q_ALWAYS_INLINE StateRef binaryHit(Context *c, quint16 &cell, quint32 probability) noexcept
    {
        this->binaryProbability = probability;
        cell = quint16(probability - ((probability + 16) >> 7) + 128);
        quint8 *freq = c->singleFreq();
        *freq = quint8(*freq + (*freq < 196 ? 1 : 0));
        ++this->runLength;
        this->previousSuccess = 1;
        return {freq, c->singleSuccessor()};
    }

    Q_ALWAYS_INLINE RuledOut binaryMiss(Context *c, quint16 &cell, quint32 probability) noexcept
    {
        this->binaryProbability = probability;
        cell = quint16(probability - ((probability + 16) >> 7));
        this->previousSuccess = 0;
        return {c->singleSymbol(), 1};
    }

    // A context with several states ---------------------------------------------------------------

    /// Adds 4 to the frequency of a state and to its context's sum.
    Q_ALWAYS_INLINE static quint32 raise(Context *c, quint8 &freq) noexcept
    {
        c->summFreq = quint16(c->summFreq + 4);
        return freq = quint8(freq + 4);
    }

    /// Returns nothing where the model restarted, as laterHit() and maskedHit() do.
    Q_ALWAYS_INLINE StateRef firstHit(Context *c, const StateArray &all) noexcept
    {
        this->previousSuccess = 2 * all.freqs[0] > c->summFreq ? 1 : 0;
        if (raise(c, all.freqs[0]) > ppmd::maxFreq) [[unlikely]]
            return this->rescale(c, 0, Scan::halve);
        return {all.freqs, all.successors};
    }

    // Format: a hit behind the first state leaves previousSuccess alone, and rescales only where
    // the two states changed places.
    Q_ALWAYS_INLINE StateRef laterHit(Context *c, const StateArray &all, int i) noexcept
    {
        if (raise(c, all.freqs[i]) <= all.freqs[i - 1])
            return {&all.freqs[i], &all.successors[i]};
        all.swapWithPrevious(i--);
        if (all.freqs[i] > ppmd::maxFreq) [[unlikely]]
            return this->rescale(c, i, Scan::halve);
        return {&all.freqs[i], &all.successors[i]};
    }

    Q_ALWAYS_INLINE static RuledOut ruleOut(Context *c, const StateArray &all) noexcept
    {
        return {all.symbols, c->numStats + 1};
    }

    // After an escape -----------------------------------------------------------------------------

    /// The next shorter context that holds a symbol not yet ruled out; none behind the root.
    Q_ALWAYS_INLINE Context *nextShorter(Context *c, RuledOut out) noexcept
    {
        do {
            ++this->orderFall;
            if (c->suffix == 0)
                return nullptr;
            c = this->context(c->suffix);
        } while (c->numStats + 1 == out.count);
        return c;
    }

    /// The estimate of the escape in a masked context; its frequency is taken out of it.
    Q_ALWAYS_INLINE SeeContext *selectSee(Context *c, RuledOut out, quint32 &escapeFreq) noexcept
    {
        const int numStats = c->numStats;
        if (numStats == 255) {
            escapeFreq = 1;
            return &m_certainty;
        }
        const int column =
            (c->summFreq > 10 * (numStats + 1) ? 1 : 0)
            + (2 * numStats < this->context(c->suffix)->numStats + out.count - 1 ? 2 : 0)
            + c->flags;
        const size_t row = ppmd::quantized[size_t(numStats) + 3] - 4u;
        SeeContext *see = &this->seeContexts[row][size_t(column)];
        const quint32 expected = see->summ >> see->shift;
        see->summ = quint16(see->summ - expected);
        escapeFreq = expected != 0 ? expected : 1;
        return see;
    }

    Q_ALWAYS_INLINE static void seeHit(SeeContext *see) noexcept
    {
        if (--see->count != 0)
            return;
        const int expected = see->summ >> see->shift;
        const int target = 7 - (expected >= 41) - (expected >= 281) - (expected >= 1021);
        if (target < see->shift) {
            see->summ >>= 1;
            --see->shift;
        } else if (target > see->shift) {
            see->summ = quint16(see->summ << 1);
            ++see->shift;
        }
        // Format: the product is cut to 8 bits; a shift of 7 waits for 256 hits.
        see->count = quint8(6u << see->shift);
    }

    Q_ALWAYS_INLINE StateRef maskedHit(Context *c, const StateArray &all, int i,
                                       SeeContext *see) noexcept
    {
        seeHit(see);
        StateRef found{&all.freqs[i], &all.successors[i]};
        if (raise(c, all.freqs[i]) > ppmd::maxFreq) [[unlikely]]
            found = this->rescale(c, i, Scan::halve);
        this->runLength = this->initialRunLength;
        return found;
    }

    Q_ALWAYS_INLINE static void seeEscape(SeeContext *see, quint32 total) noexcept
    {
        see->summ = quint16(see->summ + total);
    }

    // Between two symbols -------------------------------------------------------------------------

    /// The context of the next symbol, after \a symbol was looked for from \a maxContext on and
    /// \a found in \a c.
    Q_ALWAYS_INLINE Context *next(Context *maxContext, Context *c, quint8 symbol,
                                  StateRef found) noexcept
    {
        if (!found) [[unlikely]] // the model restarted, and the symbol ends there
            return this->root;
        if (this->orderFall == 0 && *found.successor >= this->units.unitsStart())
            return this->context(*found.successor);
        return this->update(maxContext, c, symbol, *found.freq, found.successor);
    }

    MaskedFreqs m_masked;
    SeeContext m_certainty{}; ///< Stands in for the estimate where all symbols are known.
};

} // namespace kyv::compressor::internal
