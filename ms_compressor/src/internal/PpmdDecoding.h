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
        RangeDecoder coder(input, inputLength);
        ContextHints hints(capacity);
        Context *c = this->maxContext;
        quint8 symbol;
        quint32 last = 0;
        qint32 position = 0;
        while (true) {
            Context *current = this->orderFall == 0 ? c : nullptr;
            const StateRef found = decode(coder, c, symbol);
            if (c == nullptr)
                break;
            if (position >= capacity)
                break;
            output[position++] = symbol;
            if (position == capacity)
                break;
            if (hints)
                hints.fetchAll(this->units, last << 8 | symbol);
            c = this->next(c, symbol, found);
            if (hints && current != nullptr)
                hints.remember(last, this->units.offsetOf(current), current);
            last = last << 8 | symbol;
        }
        return {position, this->events()};
    }

private:
    /// Decodes one symbol, from context \a c on; \a c becomes the one that holds it, or none at
    /// the end of the data.
    Q_ALWAYS_INLINE StateRef decode(RangeDecoder &coder, Context *&c, quint8 &symbol) noexcept
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
                coder.take(0, all.freqs[0]);
                symbol = all.symbols[0];
                return this->firstHit(c, all);
            }
            const int count = c->numStats + 1;
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
                symbol = all.symbols[hit.index];
                return this->maskedHit(c, all, hit.index, see);
            }
            coder.take(sum, escapeFreq);
            this->seeEscape(see, sum + escapeFreq);
            out = this->ruleOut(c, all);
        }
        return {};
    }
};

} // namespace kyv::compressor::internal
