// Width groups, docs/formats/points-bit-compressed.md: which neighbouring residuals share a width.
//
// The format defines the groups by a greedy procedure: pass after pass over the neighbours, each
// merging one pair, with rules for where a pass begins and ends. Its result is stored, so its order
// of merging counts in every detail. Taken literally a list of 256 residuals costs some ten
// thousand steps; the fast path finds the same pairs through bit sets, one for each gain.

#include "WidthGroups.h"

#include "BitLength.h"

#include <algorithm>
#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace kyv::compressor::internal {

namespace {

/// The bits that a merge may not reach in cost, and what a merge gains that costs none.
constexpr int mergeLimit = 10;

/// What merging the neighbours \a a and \a b gains, 1 to mergeLimit; 0 if they do not qualify.
constexpr int mergeGain(WidthGroup a, WidthGroup b) noexcept
{
    const int narrowerCount = a.width < b.width ? a.memberCount : b.memberCount;
    const int difference = a.width < b.width ? b.width - a.width : a.width - b.width;
    const int cost = narrowerCount * difference;
    const bool qualifies =
        cost < mergeLimit && a.memberCount + b.memberCount <= int(maxGroupMembers);
    return qualifies ? mergeLimit - cost : 0;
}

constexpr WidthGroup merged(WidthGroup a, WidthGroup b) noexcept
{
    return {quint8(a.memberCount + b.memberCount), std::max(a.width, b.width)};
}

} // namespace

// The plain path

int detail::mergeWidthGroupsPlain(const ResidualWidths &widths, int residualCount,
                                  WidthGroup *groups) noexcept
{
    int groupCount = residualCount;
    for (int i = 0; i < residualCount; ++i)
        groups[i] = {1, widths[size_t(i)]};

    int previousGain = mergeLimit;
    int scanStart = 0;
    for (;;) {
        int bestGain = 0;
        int best = 0;
        for (int a = scanStart; a + 1 < groupCount; ++a) {
            const int gain = mergeGain(groups[a], groups[a + 1]);
            if (gain > bestGain) {
                bestGain = gain;
                best = a;
            }
            // Format: a pair that gains as much as the last merge ends the pass, after it has
            // competed.
            if (gain == previousGain)
                break;
        }
        // Format: a pass that finds nothing ends the merging, though pairs before its start may
        // qualify.
        if (bestGain == 0)
            return groupCount;
        groups[best] = merged(groups[best], groups[best + 1]);
        std::copy(groups + best + 2, groups + groupCount, groups + best + 1);
        --groupCount;
        previousGain = bestGain;
        scanStart = best + 1 == groupCount ? 0 : best;
    }
}

// The fast path

namespace {

/// Bit i tells whether a[i] equals b[i], for 64 bytes.
quint64 equalBytes(const quint8 *a, const quint8 *b) noexcept
{
    quint64 bits = 0;
#ifdef __SSE2__ // part of every x86-64 processor
    for (int i = 0; i < 64; i += 16) {
        const __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + i));
        const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + i));
        bits |= quint64(unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(va, vb)))) << i;
    }
#else
    for (int i = 0; i < 64; ++i)
        bits |= quint64(a[i] == b[i]) << i;
#endif
    return bits;
}

/// A set of numbers from 0 to before 64 * Words.
template <int Words>
class PairSet
{
public:
    static constexpr int none = maxPendingResiduals;

    void assign(int word, quint64 members) noexcept { m_words[word] = members; }
    void add(int pair) noexcept { m_words[pair / 64] |= quint64(1) << (pair % 64); }
    void remove(int pair) noexcept { m_words[pair / 64] &= ~(quint64(1) << (pair % 64)); }

    /// The first member from \a begin on, or none.
    int firstFrom(int begin) const noexcept
    {
        int index = begin / 64;
        quint64 word = m_words[index] & (~quint64(0) << (begin % 64));
        while (word == 0) {
            if (++index == Words)
                return none;
            word = m_words[index];
        }
        return index * 64 + std::countr_zero(word);
    }

private:
    quint64 m_words[size_t(Words)];
};

/// Groups in a row, as separate lists so that the first gains are found many at a time.
struct GroupList
{
    int count = 0;
    quint8 memberCounts[maxPendingResiduals];
    quint8 widths[maxPendingResiduals];

    WidthGroup at(int group) const noexcept { return {memberCounts[group], widths[group]}; }
};

/// The merging after its first sweep: a chain of groups, and for each gain the pairs of neighbours
/// that have it. A pair goes by the number of its left group.
template <int Words>
class GroupChain
{
public:
    explicit GroupChain(GroupList &list) noexcept;

    /// Merges all that is to be merged, beginning with a pass from \a scanStart on, where no pair
    /// gains mergeLimit.
    void mergeFrom(int scanStart) noexcept;

    /// Writes the groups that are left in their order and returns how many there are.
    int groups(WidthGroup *groups) const noexcept;

private:
    using Pairs = PairSet<Words>;

    void setGain(int pair, int gain) noexcept;
    int bestAbove(int gain, int begin, int end) const noexcept;
    int bestBelow(int gain, int begin) const noexcept;
    void mergePair(int pair) noexcept;

    GroupList &m_list;
    quint8 m_gains[maxPendingResiduals]; // 0 where a group is the last or absorbed
    quint16 m_next[maxPendingResiduals];
    quint16 m_previous[maxPendingResiduals + 1];
    Pairs m_pairs[mergeLimit + 1]; // by gain, from 1 on
};

template <int Words>
GroupChain<Words>::GroupChain(GroupList &list) noexcept
    : m_list(list)
{
    const int last = list.count - 1;
    for (int i = 0; i < last; ++i)
        m_gains[i] = quint8(mergeGain(list.at(i), list.at(i + 1)));
    std::fill(m_gains + last, m_gains + 64 * Words, quint8(0));
    for (int i = 0; i <= last; ++i) {
        m_next[i] = quint16(i + 1);
        m_previous[i + 1] = quint16(i);
    }
    for (int gain = 1; gain <= mergeLimit; ++gain) {
        quint8 same[64];
        std::fill(std::begin(same), std::end(same), quint8(gain));
        for (int word = 0; word < Words; ++word)
            m_pairs[gain].assign(word, equalBytes(m_gains + 64 * word, same));
    }
}

template <int Words>
void GroupChain<Words>::setGain(int pair, int gain) noexcept
{
    m_pairs[m_gains[pair]].remove(pair);
    m_pairs[gain].add(pair);
    m_gains[pair] = quint8(gain);
}

/// The first pair of the largest gain above \a gain among those from \a begin to before \a end.
template <int Words>
int GroupChain<Words>::bestAbove(int gain, int begin, int end) const noexcept
{
    for (int level = mergeLimit; level > gain; --level) {
        const int pair = m_pairs[level].firstFrom(begin);
        if (pair < end)
            return pair;
    }
    return Pairs::none;
}

/// The first pair of the largest gain below \a gain among those from \a begin on.
template <int Words>
int GroupChain<Words>::bestBelow(int gain, int begin) const noexcept
{
    for (int level = gain - 1; level > 0; --level) {
        const int pair = m_pairs[level].firstFrom(begin);
        if (pair != Pairs::none)
            return pair;
    }
    return Pairs::none;
}

template <int Words>
void GroupChain<Words>::mergePair(int pair) noexcept
{
    const int absorbed = m_next[pair];
    const int following = m_next[absorbed];
    const WidthGroup group = merged(m_list.at(pair), m_list.at(absorbed));
    m_list.memberCounts[pair] = group.memberCount;
    m_list.widths[pair] = group.width;
    m_next[pair] = quint16(following);
    m_previous[following] = quint16(pair);
    m_pairs[m_gains[absorbed]].remove(absorbed);
    setGain(pair, following < m_list.count ? mergeGain(group, m_list.at(following)) : 0);
    if (pair > 0) {
        const int previous = m_previous[pair];
        setGain(previous, mergeGain(m_list.at(previous), group));
    }
}

template <int Words>
void GroupChain<Words>::mergeFrom(int scanStart) noexcept
{
    int previousGain = mergeLimit;
    // While a pass begins where the last one merged, only the pair at its very start can gain more
    // than that one did: all behind it have lost against it. After a return to the first group that
    // is open again, until a pass has gone through to the end.
    bool onlyStartCanGainMore = true;
    for (;;) {
        const int equal = m_pairs[previousGain].firstFrom(scanStart);
        int best = Pairs::none;
        if (!onlyStartCanGainMore)
            best = bestAbove(previousGain, scanStart, equal);
        else if (m_gains[scanStart] > previousGain)
            best = scanStart;
        if (best == Pairs::none)
            best = equal;
        if (equal == Pairs::none) {
            onlyStartCanGainMore = true;
            if (best == Pairs::none)
                best = bestBelow(previousGain, scanStart);
            if (best == Pairs::none)
                return;
        }
        previousGain = m_gains[best];
        mergePair(best);
        const bool isLast = m_next[best] == m_list.count;
        scanStart = isLast ? 0 : best;
        onlyStartCanGainMore = onlyStartCanGainMore && !isLast;
    }
}

template <int Words>
int GroupChain<Words>::groups(WidthGroup *groups) const noexcept
{
    int count = 0;
    for (int i = 0; i < m_list.count; i = m_next[i])
        groups[count++] = m_list.at(i);
    return count;
}

/// The groups after all passes of the full gain. These come first and amount to one sweep: each run
/// of equal widths is cut into groups of 16 from its beginning. Returns the group of the last
/// merge.
int sweepEqualWidths(const ResidualWidths &widths, int residualCount, GroupList &list) noexcept
{
    int lastMerge = 0;
    int begin = 0;
    const auto endRun = [&](int end) {
        do {
            const int count = std::min(end - begin, int(maxGroupMembers));
            list.memberCounts[list.count] = quint8(count);
            list.widths[list.count] = widths[size_t(begin)];
            lastMerge = count > 1 ? list.count : lastMerge;
            ++list.count;
            begin += count;
        } while (begin < end);
    };
    for (int block = 0; block < residualCount; block += 64) {
        const int end = std::min(residualCount - block - 1, 64); // the last has no right neighbour
        quint64 runEnds = ~equalBytes(widths.data() + block, widths.data() + block + 1);
        runEnds &= end >= 64 ? ~quint64(0) : lowMask(unsigned(end));
        for (; runEnds != 0; runEnds &= runEnds - 1)
            endRun(block + std::countr_zero(runEnds) + 1);
    }
    endRun(residualCount);
    return lastMerge;
}

template <int Words>
int mergeChain(GroupList &list, int scanStart, WidthGroup *groups) noexcept
{
    GroupChain<Words> chain(list);
    chain.mergeFrom(scanStart);
    return chain.groups(groups);
}

} // namespace

int mergeWidthGroups(const ResidualWidths &widths, int residualCount, WidthGroup *groups) noexcept
{
    GroupList list;
    const int lastMerge = sweepEqualWidths(widths, residualCount, list);
    const int scanStart = lastMerge + 1 == list.count ? 0 : lastMerge;
    return list.count <= 64 ? mergeChain<1>(list, scanStart, groups)
                            : mergeChain<maxPendingResiduals / 64>(list, scanStart, groups);
}

// Writing

namespace {

/// Lists of so few residuals are merged by the plain path: there is nothing to search in them.
constexpr int shortList = 6;

/// Writes one group; two members at a time where both fit one write.
void writeGroup(BitWriter &writer, WidthGroup group, const quint64 *residuals) noexcept
{
    const unsigned count = group.memberCount;
    const unsigned width = group.width;
    const unsigned header = (count - 1) | width << 4;
    if (width > 32) {
        writer.write(header, 10);
        for (unsigned i = 0; i < count; ++i)
            writer.write(residuals[i], width);
        return;
    }
    writer.write(header | residuals[0] << 10, 10 + width);
    unsigned i = 1;
    for (; i + 1 < count; i += 2)
        writer.write(residuals[i] | residuals[i + 1] << width, 2 * width);
    if (i < count)
        writer.write(residuals[i], width);
}

} // namespace

BitWriter writeWidthGroups(BitWriter writer, const quint64 *residuals, int residualCount) noexcept
{
    ResidualWidths widths;
    for (int i = 0; i < residualCount; ++i)
        widths[size_t(i)] = quint8(bitLength(residuals[i]));
    std::fill_n(widths.begin() + residualCount, 64, quint8(0));
    WidthGroup groups[maxPendingResiduals];
    const auto merge =
        residualCount <= shortList ? detail::mergeWidthGroupsPlain : mergeWidthGroups;
    const int groupCount = merge(widths, residualCount, groups);
    for (int group = 0; group < groupCount; ++group) {
        writeGroup(writer, groups[group], residuals);
        residuals += groups[group].memberCount;
    }
    return writer;
}

} // namespace kyv::compressor::internal
