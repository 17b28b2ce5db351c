// The context model of the byte format, in the order of docs/formats/bytes.md: start,
// rescale, update, restoration. Coding in a context stands in the header.

#include "ReferenceByteModel.h"

#include <algorithm>

namespace kyv::test::reference {

namespace {

constexpr int ExpEscape[16] = {51, 43, 18, 12, 11, 9, 8, 7, 6, 5, 4, 3, 3, 2, 2, 2};

constexpr int InitialEscape[6][2] = {{16, -10}, {1, 51}, {14, 89}, {23, 35}, {64, 26}, {-42, 43}};

} // namespace

ReferenceByteModel::ReferenceByteModel(BlockSize size, int order)
    : m_units(size, m_rarePaths)
    , m_maxOrder(order)
{
    start();
}

// Start.

void ReferenceByteModel::start()
{
    m_charMask.fill(0);
    m_escCount = 1;
    m_orderFall = m_maxOrder;
    m_units.start();
    m_initRl = m_runLength = -std::min(m_maxOrder, 13);

    const Offset root = m_units.allocateContext();
    const Offset states = m_units.allocateUnits(128);
    numStats(root) = 255;
    flags(root) = 0;
    setSummFreq(root, 257);
    setStats(root, states);
    setSuffix(root, None);
    for (quint32 i = 0; i < 256; ++i) {
        const Offset state = states + i * StateSize;
        symbol(state) = quint8(i);
        freq(state) = 1;
        setSuccessor(state, None);
    }
    m_prevSuccess = 0;
    m_maxContext = m_minContext = root;
    startTables();
}

void ReferenceByteModel::startTables()
{
    for (int row = 0; row < 25; ++row) {
        int first = 0;
        while (quantizers.count[std::size_t(first)] <= row)
            ++first;
        for (int column = 0; column < 64; ++column) {
            int sum = 0;
            for (int bit = 0; bit < 6; ++bit)
                sum += InitialEscape[bit][(column >> bit) & 1];
            const int escape = 128 * std::clamp(sum, 32, 224);
            m_binSumm[row][column] = quint16(16384 - escape / (first + 1));
        }
    }
    for (int row = 0; row < 23; ++row) {
        for (SeeContext &see : m_see[row])
            see = {quint16(64 * row + 40), 3, 7};
    }
}

// Rescale.

void ReferenceByteModel::rescale()
{
    ++m_rarePaths.rescales;
    const Offset context = m_minContext;
    const Offset first = stats(context);
    const quint32 oldSummFreq = summFreq(context);
    const quint32 adder = m_orderFall != 0 ? 1 : 0;

    flags(context) &= 0x14;
    for (; m_foundState != first; m_foundState -= StateSize)
        swapStates(m_foundState, m_foundState - StateSize);

    const quint32 oldFirstFreq = freq(first);
    quint32 escFreq = oldSummFreq - oldFirstFreq;
    freq(first) = quint8((oldFirstFreq + adder) >> 1);
    quint32 sum = freq(first);
    for (quint32 i = 1; i <= numStats(context); ++i) {
        Offset state = first + i * StateSize;
        escFreq -= freq(state);
        freq(state) = quint8((freq(state) + adder) >> 1);
        sum += freq(state);
        if (freq(state) > 0 && symbol(state) >= 64)
            flags(context) |= 0x08;
        for (; state != first && freq(state) > freq(state - StateSize); state -= StateSize)
            swapStates(state, state - StateSize);
    }
    setSummFreq(context, sum);

    if (freq(first + numStats(context) * StateSize) == 0) {
        if (!dropEmptyStates(escFreq))
            return;
    }
    setSummFreq(context, summFreq(context) + ((escFreq + 1) >> 1));
    boostFirst(oldSummFreq, oldFirstFreq, escFreq);
}

/// Drops the trailing states of frequency 0; false where the rescale ends with that.
bool ReferenceByteModel::dropEmptyStates(quint32 &escFreq)
{
    const Offset context = m_minContext;
    const Offset states = stats(context);
    const quint32 oldUnits = (numStats(context) + 2u) / 2;
    quint32 empty = 0;
    while (freq(states + (numStats(context) - empty) * StateSize) == 0)
        ++empty;
    escFreq += empty;
    numStats(context) = quint8(numStats(context) - empty);

    if (numStats(context) == 0) {
        ++m_rarePaths.rescalesToBinary;
        flags(context) &= 0x18;
        freq(states) = quint8(std::min<quint32>((2u * freq(states) + escFreq - 1) / escFreq, 41));
        m_foundState = context + 2;
        m_units.copy(m_foundState, states, StateSize); // before the marker overwrites it
        m_units.freeUnits(states, oldUnits);
        return false;
    }
    const Offset smaller = m_units.shrinkUnits(states, oldUnits, (numStats(context) + 2u) / 2);
    if (smaller == None) {
        ++m_rarePaths.failedShrinks;
        restore();
        m_restored = true;
        return false;
    }
    setStats(context, smaller);
    return true;
}

void ReferenceByteModel::boostFirst(quint32 oldSummFreq, quint32 oldFirstFreq, quint32 escFreq)
{
    const Offset context = m_minContext;
    const Offset first = stats(context);
    quint32 boost = 2;
    if (m_orderFall != 0 || !(flags(context) & 0x04)) {
        const quint32 a = oldSummFreq - escFreq;
        const quint32 b = a - oldFirstFreq;
        const quint32 q = (summFreq(context) * oldFirstFreq - freq(first) * a - 1 + b) / b;
        if (q >= 2)
            boost = std::min<quint32>(q, 44);
    }
    freq(first) = quint8(freq(first) + boost);
    setSummFreq(context, summFreq(context) + boost);
    flags(context) |= 0x04;
    m_foundState = first;
}

// Update.

void ReferenceByteModel::finishSymbol()
{
    if (!m_restored) {
        const Offset next = successor(m_foundState);
        if (m_orderFall == 0 && !isInText(next))
            m_maxContext = m_minContext = next;
        else if (!update())
            restore();
    }
    if (m_escCount == 0) {
        m_escCount = 1;
        m_charMask.fill(0);
    }
}

bool ReferenceByteModel::update()
{
    const Offset fs = m_foundState;
    const Offset inSuffix = raiseInSuffix();

    if (m_orderFall == 0 && successor(fs) != None) {
        const Offset created = createSuccessors(true, inSuffix);
        if (created == None)
            return false;
        setSuccessor(fs, created);
        m_minContext = m_maxContext = created;
        return true;
    }

    if (!m_units.pushText(symbol(fs)))
        return false;
    Offset newSuccessor = m_units.text();

    Offset next = successor(fs);
    if (next == None)
        next = reduceOrder();
    else if (isInText(next))
        next = createSuccessors(false, inSuffix);
    if (next == None)
        return false;

    if (--m_orderFall == 0) {
        newSuccessor = next;
        if (m_maxContext != m_minContext)
            m_units.popText();
    }
    const quint32 s0 =
        m_maxContext == m_minContext ? 0 : quint32(summFreq(m_minContext)) - freq(fs);
    for (Offset pc = m_maxContext; pc != m_minContext; pc = suffix(pc)) {
        if (!extend(pc, s0, newSuccessor))
            return false;
    }
    m_maxContext = m_minContext = next;
    return true;
}

/// Step 1: the found symbol's state in the suffix context, raised; none in the root.
Offset ReferenceByteModel::raiseInSuffix()
{
    const Offset fs = m_foundState;
    const Offset parent = suffix(m_minContext);
    if (parent == None)
        return None;
    Offset state = findState(parent, symbol(fs));
    if (numStats(parent) == 0) {
        if (freq(state) < 11)
            ++freq(state);
        return state;
    }
    if (state != stats(parent) && freq(state) >= freq(state - StateSize)) {
        swapStates(state, state - StateSize);
        state -= StateSize;
    }
    if (freq(state) < MaxFreq) {
        const quint32 step = freq(fs) < 32 ? 2 : 1;
        freq(state) = quint8(freq(state) + step);
        setSummFreq(parent, summFreq(parent) + step);
    }
    return state;
}

/// Step 7: the symbol as a new last state of a context that did not know it.
bool ReferenceByteModel::extend(Offset context, quint32 s0, Offset newSuccessor)
{
    if (!makeRoom(context))
        return false;
    const Offset fs = m_foundState;
    const quint32 cf = 2 * (summFreq(context) + 4u) * freq(fs);
    const quint32 sf = summFreq(context) + s0;
    quint32 newFreq = 0;
    if (cf <= 6 * sf) {
        newFreq = 1u + (cf > sf) + (cf > 3 * sf);
        setSummFreq(context, summFreq(context) + 4u);
    } else {
        newFreq = 4u + (cf > 8 * sf) + (cf > 10 * sf) + (cf > 13 * sf);
        setSummFreq(context, summFreq(context) + newFreq);
    }
    ++numStats(context);
    const Offset state = stats(context) + numStats(context) * StateSize;
    symbol(state) = symbol(fs);
    freq(state) = quint8(newFreq);
    setSuccessor(state, newSuccessor);
    if (symbol(fs) >= 64)
        flags(context) |= 0x08;
    return true;
}

bool ReferenceByteModel::makeRoom(Offset context)
{
    const quint32 ns = numStats(m_minContext);
    if (numStats(context) != 0) {
        if (numStats(context) % 2 == 1) {
            const Offset larger = m_units.expandUnits(stats(context), (numStats(context) + 1u) / 2);
            if (larger == None)
                return false;
            setStats(context, larger);
        }
        setSummFreq(context, summFreq(context) + (quantizers.count[ns + 4] >> 3u));
        return true;
    }
    const Offset states = m_units.allocateUnits(1);
    if (states == None)
        return false;
    m_units.copy(states, context + 2, StateSize);
    setStats(context, states);
    freq(states) = quint8(freq(states) <= 41 ? 2 * freq(states) - 1 : 109);
    const int escape = ExpEscape[quantizers.count[m_lastBinary >> 8]];
    setSummFreq(context, freq(states) + quint32(escape) + (ns > 1 ? 1 : 0));
    return true;
}

/// The contexts one order above the target that the found symbol was seen to lead to.
Offset ReferenceByteModel::createSuccessors(bool skip, Offset inSuffix)
{
    const Offset fs = m_foundState;
    const Offset upBranch = successor(fs);
    Offset context = m_minContext;
    std::array<Offset, 64> collected;
    std::size_t count = 0;

    if (!skip)
        collected[count++] = fs;
    while (suffix(context) != None) {
        context = suffix(context);
        Offset state = inSuffix;
        if (state == None) {
            state = findState(context, symbol(fs));
            raiseOnWalk(context, state);
        }
        inSuffix = None;
        if (successor(state) != upBranch) {
            context = successor(state);
            break;
        }
        collected[count++] = state;
    }
    if (count == 0)
        return context;

    const quint8 newSymbol = m_units.byte(upBranch);
    const quint32 newFreq = inheritedFreq(context, newSymbol);
    const quint8 newFlags = quint8((symbol(fs) >= 64 ? 0x10 : 0) | (newSymbol >= 64 ? 0x08 : 0));
    while (count > 0) {
        const Offset created = m_units.allocateContext();
        if (created == None)
            return None;
        numStats(created) = 0;
        flags(created) = newFlags;
        symbol(created + 2) = newSymbol;
        freq(created + 2) = quint8(newFreq);
        setSuccessor(created + 2, upBranch + 1);
        setSuffix(created, context);
        setSuccessor(collected[--count], created);
        context = created;
    }
    return context;
}

quint32 ReferenceByteModel::inheritedFreq(Offset target, quint8 newSymbol)
{
    const Offset state = findState(target, newSymbol);
    if (numStats(target) == 0)
        return freq(state);
    const quint32 cf = freq(state) - 1u;
    const quint32 s0 = summFreq(target) - numStats(target) - cf;
    const quint32 gain = 2 * cf > s0 ? (cf + 2 * s0 - 1) / s0 : 12 * cf > s0 ? 1 : 0;
    return std::min<quint32>(1 + gain, 7);
}

void ReferenceByteModel::raiseOnWalk(Offset context, Offset state)
{
    if (numStats(context) != 0) {
        if (freq(state) < MaxFreq) {
            ++freq(state);
            setSummFreq(context, summFreq(context) + 1u);
        }
    } else if (numStats(suffix(context)) == 0 && freq(state) < 11) {
        ++freq(state);
    }
}

/// The found state has no successor, which only states of the root can lack.
Offset ReferenceByteModel::reduceOrder()
{
    Q_ASSERT(atRoot());
    setSuccessor(m_foundState, m_units.text());
    ++m_orderFall;
    return m_minContext;
}

Offset ReferenceByteModel::findState(Offset context, quint8 wanted)
{
    if (numStats(context) == 0)
        return context + 2;
    Offset state = stats(context);
    while (symbol(state) != wanted)
        state += StateSize;
    return state;
}

// Restoration.

void ReferenceByteModel::restore()
{
    ++m_rarePaths.restarts;
    start();
    m_escCount = 0;
}

} // namespace kyv::test::reference
