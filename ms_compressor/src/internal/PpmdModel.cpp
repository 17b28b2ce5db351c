// The seldom half of the byte model: start and restart, rescale, and state arrays that move.

#include "internal/PpmdModel.h"

#include <algorithm>
#include <cstring>

namespace kyv::compressor::internal {

using namespace ppmd;

namespace {

/// All 256 symbols in order and a frequency of 1 for each: the root's array up to its successors.
constexpr std::array<quint8, 512> initialRootStates = [] {
    std::array<quint8, 512> bytes{};
    for (size_t i = 0; i < 256; ++i) {
        bytes[i] = quint8(i);
        bytes[256 + i] = 1;
    }
    return bytes;
}();

/// Moves state \a found to the front, and those before it up by one.
void moveToFront(const StateArray &all, int found) noexcept
{
    const quint8 symbol = all.symbols[found];
    const quint8 freq = all.freqs[found];
    const quint32 successor = all.successors[found];
    std::memmove(all.symbols + 1, all.symbols, size_t(found));
    std::memmove(all.freqs + 1, all.freqs, size_t(found));
    std::memmove(all.successors + 1, all.successors, size_t(found) * sizeof *all.successors);
    all.symbols[0] = symbol;
    all.freqs[0] = freq;
    all.successors[0] = successor;
}

/// Sorts few states by falling frequency, from state \a first on; equal ones keep their order.
void sortByInsertion(const StateArray &all, int count, int first) noexcept
{
    for (int i = first; i < count; ++i) {
        const quint8 freq = all.freqs[i];
        if (freq <= all.freqs[i - 1])
            continue;
        const quint8 symbol = all.symbols[i];
        const quint32 successor = all.successors[i];
        int place = i;
        for (; place > 0 && freq > all.freqs[place - 1]; --place) {
            all.symbols[place] = all.symbols[place - 1];
            all.freqs[place] = all.freqs[place - 1];
            all.successors[place] = all.successors[place - 1];
        }
        all.symbols[place] = symbol;
        all.freqs[place] = freq;
        all.successors[place] = successor;
    }
}

/// The same for many states, in time that does not depend on their disorder.
void sortByCounting(const StateArray &all, int count) noexcept
{
    const auto n = size_t(count);
    // Halved frequencies are at most 128. Entry 129 - f counts frequency f; then entry 128 - f
    // tells where it begins.
    quint16 places[130] = {};
    for (size_t i = 0; i < n; ++i)
        ++places[129 - all.freqs[i]];
    for (size_t i = 1; i <= 128; ++i)
        places[i] = quint16(places[i] + places[i - 1]);

    quint8 symbols[256];
    quint8 freqs[256];
    quint32 successors[256];
    std::memcpy(symbols, all.symbols, n);
    std::memcpy(freqs, all.freqs, n);
    std::memcpy(successors, all.successors, n * sizeof *successors);
    for (size_t i = 0; i < n; ++i) {
        const size_t place = places[128 - freqs[i]]++;
        all.symbols[place] = symbols[i];
        all.freqs[place] = freqs[i];
        all.successors[place] = successors[i];
    }
}

void sortByFreq(const StateArray &all, int count, int first) noexcept
{
    constexpr int few = 32;
    if (count <= few)
        sortByInsertion(all, count, first);
    else
        sortByCounting(all, count);
}

/// Copies \a bytes bytes in steps of \a Step; those past the end fall behind the destination.
template <size_t Step>
void copySteps(quint8 *to, const quint8 *from, size_t bytes) noexcept
{
    for (size_t i = 0; i < bytes; i += Step)
        std::memcpy(to + i, from + i, Step);
}

/// Copies the first \a count states, 2 at least.
///
/// The steps are few because the longer of two symbol or frequency arrays always ends in the
/// successors of its own block; these are copied last, and to the byte.
void copyStates(const StateArray &from, const StateArray &to, size_t count) noexcept
{
    if (count <= 8) {
        copySteps<4>(to.symbols, from.symbols, count);
        copySteps<4>(to.freqs, from.freqs, count);
    } else {
        copySteps<16>(to.symbols, from.symbols, count);
        copySteps<16>(to.freqs, from.freqs, count);
    }
    const auto successors = reinterpret_cast<quint8 *>(to.successors);
    const auto oldSuccessors = reinterpret_cast<const quint8 *>(from.successors);
    const size_t bytes = count * sizeof *to.successors;
    const size_t most = bytes / 16 * 16;
    copySteps<16>(successors, oldSuccessors, most);
    copySteps<4>(successors + most, oldSuccessors + most, bytes - most);
}

} // namespace

PpmdModel::PpmdModel(ModelMemory::Block memory, int order) noexcept
    : units(memory)
    , maxOrder(order)
    , initialRunLength(-std::min(order, 13))
{
    Q_ASSERT(order >= 2 && order <= orderLimit);
    start();
}

PpmdEvents PpmdModel::events() const noexcept
{
    PpmdEvents all = m_events;
    all.gluings = units.gluingCount();
    all.carves = units.carveCount();
    return all;
}

void PpmdModel::start() noexcept
{
    units.start();
    orderFall = maxOrder;
    runLength = initialRunLength;
    previousSuccess = 0;
    binSumm = initialBinaryTable;
    seeContexts = initialSeeTable;

    root = context(units.allocateContext());
    *root = {255, 0, 257, units.allocate(statsToIndex[255]), 0};
    const StateArray all = states(root);
    std::memcpy(all.symbols, initialRootStates.data(), initialRootStates.size());
    std::memset(all.successors, 0, 256 * sizeof *all.successors);
}

Context *PpmdModel::restart() noexcept
{
    ++m_events.restarts;
    start();
    return root;
}

StateRef PpmdModel::rescale(Context *c, int found, Halve halve) noexcept
{
    ++m_events.rescales;
    const StateArray all = states(c);
    const int numStats = c->numStats;
    const quint32 adder = orderFall != 0 ? 1 : 0;
    const bool boosted = (c->flags & boostedFlag) != 0;
    c->flags &= boostedFlag | highOriginFlag;
    moveToFront(all, found);

    const quint32 oldSumm = c->summFreq;
    const quint32 oldFirst = all.freqs[0];
    const Halved halved = halve(all.symbols, all.freqs, numStats + 1, adder);
    quint32 escFreq = oldSumm - halved.oldSum;
    quint32 summ = halved.newSum;
    // Format: only the states behind the first set the flag again.
    if (halved.hasHigh)
        c->flags |= highSymbolFlag;
    if (halved.firstUnsorted <= numStats)
        sortByFreq(all, numStats + 1, halved.firstUnsorted);

    int left = numStats;
    while (left > 0 && all.freqs[left] == 0)
        --left;
    if (left != numStats) {
        escFreq += quint32(numStats - left);
        if (left == 0) {
            foldToBinary(c, numStats, escFreq);
            return {c->singleFreq(), c->singleSuccessor()};
        }
        if (!resize(c, numStats, left)) {
            restart();
            return {};
        }
        c->numStats = quint8(left);
    }

    summ += (escFreq + 1) >> 1;
    const StateArray kept = states(c);
    const quint32 newFirst = kept.freqs[0];
    quint32 boost = 2;
    if (orderFall != 0 || !boosted) {
        const quint32 oldAll = oldSumm - escFreq;
        const quint32 oldOthers = oldAll - oldFirst;
        Q_ASSERT(oldOthers != 0);
        if (oldOthers != 0)
            boost = (summ * oldFirst - newFirst * oldAll - 1 + oldOthers) / oldOthers;
        boost = std::clamp(boost, quint32(2), quint32(44));
    }
    kept.freqs[0] = quint8(newFirst + boost);
    c->summFreq = quint16(summ + boost);
    c->flags |= boostedFlag;
    return {kept.freqs, kept.successors};
}

/// Leaves the first state alone in \a c and gives the array back.
void PpmdModel::foldToBinary(Context *c, int oldNumStats, quint32 escFreq) noexcept
{
    ++m_events.rescalesToBinary;
    const StateArray all = states(c);
    const quint8 symbol = all.symbols[0];
    const quint32 freq = std::min((2 * all.freqs[0] + escFreq - 1) / escFreq, quint32(41));
    const quint32 successor = all.successors[0];
    const quint32 array = c->stats;
    c->numStats = 0;
    c->flags &= highSymbolFlag | highOriginFlag;
    *c->singleSymbol() = symbol;
    *c->singleFreq() = quint8(freq);
    *c->singleSuccessor() = successor;
    units.release(array, statsToIndex[size_t(oldNumStats)]);
}

bool PpmdModel::expand(Context *c) noexcept
{
    const int numStats = c->numStats;
    Q_ASSERT(numStats < 255); // a full context lacks no symbol
    return numStats < 255 && resize(c, numStats, numStats + 1);
}

/// Moves the states into a block for \a newNumStats, unless it has the same size.
bool PpmdModel::resize(Context *c, int oldNumStats, int newNumStats) noexcept
{
    const int oldIndex = statsToIndex[size_t(oldNumStats)];
    const int newIndex = statsToIndex[size_t(newNumStats)];
    if (oldIndex == newIndex)
        return true;
    const quint32 array = units.allocate(newIndex);
    if (array == 0)
        return false;
    const StateArray from(units.at(c->stats), statsToCapacity[size_t(oldNumStats)]);
    const StateArray to(units.at(array), statsToCapacity[size_t(newNumStats)]);
    const size_t count = size_t(std::min(oldNumStats, newNumStats) + 1);
    copyStates(from, to, count);
    units.release(c->stats, oldIndex);
    c->stats = array;
    return true;
}

bool PpmdModel::leaveBinary(Context *c) noexcept
{
    const quint32 array = units.allocate(0);
    if (array == 0)
        return false;
    const StateArray states(units.at(array), statsToCapacity[1]);
    const quint32 freq = *c->singleFreq();
    states.symbols[0] = *c->singleSymbol();
    states.freqs[0] = quint8(freq <= 41 ? 2 * freq - 1 : 109);
    states.successors[0] = *c->singleSuccessor();
    c->stats = array;
    return true;
}

} // namespace kyv::compressor::internal
