#pragma once

#include "ReferenceUnitAllocator.h"

#include <array>
#include <vector>

namespace kyv::test::reference {

/// The context model of docs/formats/bytes.md, section by section.
///
/// The coder asks for the states of the current context, codes an interval and tells the model
/// what it coded; finishSymbol() then brings the model up to date.
class ReferenceByteModel
{
public:
    ReferenceByteModel(int mebibytes, int order);

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

} // namespace kyv::test::reference
