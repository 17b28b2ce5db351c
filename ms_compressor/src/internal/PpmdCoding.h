#pragma once

#include "internal/PpmdCodec.h"
#include "internal/PpmdUpdate.h"
#include "internal/RangeCoder.h"
#include "internal/StateScan.h"

namespace kyv::compressor::internal {

/// What encoding and decoding share: probabilities, and what a hit or a miss does to them.
template <class Scan>
class PpmdCoding : public PpmdUpdate<Scan>
{
public:
    using PpmdUpdate<Scan>::PpmdUpdate;

protected:
    using Context = ppmd::Context;
    using StateArray = ppmd::StateArray;
    using StateRef = ppmd::StateRef;
    using SeeContext = ppmd::SeeContext;

    /// A symbol that was coded: where its state is now, and its frequency.
    ///
    /// Without a state the model restarted during a rescale, and the symbol ends there.
    using Found = StateRef;

    quint16 &binaryCell(Context *c) noexcept
    {
        const int column = ppmd::parentColumn[this->context(c->suffix)->numStats]
                           + int(this->previousSuccess) + c->flags + ((this->runLength >> 26) & 32);
        return this->binSumm[ppmd::quantized[*c->singleFreq() - 1u]][size_t(column)];
    }

    Found binaryHit(Context *c, quint16 &cell) noexcept
    {
        this->binaryProbability = cell;
        cell = quint16(cell - ((cell + 16) >> 7) + 128);
        quint8 *freq = c->singleFreq();
        *freq = quint8(*freq + (*freq < 196 ? 1 : 0));
        ++this->runLength;
        this->previousSuccess = 1;
        return {freq, c->singleSuccessor()};
    }

    void binaryMiss(Context *c, quint16 &cell) noexcept
    {
        this->binaryProbability = cell;
        cell = quint16(cell - ((cell + 16) >> 7));
        this->previousSuccess = 0;
        Scan::clear(m_mask);
        Scan::ruleOut(m_mask, c->singleSymbol(), 1);
        m_numMasked = 0;
    }

    /// Adds 4 to the frequency of a state and to its context's sum.
    static quint32 raise(Context *c, quint8 &freq) noexcept
    {
        freq = quint8(freq + 4);
        c->summFreq = quint16(c->summFreq + 4);
        return freq;
    }

    Found firstHit(Context *c, const StateArray &all) noexcept
    {
        this->previousSuccess = 2 * all.freqs[0] > c->summFreq ? 1 : 0;
        if (raise(c, all.freqs[0]) > ppmd::maxFreq)
            return this->rescale(c, 0);
        return {all.freqs, all.successors};
    }

    Found laterHit(Context *c, const StateArray &all, int i) noexcept
    {
        if (raise(c, all.freqs[i]) <= all.freqs[i - 1])
            return {&all.freqs[i], &all.successors[i]};
        std::swap(all.symbols[i], all.symbols[i - 1]);
        std::swap(all.freqs[i], all.freqs[i - 1]);
        std::swap(all.successors[i], all.successors[i - 1]);
        --i;
        if (all.freqs[i] > ppmd::maxFreq)
            return this->rescale(c, i);
        return {&all.freqs[i], &all.successors[i]};
    }

    void miss(Context *c, const StateArray &all) noexcept
    {
        this->previousSuccess = 0;
        Scan::clear(m_mask);
        maskAll(c, all);
    }

    void maskAll(Context *c, const StateArray &all) noexcept
    {
        Scan::ruleOut(m_mask, all.symbols, c->numStats + 1);
        m_numMasked = c->numStats;
    }

    /// After an escape: goes to the next shorter context that holds a symbol not yet ruled out.
    Context *nextShorter(Context *c) noexcept
    {
        do {
            ++this->orderFall;
            if (c->suffix == 0)
                return nullptr;
            c = this->context(c->suffix);
        } while (c->numStats == m_numMasked);
        return c;
    }

    /// The estimate of the escape in a masked context; its frequency is taken out of it.
    SeeContext *selectSee(Context *c, quint32 &escapeFreq) noexcept
    {
        if (c->numStats == 255) {
            escapeFreq = 1;
            return &m_dummySee;
        }
        const int numStats = c->numStats;
        const int column =
            (c->summFreq > 10 * (numStats + 1) ? 1 : 0)
            + (2 * numStats < this->context(c->suffix)->numStats + m_numMasked ? 2 : 0) + c->flags;
        SeeContext *see =
            &this->seeContexts[ppmd::quantized[size_t(numStats) + 3] - 4u][size_t(column)];
        const quint32 expected = see->summ >> see->shift;
        see->summ = quint16(see->summ - expected);
        escapeFreq = expected != 0 ? expected : 1;
        return see;
    }

    static void seeHit(SeeContext *see) noexcept
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
        see->count = quint8(6u << see->shift);
    }

    Found maskedHit(Context *c, const StateArray &all, int i, SeeContext *see) noexcept
    {
        seeHit(see);
        Found found{&all.freqs[i], &all.successors[i]};
        if (raise(c, all.freqs[i]) > ppmd::maxFreq)
            found = this->rescale(c, i);
        this->runLength = this->initialRunLength;
        return found;
    }

    void maskedEscape(Context *c, const StateArray &all, SeeContext *see, quint32 total) noexcept
    {
        see->summ = quint16(see->summ + total);
        maskAll(c, all);
    }

    /// Moves on to the context of the next symbol.
    void advance(Context *c, quint8 symbol, Found found) noexcept
    {
        if (!found) // restarted
            return;
        if (this->orderFall == 0 && *found.successor >= this->units.unitsStart())
            this->maxContext = this->context(*found.successor);
        else
            this->update(c, symbol, *found.freq, found.successor);
    }

    SymbolMask m_mask;
    int m_numMasked = 0;
    SeeContext m_dummySee{};
    alignas(64) quint8 m_masked[256];
};

/// The encoding half.
template <class Scan>
class PpmdEncoding : PpmdCoding<Scan>
{
    using Base = PpmdCoding<Scan>;
    using typename Base::Context;
    using typename Base::Found;
    using typename Base::StateArray;

public:
    using Base::Base;

    PpmdCodec::Result run(const quint8 *input, qint32 inputLength, quint8 *output,
                          qint32 capacity) noexcept
    {
        RangeEncoder coder(output, capacity);
        for (qint32 i = 0; i < inputLength; ++i)
            encodeSymbol(coder, input[i]);
        encodeSymbol(coder, endOfData);
        coder.flush();
        return {qint32(coder.position() - output), this->events()};
    }

private:
    /// Looked for like a symbol, but no context holds it.
    static constexpr int endOfData = -1;

    void encodeSymbol(RangeEncoder &coder, int symbol) noexcept
    {
        Context *c = this->maxContext;
        Found found;
        bool isFound = c->numStats != 0 ? encodeAmongMany(coder, c, symbol, found)
                                        : encodeBinary(coder, c, symbol, found);
        while (!isFound) {
            c = this->nextShorter(c);
            if (c == nullptr)
                return;
            isFound = encodeMasked(coder, c, symbol, found);
        }
        this->advance(c, quint8(symbol), found);
    }

    bool encodeBinary(RangeEncoder &coder, Context *c, int symbol, Found &found) noexcept
    {
        quint16 &cell = this->binaryCell(c);
        const bool hit = *c->singleSymbol() == symbol;
        coder.encodeBinary(hit, cell);
        if (hit)
            found = this->binaryHit(c, cell);
        else
            this->binaryMiss(c, cell);
        return hit;
    }

    static int find(const StateArray &all, int count, int symbol) noexcept
    {
        return symbol == endOfData ? count : Scan::find(all.symbols, count, quint8(symbol));
    }

    bool encodeAmongMany(RangeEncoder &coder, Context *c, int symbol, Found &found) noexcept
    {
        const StateArray all = this->states(c);
        const int count = c->numStats + 1;
        const int i = find(all, count, symbol);
        const quint32 below = Scan::sum(all.freqs, i);
        if (i == count) {
            coder.encode(below, c->summFreq - below, c->summFreq);
            this->miss(c, all);
            return false;
        }
        coder.encode(below, all.freqs[i], c->summFreq);
        found = i == 0 ? this->firstHit(c, all) : this->laterHit(c, all, i);
        return true;
    }

    bool encodeMasked(RangeEncoder &coder, Context *c, int symbol, Found &found) noexcept
    {
        const StateArray all = this->states(c);
        const int count = c->numStats + 1;
        quint32 escapeFreq;
        auto *see = this->selectSee(c, escapeFreq);
        const quint32 sum =
            Scan::masked(this->m_mask, all.symbols, all.freqs, count, this->m_masked);
        const quint32 total = sum + escapeFreq;
        const int i = find(all, count, symbol);
        if (i == count) {
            coder.encode(sum, escapeFreq, total);
            this->maskedEscape(c, all, see, total);
            return false;
        }
        coder.encode(Scan::sum(this->m_masked, i), all.freqs[i], total);
        found = this->maskedHit(c, all, i, see);
        return true;
    }
};

/// The decoding half.
template <class Scan>
class PpmdDecoding : PpmdCoding<Scan>
{
    using Base = PpmdCoding<Scan>;
    using typename Base::Context;
    using typename Base::Found;
    using typename Base::StateArray;

public:
    using Base::Base;

    PpmdCodec::Result run(const quint8 *input, qint32 inputLength, quint8 *output,
                          qint32 capacity) noexcept
    {
        RangeDecoder coder(input, inputLength);
        qint32 position = 0;
        while (true) {
            Context *c = this->maxContext;
            Found found;
            quint8 symbol = 0;
            bool isFound = c->numStats != 0 ? decodeAmongMany(coder, c, symbol, found)
                                            : decodeBinary(coder, c, symbol, found);
            while (!isFound) {
                c = this->nextShorter(c);
                if (c == nullptr)
                    return {position, this->events()};
                isFound = decodeMasked(coder, c, symbol, found);
            }
            if (position < capacity)
                output[position++] = symbol;
            if (position >= capacity)
                return {position, this->events()};
            this->advance(c, symbol, found);
        }
    }

private:
    bool decodeBinary(RangeDecoder &coder, Context *c, quint8 &symbol, Found &found) noexcept
    {
        quint16 &cell = this->binaryCell(c);
        const bool hit = coder.decodeBinary(cell);
        symbol = *c->singleSymbol();
        if (hit)
            found = this->binaryHit(c, cell);
        else
            this->binaryMiss(c, cell);
        return hit;
    }

    bool decodeAmongMany(RangeDecoder &coder, Context *c, quint8 &symbol, Found &found) noexcept
    {
        const StateArray all = this->states(c);
        const int count = c->numStats + 1;
        const ScanHit hit = Scan::locate(all.freqs, count, coder.count(c->summFreq));
        if (hit.index == count) {
            coder.take(hit.below, c->summFreq - hit.below);
            this->miss(c, all);
            return false;
        }
        symbol = all.symbols[hit.index];
        coder.take(hit.below, all.freqs[hit.index]);
        found = hit.index == 0 ? this->firstHit(c, all) : this->laterHit(c, all, hit.index);
        return true;
    }

    bool decodeMasked(RangeDecoder &coder, Context *c, quint8 &symbol, Found &found) noexcept
    {
        const StateArray all = this->states(c);
        const int count = c->numStats + 1;
        quint32 escapeFreq;
        auto *see = this->selectSee(c, escapeFreq);
        const quint32 sum =
            Scan::masked(this->m_mask, all.symbols, all.freqs, count, this->m_masked);
        const quint32 total = sum + escapeFreq;
        const ScanHit hit = Scan::locate(this->m_masked, count, coder.count(total));
        if (hit.index == count) {
            coder.take(sum, escapeFreq);
            this->maskedEscape(c, all, see, total);
            return false;
        }
        symbol = all.symbols[hit.index];
        coder.take(hit.below, all.freqs[hit.index]);
        found = this->maskedHit(c, all, hit.index, see);
        return true;
    }
};

} // namespace kyv::compressor::internal
