#include "WidthGroups.h"

#include "BitLength.h"

namespace kyv::compressor::internal {

namespace {

/// The bits that merging may cost, and what a merge gains that costs none.
constexpr int mergeLimit = 10;

/// What merging the neighbours at \a a and \a b gains, 1 to mergeLimit; 0 if they do not qualify.
int mergeGain(const WidthGroups &groups, int a, int b) noexcept
{
    const int countA = groups.memberCounts[size_t(a)];
    const int countB = groups.memberCounts[size_t(b)];
    if (countA + countB > maxGroupMembers)
        return 0;
    const int widthA = groups.widths[size_t(a)];
    const int widthB = groups.widths[size_t(b)];
    const int cost = widthA < widthB ? countA * (widthB - widthA) : countB * (widthA - widthB);
    return std::max(mergeLimit - cost, 0);
}

} // namespace

void detail::mergeWidthGroupsPlain(WidthGroups &groups, int residualCount) noexcept
{
    groups.memberCounts.fill(1);
    int previousGain = mergeLimit;
    int scanStart = 0;
    for (;;) {
        int bestGain = 0;
        int best = -1;
        for (int a = scanStart;;) {
            const int b = a + groups.memberCounts[size_t(a)];
            if (b >= residualCount)
                break;
            const int gain = mergeGain(groups, a, b);
            if (gain > bestGain) {
                bestGain = gain;
                best = a;
            }
            // Format: a pair that gains as much as the last merge ends the pass, after it has
            // competed.
            if (gain == previousGain)
                break;
            a = b;
        }
        // Format: a pass that finds nothing ends the merging, though pairs before its start may
        // qualify.
        if (best < 0)
            return;
        const int absorbed = best + groups.memberCounts[size_t(best)];
        groups.widths[size_t(best)] =
            std::max(groups.widths[size_t(best)], groups.widths[size_t(absorbed)]);
        groups.memberCounts[size_t(best)] =
            quint8(groups.memberCounts[size_t(best)] + groups.memberCounts[size_t(absorbed)]);
        groups.memberCounts[size_t(absorbed)] = 0;
        previousGain = bestGain;
        const bool isLast = best + groups.memberCounts[size_t(best)] >= residualCount;
        scanStart = isLast ? 0 : best;
    }
}

void mergeWidthGroups(WidthGroups &groups, int residualCount) noexcept
{
    detail::mergeWidthGroupsPlain(groups, residualCount);
}

void writeWidthGroups(BitWriter &writer, const quint64 *residuals, int residualCount) noexcept
{
    if (residualCount == 0)
        return;
    WidthGroups groups;
    for (int i = 0; i < residualCount; ++i)
        groups.widths[size_t(i)] = quint8(bitLength(residuals[i]));
    mergeWidthGroups(groups, residualCount);

    for (int first = 0; first < residualCount;) {
        const int end = first + groups.memberCounts[size_t(first)];
        const unsigned width = groups.widths[size_t(first)];
        writer.write(unsigned(end - first - 1) | width << 4, 10);
        for (; first < end; ++first)
            writer.write(residuals[first], width);
    }
}

} // namespace kyv::compressor::internal
