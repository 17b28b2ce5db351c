#pragma once

#include "internal/ContextHints.h"
#include "internal/PpmdCoding.h"

namespace kyv::compressor::internal {

/// The decode loop, the mirror of PpmdEncoding.
///
/// It ends right after the write that fills the output, before the model learns that symbol, or
/// at the escape out of the root.
template <class Scan>
class PpmdDecoding : PpmdCoding<Scan>
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
        RangeDecoder<Scan> coder(input, inputLength);
        ContextHints hints;
        bool isLarge = false;
        quint32 last = 0; // the symbols before this one
        qint32 position = 0;
        Context *maxContext = this->root;
        while (true) {
            Context *c = maxContext;
            quint8 symbol;
            if (isLarge && this->orderFall == 0)
                hints.remember(last, this->units.offsetOf(c), c);
            const StateRef found = decode(coder, c, symbol);
            if (c == nullptr || position >= capacity)
                break;
            output[position++] = symbol;
            if (position == capacity)
                break;
            last = last << 8 | symbol;
            if (isLarge)
                hints.fetchAll(this->units, last);
            if (position % stretch == 0)
                isLarge = this->outgrowsCaches() && hints.prepare();
            maxContext = this->next(maxContext, c, symbol, found);
        }
        return {position, this->events()};
    }

private:
    static constexpr qint32 stretch = 4096;   ///< Symbols between two looks at the model's size.
    static constexpr int predictedStates = 4; ///< States that are asked one by one.

    /// Decodes one symbol, from context \a c on; \a c becomes the one that holds it, or none at
    /// the end of the data.
    Q_ALWAYS_INLINE StateRef decode(RangeDecoder<Scan> &coder, Context *&c, quint8 &symbol) noexcept
    {
        RuledOut out;
        if (c->numStats == 0) {
            quint16 &cell = this->binaryCell(c);
            const quint32 probability = cell;
            if (coder.isHit(probability)) {
                coder.hit(probability);
                symbol = *c->singleSymbol();
                return this->binaryHit(c, cell, probability);
            }
            coder.miss(probability);
            out = this->binaryMiss(c, cell, probability);
        } else {
            const StateArray all = this->states(c);
            const quint32 total = c->summFreq;
            coder.split(total);
            if (coder.isBelow(all.freqs[0])) {
                coder.takeFirst(all.freqs[0]);
                symbol = all.symbols[0];
                return this->firstHit(c, all);
            }
            // One by one at first: what the processor predicts right, it need not wait for.
            const int count = c->numStats + 1;
            quint32 below = all.freqs[0];
            for (int i = 1; i < count && i < predictedStates; ++i) {
                const quint32 freq = all.freqs[i];
                if (coder.isBelow(below + freq)) {
                    coder.take(below, freq);
                    symbol = all.symbols[i];
                    return this->laterHit(c, all, i);
                }
                below += freq;
            }
            const ScanHit hit = Scan::locate(all.freqs, count, coder.count());
            if (hit.index != count) {
                coder.take(hit.below, all.freqs[hit.index]);
                symbol = all.symbols[hit.index];
                return this->laterHit(c, all, hit.index);
            }
            coder.take(hit.below, total - hit.below);
            this->previousSuccess = 0;
            out = this->ruleOut(c, all);
        }

        // On a copy, so that the loop's coder stays in registers.
        RangeDecoder<Scan> copy = coder;
        const Escaped escaped = decodeEscaped(copy, c, out);
        coder = copy;
        c = escaped.context;
        symbol = escaped.symbol;
        return escaped.found;
    }

    /// What was decoded after an escape; no context at the end of the data.
    struct Escaped
    {
        Context *context;
        quint8 symbol;
        StateRef found;
    };

    /// Decodes the symbol after the escape out of context \a c.
    Q_NEVER_INLINE Escaped decodeEscaped(RangeDecoder<Scan> &shared, Context *c,
                                         RuledOut out) noexcept
    {
        RangeDecoder<Scan> coder = shared;
        while ((c = this->nextShorter(c, out)) != nullptr) {
            const StateArray all = this->states(c);
            const int count = c->numStats + 1;
            quint32 escapeFreq;
            SeeContext *see = this->selectSee(c, out, escapeFreq);
            const quint32 sum =
                Scan::mask(out.symbols, out.count, all.symbols, all.freqs, count, this->m_masked);
            coder.split(sum + escapeFreq);
            const ScanHit hit = Scan::locate(this->m_masked.freqs, count, coder.count());
            if (hit.index != count) {
                coder.take(hit.below, all.freqs[hit.index]);
                shared = coder;
                const quint8 symbol = all.symbols[hit.index];
                return {c, symbol, this->maskedHit(c, all, hit.index, see)};
            }
            coder.take(sum, escapeFreq);
            this->seeEscape(see, sum + escapeFreq);
            out = this->ruleOut(c, all);
        }
        return {nullptr, 0, {}};
    }
};

} // namespace kyv::compressor::internal
