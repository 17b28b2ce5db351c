// Width groups, docs/formats/points-bit-compressed.md: which neighbouring residuals share a width.
//
// The format defines the groups by a greedy procedure: pass after pass over the neighbours, each
// merging one pair, with rules for where a pass begins and ends. Its result is stored, so its order
// of merging counts in every detail. Taken literally a list of 256 residuals costs some ten
// thousand steps; the fast path finds the same pairs through bit sets, one for each gain.

#include "WidthGroups.h"

#include "BitLength.h"

#include <algorithm>
#include <array>
#include <bit>

namespace kyv::compressor::internal {

namespace {

/// The bits that a merge may not reach in cost, and what a merge gains that costs none.
constexpr int mergeLimit = 10;

/// What merging the neighbours \a a and \a b gains, 1 to mergeLimit; 0 if they do not qualify.
constexpr int mergeGain(WidthGroup a, WidthGroup b) noexcept
{
    const int narrowerCount = a.width < b.width ? a.memberCount : b.memberCount;
    const int cost = narrowerCount * std::abs(a.width - b.width);
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

int detail::mergeWidthGroupsPlain(const quint8 *widths, int residualCount,
                                  WidthGroup *groups) noexcept
{
    int groupCount = residualCount;
    for (int i = 0; i < residualCount; ++i)
        groups[i] = {1, widths[i]};

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

/// A set of the numbers 0 to 255.
class PairSet
{
public:
    static constexpr int none = maxPendingResiduals;

    void add(int pair) noexcept { m_words[size_t(pair / 64)] |= quint64(1) << (pair % 64); }
    void remove(int pair) noexcept { m_words[size_t(pair / 64)] &= ~(quint64(1) << (pair % 64)); }

    /// The first member from \a begin (0 to 255) on, or none.
    int firstFrom(int begin) const noexcept
    {
        size_t index = size_t(begin / 64);
        quint64 word = m_words[index] & (~quint64(0) << (begin % 64));
        while (word == 0) {
            if (++index == m_words.size())
                return none;
            word = m_words[index];
        }
        return int(index * 64) + std::countr_zero(word);
    }

private:
    std::array<quint64, maxPendingResiduals / 64> m_words = {};
};

/// The state of the merging after its first sweep: a chain of groups, and for each gain the pairs
/// of neighbours that have it. A pair goes by the number of its left group.
class GroupChain
{
public:
    explicit GroupChain(WidthGroup *groups) noexcept
        : m_groups(groups)
    {}

    int merge(int groupCount, int scanStart) noexcept;

private:
    int gainAt(int pair) const noexcept { return m_gains[size_t(pair)]; }
    int next(int group) const noexcept { return m_next[size_t(group)]; }
    void setGain(int pair, int gain) noexcept;
    int bestAbove(int gain, int begin, int end) const noexcept;
    int bestBelow(int gain, int begin) const noexcept;
    void mergePair(int pair) noexcept;

    WidthGroup *m_groups;
    int m_end = 0; // behind the last group
    std::array<quint8, maxPendingResiduals + 1> m_gains;
    std::array<quint16, maxPendingResiduals + 1> m_next;
    std::array<quint16, maxPendingResiduals + 1> m_previous;
    std::array<PairSet, mergeLimit + 1> m_pairs; // by gain; those of gain 0 are of no interest
};

void GroupChain::setGain(int pair, int gain) noexcept
{
    m_pairs[m_gains[size_t(pair)]].remove(pair);
    m_pairs[size_t(gain)].add(pair);
    m_gains[size_t(pair)] = quint8(gain);
}

/// The first pair of the largest gain above \a gain among those from \a begin to before \a end.
int GroupChain::bestAbove(int gain, int begin, int end) const noexcept
{
    for (int level = mergeLimit; level > gain; --level) {
        const int pair = m_pairs[size_t(level)].firstFrom(begin);
        if (pair < end)
            return pair;
    }
    return PairSet::none;
}

/// The first pair of the largest gain below \a gain among those from \a begin on.
int GroupChain::bestBelow(int gain, int begin) const noexcept
{
    for (int level = gain - 1; level > 0; --level) {
        const int pair = m_pairs[size_t(level)].firstFrom(begin);
        if (pair != PairSet::none)
            return pair;
    }
    return PairSet::none;
}

void GroupChain::mergePair(int pair) noexcept
{
    const int absorbed = next(pair);
    const int following = next(absorbed);
    m_groups[pair] = merged(m_groups[pair], m_groups[absorbed]);
    m_next[size_t(pair)] = quint16(following);
    m_previous[size_t(following)] = quint16(pair);
    setGain(absorbed, 0);
    setGain(pair, following < m_end ? mergeGain(m_groups[pair], m_groups[following]) : 0);
    if (pair > 0) {
        const int previous = m_previous[size_t(pair)];
        setGain(previous, mergeGain(m_groups[previous], m_groups[pair]));
    }
}

/// Merges \a groupCount groups, which no merge of gain mergeLimit is possible among from
/// \a scanStart on, and returns how many are left.
int GroupChain::merge(int groupCount, int scanStart) noexcept
{
    m_end = groupCount;
    for (int i = 0; i < groupCount; ++i) {
        m_next[size_t(i)] = quint16(i + 1);
        m_previous[size_t(i + 1)] = quint16(i);
    }
    m_gains[size_t(groupCount - 1)] = 0;
    for (int i = 0; i + 1 < groupCount; ++i) {
        const int gain = mergeGain(m_groups[i], m_groups[i + 1]);
        m_gains[size_t(i)] = quint8(gain);
        m_pairs[size_t(gain)].add(i);
    }

    int previousGain = mergeLimit;
    // While a pass begins where the last one merged, only the pair at its very start can gain more
    // than that one did: all behind it have lost against it. After a return to the first group that
    // is open again, until a pass has gone through to the end.
    bool onlyStartCanGainMore = true;
    for (;;) {
        const int equal = m_pairs[size_t(previousGain)].firstFrom(scanStart);
        int best;
        if (onlyStartCanGainMore)
            best = gainAt(scanStart) > previousGain ? scanStart : PairSet::none;
        else
            best = bestAbove(previousGain, scanStart, equal);
        if (best == PairSet::none)
            best = equal;
        if (equal == PairSet::none) {
            onlyStartCanGainMore = true;
            if (best == PairSet::none)
                best = bestBelow(previousGain, scanStart);
            if (best == PairSet::none)
                break;
        }
        previousGain = gainAt(best);
        mergePair(best);
        const bool isLast = next(best) == m_end;
        scanStart = isLast ? 0 : best;
        onlyStartCanGainMore = onlyStartCanGainMore && !isLast;
    }

    int count = 0;
    for (int i = 0; i < m_end; i = next(i))
        m_groups[count++] = m_groups[i];
    return count;
}

} // namespace

int mergeWidthGroups(const quint8 *widths, int residualCount, WidthGroup *groups) noexcept
{
    // All passes of the full gain come first and amount to one sweep: each run of equal widths is
    // cut into groups of 16 from its beginning.
    int groupCount = 0;
    int lastMerge = 0;
    for (int i = 0; i < residualCount; ++groupCount) {
        const int limit = std::min(i + int(maxGroupMembers), residualCount);
        const int begin = i;
        do
            ++i;
        while (i < limit && widths[i] == widths[begin]);
        groups[groupCount] = {quint8(i - begin), widths[begin]};
        if (i - begin > 1)
            lastMerge = groupCount;
    }
    if (groupCount == 1)
        return 1;
    const int scanStart = lastMerge + 1 == groupCount ? 0 : lastMerge;
    return GroupChain(groups).merge(groupCount, scanStart);
}

void writeWidthGroups(BitWriter &writer, const quint64 *residuals, int residualCount) noexcept
{
    if (residualCount == 0)
        return;
    quint8 widths[maxPendingResiduals];
    for (int i = 0; i < residualCount; ++i)
        widths[i] = quint8(bitLength(residuals[i]));
    WidthGroup groups[maxPendingResiduals];
    const int groupCount = mergeWidthGroups(widths, residualCount, groups);

    for (int group = 0; group < groupCount; ++group) {
        const unsigned count = groups[group].memberCount;
        const unsigned width = groups[group].width;
        writer.write((count - 1) | width << 4, 10);
        for (unsigned i = 0; i < count; ++i)
            writer.write(residuals[i], width);
        residuals += count;
    }
}

} // namespace kyv::compressor::internal
