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
    // Every number fits a byte, so a compiler may take many pairs at a time.
    const quint8 narrowerCount = a.width < b.width ? a.memberCount : b.memberCount;
    const quint8 difference = quint8(a.width < b.width ? b.width - a.width : a.width - b.width);
    const quint8 cost = quint8(narrowerCount * std::min(difference, quint8(mergeLimit)));
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

/// Groups in a row, as separate lists so that the first gains are found many at a time.
struct GroupList
{
    int count = 0;
    quint8 memberCounts[maxPendingResiduals + 1] = {};
    quint8 widths[maxPendingResiduals + 1] = {};

    WidthGroup at(int group) const noexcept { return {memberCounts[group], widths[group]}; }
};

/// The merging after its first sweep: a chain of groups, and for each gain the set of the pairs of
/// neighbours that have it. A pair goes by the number of its left group.
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
    /// The pairs among 64 neighbours, by gain.
    struct PairSets
    {
        quint64 byGain[mergeLimit + 1];
    };
    struct Candidate
    {
        int gain;
        int pair;
    };

    Candidate runPass(int scanStart, int previousGain) const noexcept;
    void mergePair(int pair) noexcept;
    void setGain(int pair, int gain) noexcept;

    GroupList &m_list;
    PairSets m_pairs[size_t(Words)];
    quint8 m_gains[maxPendingResiduals]; // 0 where a group is the last or absorbed
    quint16 m_next[maxPendingResiduals];
    quint16 m_previous[maxPendingResiduals + 1];
};

template <int Words>
GroupChain<Words>::GroupChain(GroupList &list) noexcept
    : m_list(list)
{
    // A fixed number of steps is taken many at a time; what is behind the list does not count.
    for (int i = 0; i < 64 * Words; ++i)
        m_gains[i] = quint8(mergeGain(list.at(i), list.at(i + 1)));
    std::fill(m_gains + list.count - 1, m_gains + 64 * Words, quint8(0));
    for (int i = 0; i < 64 * Words; ++i) {
        m_next[i] = quint16(i + 1);
        m_previous[i + 1] = quint16(i);
    }
    for (int gain = 0; gain <= mergeLimit; ++gain) {
        quint8 same[64];
        std::fill(std::begin(same), std::end(same), quint8(gain));
        for (int word = 0; word < Words; ++word)
            m_pairs[word].byGain[gain] = equalBytes(m_gains + 64 * word, same);
    }
}

/// The pair that a pass from \a scanStart on chooses; gain 0 if there is none.
template <int Words>
typename GroupChain<Words>::Candidate GroupChain<Words>::runPass(int scanStart,
                                                                 int previousGain) const noexcept
{
    Candidate best{0, 0};
    quint64 scanned = ~quint64(0) << (scanStart % 64);
    for (int word = scanStart / 64; word < Words; ++word, scanned = ~quint64(0)) {
        const quint64 *byGain = m_pairs[word].byGain;
        const quint64 equal = byGain[previousGain] & scanned;
        scanned &= equal ^ (equal - 1); // up to the first that ends the pass, else all
        unsigned gainsThere = 1;
        for (unsigned gain = 1; gain <= unsigned(mergeLimit); ++gain)
            gainsThere |= unsigned((byGain[gain] & scanned) != 0) << gain;
        const int gain = int(std::bit_width(gainsThere)) - 1;
        if (gain > best.gain)
            best = {gain, 64 * word + std::countr_zero(byGain[gain] & scanned)};
        if (equal != 0)
            break;
    }
    return best;
}

template <int Words>
void GroupChain<Words>::setGain(int pair, int gain) noexcept
{
    const quint64 bit = quint64(1) << (pair % 64);
    quint64 *byGain = m_pairs[pair / 64].byGain;
    byGain[m_gains[pair]] &= ~bit;
    byGain[gain] |= bit;
    m_gains[pair] = quint8(gain);
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
    setGain(absorbed, 0);
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
    for (;;) {
        const Candidate best = runPass(scanStart, previousGain);
        if (best.gain == 0)
            return;
        mergePair(best.pair);
        previousGain = best.gain;
        const bool isLast = m_next[best.pair] == m_list.count;
        scanStart = isLast ? 0 : best.pair;
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
constexpr int shortList = 12;

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
