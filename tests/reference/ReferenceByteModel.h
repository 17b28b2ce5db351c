#pragma once

#include "ReferenceUnitAllocator.h"

#include <array>

namespace kyv::test::reference {

inline constexpr quint32 MaxFreq = 124;

/// The two quantizations of a count of states.
struct Quantizers
{
    std::array<quint8, 256> suffix{}; // NS2BSIndx
    std::array<quint8, 260> count{};  // NS2Indx

    constexpr Quantizers()
    {
        for (std::size_t n = 0; n < 256; ++n)
            suffix[n] = n == 0 ? 0 : n <= 2 ? 2 : n <= 28 ? 4 : 6;
        for (std::size_t n = 0; n < 5; ++n)
            count[n] = quint8(n);
        for (std::size_t n = 5, value = 5, run = 1; n < 260; ++value, ++run) {
            for (std::size_t k = 0; k < run && n < 260; ++k)
                count[n++] = quint8(value);
        }
    }
};

inline constexpr Quantizers quantizers;

/// The context model of docs/formats/bytes.md, section by section.
///
/// The coder asks for the states of the current context, codes an interval and tells the model
/// what it coded; finishSymbol() then brings the model up to date.
class ReferenceByteModel
{
public:
    ReferenceByteModel(BlockSize size, int order);

    void start();

    // The current context.
    void beginSymbol();
    bool isBinary() { return numStats(m_minContext) == 0; }
    quint32 stateCount() { return numStats(m_minContext) + 1u; }
    Offset firstState() { return isBinary() ? m_minContext + 2 : stats(m_minContext); }
    quint32 total() { return summFreq(m_minContext); }
    bool isMasked(Offset state) { return m_charMask[symbol(state)] == m_escCount; }
    quint8 &symbol(Offset state) { return m_units.byte(state); }
    quint8 &freq(Offset state) { return m_units.byte(state + 1); }

    // What was coded in it.
    quint32 binaryProbability();
    void hitBinary();
    void missBinary();
    void hit(Offset state); ///< several states, none masked
    void miss();
    quint32 selectEscapeFrequency();
    void hitMasked(Offset state);
    void missMasked(quint32 total);

    bool ascend(); ///< to the next context that holds an unmasked state; false past the root
    void finishSymbol();

    const RarePaths &rarePaths() const { return m_rarePaths; }
    RarePaths &rarePaths() { return m_rarePaths; }

    static constexpr quint32 StateSize = 6;

private:
    struct SeeContext
    {
        quint16 summ;
        quint8 shift;
        quint8 count;
    };

    quint8 &numStats(Offset context) { return m_units.byte(context); }
    quint8 &flags(Offset context) { return m_units.byte(context + 1); }
    quint16 summFreq(Offset context) const { return m_units.word(context + 2); }
    Offset stats(Offset context) const { return m_units.offset(context + 4); }
    Offset suffix(Offset context) const { return m_units.offset(context + 8); }
    Offset successor(Offset state) const { return m_units.offset(state + 2); }
    void setSummFreq(Offset context, quint32 value) { m_units.setWord(context + 2, value); }
    void setStats(Offset context, Offset states) { m_units.setOffset(context + 4, states); }
    void setSuffix(Offset context, Offset parent) { m_units.setOffset(context + 8, parent); }
    void setSuccessor(Offset state, Offset to) { m_units.setOffset(state + 2, to); }
    void swapStates(Offset a, Offset b);
    Offset findState(Offset context, quint8 wanted);
    bool atRoot() const { return suffix(m_minContext) == None; }
    bool isInText(Offset place) const { return place < m_units.unitsStart(); }

    void startTables();
    void restore();
    void updateSee();
    void rescale();
    bool dropEmptyStates(quint32 &escFreq);
    void boostFirst(quint32 oldSummFreq, quint32 oldFirstFreq, quint32 escFreq);

    bool update(); ///< false where memory or the text area ran out
    Offset raiseInSuffix();
    bool extend(Offset context, quint32 s0, Offset newSuccessor);
    bool makeRoom(Offset context);
    Offset createSuccessors(bool skip, Offset inSuffix);
    quint32 inheritedFreq(Offset target, quint8 newSymbol);
    void raiseOnWalk(Offset context, Offset state);
    Offset reduceOrder();

    RarePaths m_rarePaths;
    ReferenceUnitAllocator m_units;

    Offset m_maxContext = None;
    Offset m_minContext = None;
    Offset m_foundState = None;
    qint32 m_orderFall = 0;
    qint32 m_maxOrder;
    qint32 m_initRl = 0;
    qint32 m_runLength = 0;
    quint8 m_escCount = 0;
    quint8 m_numMasked = 0;
    quint8 m_prevSuccess = 0;
    bool m_restored = false; // during this symbol, by a rescale
    std::array<quint8, 256> m_charMask{};
    quint16 m_binSumm[25][64] = {};
    quint16 *m_binary = nullptr; // the probability of the binary context being coded
    quint32 m_lastBinary = 0;    // its value when it was read
    SeeContext m_see[23][32] = {};
    SeeContext *m_selected = nullptr; // none for the dummy
};

// Coding in a context. What runs for every symbol stands here, so that a compiler can inline it.

inline void ReferenceByteModel::beginSymbol()
{
    m_minContext = m_maxContext;
    m_restored = false;
}

inline quint32 ReferenceByteModel::binaryProbability()
{
    const Offset state = firstState();
    const int row = quantizers.count[freq(state) - 1u];
    const int column = quantizers.suffix[numStats(suffix(m_minContext))] + m_prevSuccess
                       + flags(m_minContext) + ((m_runLength >> 26) & 32);
    m_binary = &m_binSumm[row][column];
    m_lastBinary = *m_binary;
    return m_lastBinary;
}

inline void ReferenceByteModel::hitBinary()
{
    const Offset state = firstState();
    *m_binary = quint16(m_lastBinary - ((m_lastBinary + 16) >> 7) + 128);
    if (freq(state) < 196)
        ++freq(state);
    ++m_runLength;
    m_prevSuccess = 1;
    m_foundState = state;
}

inline void ReferenceByteModel::missBinary()
{
    *m_binary = quint16(m_lastBinary - ((m_lastBinary + 16) >> 7));
    m_charMask[symbol(firstState())] = m_escCount;
    m_numMasked = 0;
    m_prevSuccess = 0;
    m_foundState = None;
}

inline void ReferenceByteModel::hit(Offset state)
{
    m_foundState = state;
    const bool first = state == stats(m_minContext);
    if (first)
        m_prevSuccess = 2u * freq(state) > summFreq(m_minContext) ? 1 : 0;
    freq(state) = quint8(freq(state) + 4);
    setSummFreq(m_minContext, summFreq(m_minContext) + 4u);
    bool raised = first;
    if (!first && freq(state) > freq(state - StateSize)) {
        swapStates(state, state - StateSize);
        m_foundState = state - StateSize;
        raised = true; // only a state that moved up is tested
    }
    if (raised && freq(m_foundState) > MaxFreq)
        rescale();
}

inline void ReferenceByteModel::miss()
{
    for (quint32 i = 0; i < stateCount(); ++i)
        m_charMask[symbol(firstState() + i * StateSize)] = m_escCount;
    m_numMasked = numStats(m_minContext);
    m_prevSuccess = 0;
    m_foundState = None;
}

inline bool ReferenceByteModel::ascend()
{
    do {
        if (atRoot())
            return false; // a root without a symbol left is passed over like any context
        ++m_orderFall;
        m_minContext = suffix(m_minContext);
    } while (numStats(m_minContext) == m_numMasked);
    if (atRoot())
        ++m_rarePaths.rootEscapes;
    return true;
}

inline quint32 ReferenceByteModel::selectEscapeFrequency()
{
    const int count = numStats(m_minContext);
    m_selected = nullptr;
    if (count == 255)
        return 1;
    const int row = quantizers.count[std::size_t(count + 3)] - 4;
    const int column = (summFreq(m_minContext) > 10 * (count + 1) ? 1 : 0)
                       + (2 * count < numStats(suffix(m_minContext)) + m_numMasked ? 2 : 0)
                       + flags(m_minContext);
    m_selected = &m_see[row][column];
    const quint32 frequency = m_selected->summ >> m_selected->shift;
    m_selected->summ = quint16(m_selected->summ - frequency);
    return frequency == 0 ? 1 : frequency;
}

inline void ReferenceByteModel::updateSee()
{
    SeeContext &see = *m_selected;
    if (--see.count != 0)
        return;
    const int frequency = see.summ >> see.shift;
    const int target = 7 - (frequency >= 41) - (frequency >= 281) - (frequency >= 1021);
    if (target < see.shift) {
        see.summ = quint16(see.summ >> 1);
        --see.shift;
    } else if (target > see.shift) {
        see.summ = quint16(see.summ << 1);
        ++see.shift;
    }
    see.count = quint8(6 << see.shift);
}

inline void ReferenceByteModel::hitMasked(Offset state)
{
    if (m_selected)
        updateSee();
    m_foundState = state;
    freq(state) = quint8(freq(state) + 4);
    setSummFreq(m_minContext, summFreq(m_minContext) + 4u);
    if (freq(state) > MaxFreq)
        rescale();
    ++m_escCount;
    m_runLength = m_initRl;
}

inline void ReferenceByteModel::missMasked(quint32 total)
{
    if (m_selected)
        m_selected->summ = quint16(m_selected->summ + total);
    for (quint32 i = 0; i < stateCount(); ++i)
        m_charMask[symbol(firstState() + i * StateSize)] = m_escCount;
    m_numMasked = numStats(m_minContext);
}

inline void ReferenceByteModel::swapStates(Offset a, Offset b)
{
    quint8 kept[StateSize];
    std::memcpy(kept, &symbol(a), StateSize);
    std::memcpy(&symbol(a), &symbol(b), StateSize);
    std::memcpy(&symbol(b), kept, StateSize);
}

} // namespace kyv::test::reference
