#pragma once

#include "internal/ContextHints.h"
#include "internal/PpmdCoding.h"

namespace kyv::compressor::internal {

/// The encode loop; PpmdDecoding mirrors it.
template <class Scan>
class PpmdEncoding : PpmdCoding<Scan>
{
    using Base = PpmdCoding<Scan>;
    using typename Base::Context;
    using typename Base::RuledOut;
    using typename Base::SeeContext;
    using typename Base::StateArray;
    using typename Base::StateRef;

public:
    using Base::Base;

    PpmdCodec::Result run(const quint8 *input, qint32 inputLength, quint8 *output,
                          qint32 capacity) noexcept
    {
        RangeEncoder<Scan> coder(output, capacity);
        ContextHints hints;
        Context *c = this->root;
        for (qint32 i = 0; i < inputLength;) {
            // While the model is large, the encoder, who knows what comes, fetches each context
            // some symbols ahead, and its states later. The last symbols go without.
            const qint32 end = i + std::min(inputLength - i, stretch);
            const bool isLarge = i > 0 && inputLength - end > contextLead && this->outgrowsCaches()
                                 && hints.prepare();
            for (; i < end; ++i) {
                if (isLarge) {
                    hints.fetchContext(this->units, pairAt(input + i + contextLead));
                    hints.fetchStates(this->units, pairAt(input + i + statesLead));
                    if (this->orderFall == 0)
                        hints.remember(pairAt(input + i - 1), this->units.offsetOf(c), c);
                }
                c = encode(coder, c, input[i]);
            }
        }
        return {qint32(encodeEnd(coder, c) - output), this->events()};
    }

private:
    static constexpr qint32 stretch = 4096; ///< Symbols between two looks at the model's size.
    static constexpr qint32 contextLead = 6;
    static constexpr qint32 statesLead = 3;

    /// The symbol at \a p and the one before.
    Q_ALWAYS_INLINE static quint32 pairAt(const quint8 *p) noexcept
    {
        return quint32(p[-1]) << 8 | p[0];
    }

    Q_ALWAYS_INLINE Context *encode(RangeEncoder<Scan> &coder, Context *maxContext,
                                    quint8 symbol) noexcept
    {
        Context *c = maxContext;
        RuledOut out;
        if (c->numStats == 0) {
            quint16 &cell = this->binaryCell(c);
            const quint32 probability = cell;
            if (*c->singleSymbol() == symbol) {
                coder.encodeHit(probability);
                return this->next(maxContext, c, symbol, this->binaryHit(c, cell, probability));
            }
            coder.encodeMiss(probability);
            out = this->binaryMiss(c, cell, probability);
        } else {
            const StateArray all = this->states(c);
            const quint32 total = c->summFreq;
            if (all.symbols[0] == symbol) {
                coder.encodeFirst(all.freqs[0], total);
                return this->next(maxContext, c, symbol, this->firstHit(c, all));
            }
            // The second state apart: what the processor predicts right, it need not wait for.
            if (all.symbols[1] == symbol) {
                coder.encode(all.freqs[0], all.freqs[1], total);
                return this->next(maxContext, c, symbol, this->laterHit(c, all, 1));
            }
            const int count = c->numStats + 1;
            const int i = Scan::find(all.symbols, count, symbol);
            const quint32 below = Scan::sum(all.freqs, i);
            if (i != count) {
                coder.encode(below, all.freqs[i], total);
                return this->next(maxContext, c, symbol, this->laterHit(c, all, i));
            }
            coder.encode(below, total - below, total);
            this->previousSuccess = 0;
            out = this->ruleOut(c, all);
        }

        // The root holds every symbol, so this ends.
        while ((c = this->nextShorter(c, out)) != nullptr) {
            const StateArray all = this->states(c);
            const int count = c->numStats + 1;
            quint32 escapeFreq;
            SeeContext *see = this->selectSee(c, out, escapeFreq);
            const quint32 sum =
                Scan::mask(out.symbols, out.count, all.symbols, all.freqs, count, this->m_masked);
            const int i = Scan::find(all.symbols, count, symbol);
            if (i != count) {
                coder.encode(Scan::sum(this->m_masked.freqs, i), all.freqs[i], sum + escapeFreq);
                return this->next(maxContext, c, symbol, this->maskedHit(c, all, i, see));
            }
            coder.encode(sum, escapeFreq, sum + escapeFreq);
            this->seeEscape(see, sum + escapeFreq);
            out = this->ruleOut(c, all);
        }
        return this->root;
    }

    /// Escapes out of every context, which marks the end, and returns the end of the output.
    Q_NEVER_INLINE quint8 *encodeEnd(RangeEncoder<Scan> coder, Context *c) noexcept
    {
        RuledOut out;
        if (c->numStats == 0) {
            quint16 &cell = this->binaryCell(c);
            const quint32 probability = cell;
            coder.encodeMiss(probability);
            out = this->binaryMiss(c, cell, probability);
        } else {
            const StateArray all = this->states(c);
            const quint32 below = Scan::sum(all.freqs, c->numStats + 1);
            coder.encode(below, c->summFreq - below, c->summFreq);
            out = this->ruleOut(c, all);
        }
        while ((c = this->nextShorter(c, out)) != nullptr) {
            const StateArray all = this->states(c);
            quint32 escapeFreq;
            SeeContext *see = this->selectSee(c, out, escapeFreq);
            const quint32 sum = Scan::mask(out.symbols, out.count, all.symbols, all.freqs,
                                           c->numStats + 1, this->m_masked);
            coder.encode(sum, escapeFreq, sum + escapeFreq);
            this->seeEscape(see, sum + escapeFreq);
            out = this->ruleOut(c, all);
        }
        coder.flush();
        return coder.position();
    }
};

} // namespace kyv::compressor::internal
