#include "internal/WidthGroups.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <random>
#include <vector>

using namespace kyv::compressor::internal;

namespace {

using Merge = int (*)(const ResidualWidths &, int, WidthGroup *) noexcept;

std::vector<WidthGroup> groupsBy(Merge merge, const std::vector<quint8> &widths)
{
    ResidualWidths list = {};
    std::copy(widths.begin(), widths.end(), list.begin());
    std::vector<WidthGroup> groups(maxPendingResiduals);
    groups.resize(size_t(merge(list, int(widths.size()), groups.data())));
    return groups;
}

/// Widths that resemble what spectra leave: a level that wanders or jumps, with noise around it.
std::vector<quint8> wanderingWidths(std::mt19937_64 &random)
{
    const auto below = [&random](unsigned bound) { return unsigned(random() % bound); };
    const unsigned spread = 1 + below(6);
    const unsigned jumpEvery = 2 + below(60);
    const unsigned repeatEvery = 1 + below(4);
    unsigned level = 1 + below(60);
    std::vector<quint8> widths(1 + below(maxPendingResiduals));
    for (quint8 &width : widths) {
        if (below(jumpEvery) == 0)
            level = 1 + below(60);
        if (&width != widths.data() && below(repeatEvery) != 0)
            width = *(&width - 1);
        else
            width = quint8(std::min(level + below(spread), 63u));
    }
    return widths;
}

} // namespace

namespace kyv::compressor::internal {

void PrintTo(const WidthGroup &group, std::ostream *stream)
{
    *stream << int(group.memberCount) << "x" << int(group.width);
}

} // namespace kyv::compressor::internal

TEST(WidthGroupsTest, fastMergingEqualsPlainOnWanderingWidths)
{
    const quint64 rounds = qEnvironmentVariableIsSet("KYV_THOROUGH") ? 2'000'000 : 20'000;
    for (quint64 seed = 0; seed < rounds; ++seed) {
        std::mt19937_64 random(seed);
        const std::vector<quint8> widths = wanderingWidths(random);
        ASSERT_EQ(groupsBy(mergeWidthGroups, widths),
                  groupsBy(detail::mergeWidthGroupsPlain, widths))
            << "seed " << seed;
    }
}
