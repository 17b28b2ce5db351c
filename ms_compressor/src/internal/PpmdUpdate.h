#pragma once

#include "internal/PpmdModel.h"

#include <array>

namespace kyv::compressor::internal {

/// Tells the model which symbol came: the second half of every coding step.
///
/// \a Scan finds symbols in state arrays, see StateScan.h. Everything here answers false or 0
/// where the memory is exhausted, and update() then restarts the model.
template <class Scan>
class PpmdUpdate : public PpmdModel
{
public:
    using PpmdModel::PpmdModel;

    /// Learns \a symbol, which was looked for from \a maxContext on and found in \a minContext,
    /// in a state of frequency \a freq.
    ///
    /// Returns the context where the next symbol starts: the new root if the memory was exhausted
    /// and the model restarted.
    Q_NEVER_INLINE ppmd::Context *update(ppmd::Context *maxContext, ppmd::Context *minContext,
                                         quint8 symbol, quint32 freq, quint32 *successor) noexcept
    {
        const quint32 next = learn(maxContext, minContext, symbol, freq, successor);
        return next != 0 ? context(next) : restart();
    }

private:
    using Context = ppmd::Context;
    using StateArray = ppmd::StateArray;
    using StateRef = ppmd::StateRef;

    quint32 learn(Context *maxContext, Context *minContext, quint8 symbol, quint32 freq,
                  quint32 *successor) noexcept;
    StateRef raiseInSuffix(Context *suffix, quint8 symbol, quint32 freq) noexcept;
    bool addState(Context *c, const Context *minContext, quint8 symbol, quint32 freq,
                  quint32 successor) noexcept;
    quint32 createSuccessors(Context *c, quint8 symbol, quint32 *successor, quint32 *inSuffix,
                             bool skip) noexcept;
    quint32 reduceOrder(const Context *maxContext, Context *minContext, quint8 symbol,
                        quint32 *successor) noexcept;
    quint8 firstFreq(Context *target, quint8 symbol) const noexcept;

    /// Place of a symbol that \a c holds; a place inside the array in any case.
    int place(const StateArray &all, const Context *c, quint8 symbol) const noexcept
    {
        const int index = Scan::find(all.symbols, c->numStats + 1, symbol);
        Q_ASSERT(index <= c->numStats);
        return index <= c->numStats ? index : 0;
    }
};

template <class Scan>
quint32 PpmdUpdate<Scan>::learn(Context *maxContext, Context *minContext, quint8 symbol,
                                quint32 freq, quint32 *successor) noexcept
{
    StateRef inSuffix;
    if (minContext->suffix != 0)
        inSuffix = raiseInSuffix(context(minContext->suffix), symbol, freq);

    if (orderFall == 0 && *successor != 0) {
        const quint32 next =
            createSuccessors(minContext, symbol, successor, inSuffix.successor, true);
        if (next != 0)
            *successor = next;
        return next;
    }

    units.appendText(symbol);
    quint32 newSuccessor = units.text();
    if (newSuccessor >= units.unitsStart())
        return 0;

    quint32 next = *successor;
    if (next == 0)
        next = reduceOrder(maxContext, minContext, symbol, successor);
    else if (next < units.unitsStart())
        next = createSuccessors(minContext, symbol, successor, inSuffix.successor, false);
    if (next == 0)
        return 0;

    if (--orderFall == 0) {
        newSuccessor = next;
        if (maxContext != minContext)
            units.dropText();
    }
    for (Context *c = maxContext; c != minContext; c = context(c->suffix)) {
        if (!addState(c, minContext, symbol, freq, newSuccessor))
            return 0;
    }
    return next;
}

/// Step 1 of the update: the found symbol gains weight in the next shorter context as well.
template <class Scan>
ppmd::StateRef PpmdUpdate<Scan>::raiseInSuffix(Context *suffix, quint8 symbol,
                                               quint32 freq) noexcept
{
    if (suffix->numStats == 0) {
        quint8 *single = suffix->singleFreq();
        *single = quint8(*single + (*single < 11 ? 1 : 0));
        return {single, suffix->singleSuccessor()};
    }
    const StateArray all = states(suffix);
    int i = place(all, suffix, symbol);
    // Format: the swap comes before the raise.
    if (i != 0 && all.freqs[i] >= all.freqs[i - 1]) {
        all.swapWithPrevious(i--);
    }
    if (all.freqs[i] < ppmd::maxFreq) {
        const int raise = freq < 32 ? 2 : 1;
        all.freqs[i] = quint8(all.freqs[i] + raise);
        suffix->summFreq = quint16(suffix->summFreq + raise);
    }
    return {&all.freqs[i], &all.successors[i]};
}

/// Step 7 of the update: gives a context in which the symbol was missing a state for it.
template <class Scan>
bool PpmdUpdate<Scan>::addState(Context *c, const Context *minContext, quint8 symbol, quint32 freq,
                                quint32 successor) noexcept
{
    const quint32 minStats = minContext->numStats;
    const quint32 others = minContext->summFreq - freq;
    quint32 summ;
    if (c->numStats != 0) {
        if (c->numStats % 2 != 0 && !expand(c))
            return false;
        summ = c->summFreq + (quint32(ppmd::quantized[minStats + 4]) >> 3);
    } else {
        if (!leaveBinary(c))
            return false;
        summ = quint32(units.at(c->stats)[ppmd::statsToCapacity[1]])
               + ppmd::expectedEscape[ppmd::quantized[binaryProbability >> 8]]
               + (minStats > 1 ? 1 : 0);
    }
    summ = quint16(summ);

    const quint32 cf = 2 * (summ + 4) * freq;
    const quint32 sf = summ + others;
    quint32 newFreq;
    if (cf <= 6 * sf) {
        newFreq = 1u + (cf > sf) + (cf > 3 * sf);
        summ += 4;
    } else {
        newFreq = 4u + (cf > 8 * sf) + (cf > 10 * sf) + (cf > 13 * sf);
        summ += newFreq;
    }
    c->summFreq = quint16(summ);

    const int last = ++c->numStats;
    const StateArray all = states(c);
    all.symbols[last] = symbol;
    all.freqs[last] = quint8(newFreq);
    all.successors[last] = successor;
    if (symbol >= ppmd::highSymbol)
        c->flags |= ppmd::highSymbolFlag;
    return true;
}

/// Frequency of \a symbol in a new context below \a target, judged by its share there.
template <class Scan>
quint8 PpmdUpdate<Scan>::firstFreq(Context *target, quint8 symbol) const noexcept
{
    if (target->numStats == 0)
        return *target->singleFreq();
    const StateArray all = states(target);
    const quint32 cf = all.freqs[place(all, target, symbol)] - 1u;
    const quint32 s0 = target->summFreq - target->numStats - cf;
    Q_ASSERT(s0 != 0);
    if (2 * cf <= s0 || s0 == 0)
        return 12 * cf > s0 ? 2 : 1;
    return quint8(std::min<quint32>(1 + (cf + 2 * s0 - 1) / s0, 7));
}

/// Makes the contexts that the text promised for \a symbol, in \a c and its shorter contexts.
///
/// \a successor is the found state's reference to the text. \a skip leaves that state out; \a
/// inSuffix is the symbol's state in the suffix of \a c, if it is known and raised already.
/// Returns the longest context made, or 0.
template <class Scan>
quint32 PpmdUpdate<Scan>::createSuccessors(Context *c, quint8 symbol, quint32 *successor,
                                           quint32 *inSuffix, bool skip) noexcept
{
    const quint32 upBranch = *successor;
    std::array<quint32 *, orderLimit + 1> pending;
    size_t count = 0;
    if (!skip)
        pending[count++] = successor;

    while (c->suffix != 0) {
        c = context(c->suffix);
        quint32 *here = inSuffix;
        inSuffix = nullptr;
        if (here == nullptr) {
            if (c->numStats != 0) {
                const StateArray all = states(c);
                const int i = place(all, c, symbol);
                if (all.freqs[i] < ppmd::maxFreq) {
                    ++all.freqs[i];
                    ++c->summFreq;
                }
                here = &all.successors[i];
            } else {
                if (context(c->suffix)->numStats == 0 && *c->singleFreq() < 11)
                    ++*c->singleFreq();
                here = c->singleSuccessor();
            }
        }
        if (*here != upBranch) {
            Q_ASSERT(*here >= units.unitsStart());
            if (*here < units.unitsStart())
                return 0;
            c = context(*here);
            break;
        }
        Q_ASSERT(count < pending.size());
        if (count == pending.size())
            return 0;
        pending[count++] = here;
    }
    if (count == 0)
        return units.offsetOf(c);

    const quint8 newSymbol = *units.at(upBranch);
    const quint8 newFreq = firstFreq(c, newSymbol);
    const quint8 flags = quint8((symbol >= ppmd::highSymbol ? ppmd::highOriginFlag : 0)
                                | (newSymbol >= ppmd::highSymbol ? ppmd::highSymbolFlag : 0));
    quint32 suffix = units.offsetOf(c);
    while (count != 0) {
        const quint32 offset = units.allocateContext();
        if (offset == 0)
            return 0;
        Context *created = context(offset);
        *created = {0, flags, 0, upBranch + 1, suffix};
        *created->singleSymbol() = newSymbol;
        *created->singleFreq() = newFreq;
        *pending[--count] = suffix = offset;
    }
    return suffix;
}

/// Finds where to go on after a symbol that leads nowhere yet in \a minContext: promises it a
/// context in every order that lacks one, and takes the first shorter one that has it.
template <class Scan>
quint32 PpmdUpdate<Scan>::reduceOrder(const Context *maxContext, Context *minContext, quint8 symbol,
                                      quint32 *successor) noexcept
{
    const quint32 text = units.text();
    *successor = text;
    ++orderFall;
    Context *c = minContext;
    while (c->suffix != 0) {
        c = context(c->suffix);
        quint32 *here;
        if (c->numStats != 0) {
            const StateArray all = states(c);
            const int i = place(all, c, symbol);
            if (all.freqs[i] < ppmd::maxFreq - 3) {
                all.freqs[i] = quint8(all.freqs[i] + 2);
                c->summFreq = quint16(c->summFreq + 2);
            }
            here = &all.successors[i];
        } else {
            if (*c->singleFreq() < 11)
                ++*c->singleFreq();
            here = c->singleSuccessor();
        }
        if (*here == 0) {
            *here = text;
            ++orderFall;
            continue;
        }
        if (*here < units.unitsStart() && createSuccessors(c, symbol, here, nullptr, false) == 0)
            return 0;
        if (orderFall == 1 && minContext == maxContext) {
            *successor = *here;
            units.dropText();
        }
        return *here;
    }
    return units.offsetOf(c);
}

} // namespace kyv::compressor::internal
