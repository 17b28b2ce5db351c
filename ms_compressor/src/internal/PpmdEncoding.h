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
        RangeEncoder coder(output, capacity);
        ContextHints hints(inputLength);
        Context *c = this->maxContext;
        qint32 i = 0;
        if (hints) {
            quint32 last = 0;
            for (; i + contextLead < inputLength; ++i) {
                hints.fetchContext(this->units, pairAt(input + i + contextLead));
                hints.fetchStates(this->units, pairAt(input + i + statesLead));
                Context *current = this->orderFall == 0 ? c : nullptr;
                c = encode(coder, c, input[i]);
                if (current != nullptr)
                    hints.remember(last, this->units.offsetOf(current), current);
                last = last << 8 | input[i];
            }
        }
        for (; i < inputLength; ++i)
            c = encode(coder, c, input[i]);
        return {qint32(encodeEnd(coder, c) - output), this->events()};
    }

private:
    // The encoder knows what comes: it fetches a context some symbols ahead, and its states later.
    static constexpr qint32 contextLead = 6;
    static constexpr qint32 statesLead = 3;

    /// The symbol at \a p and the one before.
    Q_ALWAYS_INLINE static quint32 pairAt(const quint8 *p) noexcept
    {
        return quint32(p[-1]) << 8 | p[0];
    }

    Q_ALWAYS_INLINE Context *encode(RangeEncoder &coder, Context *c, quint8 symbol) noexcept
    {
        RuledOut out;
        StateRef found;
        if (c->numStats == 0) {
            quint16 &cell = this->binaryCell(c);
            const quint32 probability = cell;
            if (*c->singleSymbol() == symbol) {
                coder.encodeHit(probability);
                return this->next(c, symbol, this->binaryHit(c, cell, probability));
            }
            coder.encodeMiss(probability);
            out = this->binaryMiss(c, cell, probability);
        } else {
            const StateArray all = this->states(c);
            const quint32 total = c->summFreq;
            if (all.symbols[0] == symbol) {
                coder.encode(0, all.freqs[0], total);
                return this->next(c, symbol, this->firstHit(c, all));
            }
            const int count = c->numStats + 1;
            const int i = Scan::find(all.symbols, count, symbol);
            const quint32 below = Scan::sum(all.freqs, i);
            if (i != count) {
                coder.encode(below, all.freqs[i], total);
                return this->next(c, symbol, this->laterHit(c, all, i));
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
                return this->next(c, symbol, this->maskedHit(c, all, i, see));
            }
            coder.encode(sum, escapeFreq, sum + escapeFreq);
            this->seeEscape(see, sum + escapeFreq);
            out = this->ruleOut(c, all);
        }
        return this->maxContext;
    }

    /// Escapes out of every context, which marks the end, and returns the end of the output.
    Q_NEVER_INLINE quint8 *encodeEnd(RangeEncoder coder, Context *c) noexcept
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
            this->selectSee(c, out, escapeFreq);
            const quint32 sum = Scan::mask(out.symbols, out.count, all.symbols, all.freqs,
                                           c->numStats + 1, this->m_masked);
            coder.encode(sum, escapeFreq, sum + escapeFreq);
            out = this->ruleOut(c, all);
        }
        coder.flush();
        return coder.position();
    }
};

} // namespace kyv::compressor::internal
