#include "internal/SingleCount.h"

#include "internal/IntensityKernels.h"

#include "ReferenceIntensities.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using namespace kyv::compressor::internal;
using kyv::reference::singleCountBySorting;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

float singleCount(const std::vector<float> &data)
{
    return estimateSingleCount(data.data(), data.size());
}

/// Intensities whose neighbours differ by \a differences, up and down in turn.
std::vector<float> withDifferences(const std::vector<float> &differences)
{
    std::vector<float> data{0};
    for (std::size_t i = 0; i < differences.size(); ++i)
        data.push_back(i % 2 == 0 ? differences[i] : 0.0F);
    return data; // each difference with its neighbour 0 stands twice but for the last
}

} // namespace

TEST(SingleCountTest, fewDifferencesGiveTheSmallest)
{
    EXPECT_EQ(singleCount({}), 0.0F);
    EXPECT_EQ(singleCount({5}), 0.0F);
    EXPECT_EQ(singleCount({5, 5.5F}), 0.0F);
    EXPECT_EQ(singleCount({5, 5.75F, 100}), 0.75F);
    EXPECT_EQ(singleCount({9, 1, 4}), 3.0F);
}

// 100 differences: a fiftieth is 2, so one difference of 1 is noise and two are not.
TEST(SingleCountTest, rareSmallDifferencesAreNoise)
{
    std::vector<float> data;
    for (int i = 0; i < 50; ++i)
        data.insert(data.end(), {0.0F, 10.0F});
    data.push_back(11.0F);
    ASSERT_EQ(data.size(), 101U);
    EXPECT_EQ(singleCount(data), 10.0F);
    data.push_back(10.0F);
    EXPECT_EQ(singleCount(data), 1.0F);
}

TEST(SingleCountTest, groupsReachUpToTwiceTheirBase)
{
    std::vector<float> differences(200, 64.0F);
    differences[0] = 1.0F;
    differences[2] = 1.9999999F; // in the group of 1
    EXPECT_EQ(singleCount(withDifferences(differences)), 1.0F);
    differences[2] = 2.0F; // opens the next group, which reaches a fiftieth with the first
    EXPECT_EQ(singleCount(withDifferences(differences)),
              singleCountBySorting(withDifferences(differences)));
}

// Format: Single count, "infinite differences".
TEST(SingleCountTest, infiniteDifferencesAreGroupsOfTheirOwn)
{
    EXPECT_EQ(singleCount({0, infinity, 0, infinity}), infinity);
    EXPECT_EQ(singleCount({-infinity, infinity}), infinity);
    EXPECT_EQ(singleCount({infinity, infinity, 3}), infinity); // infinity - infinity is no number
    std::vector<float> data(400, infinity);
    for (std::size_t i = 0; i < data.size(); i += 2)
        data[i] = 0;
    data[0] = infinity;
    data.push_back(3e38F);
    data.push_back(0);
    EXPECT_EQ(singleCount(data), singleCountBySorting(data));
}

TEST(SingleCountTest, largestBaseWhoseDoubleOverflows)
{
    const std::vector<float> data{0, 3e38F, 0, 3.2e38F, 0, 1, infinity, 1};
    EXPECT_EQ(singleCount(data), singleCountBySorting(data));
    const std::vector<float> large{0, 3e38F, 0, 3.2e38F, 0};
    EXPECT_EQ(singleCount(large), 3e38F);
}

TEST(SingleCountTest, everySetOfLoopsScansAlike)
{
    std::mt19937 random(20240611);
    for (std::size_t length = 0; length < 200; ++length) {
        std::vector<float> data(length);
        for (float &value : data) {
            value = random() % 8 == 0 ? std::bit_cast<float>(quint32(random()))
                                      : float(random() % 64) * 0.25F;
        }
        for (const float limit : {0.5F, 2.0F, 7.75F, 1e30F, infinity}) {
            const DifferenceScan expected =
                plainIntensityKernels.scanDifferences(data.data(), length, limit);
            const IntensityRange range = plainIntensityKernels.findRange(data.data(), length);
            for (const IntensityKernels *kernels : availableIntensityKernels()) {
                EXPECT_EQ(kernels->scanDifferences(data.data(), length, limit), expected)
                    << kernels->name << ' ' << length << ' ' << limit;
                const IntensityRange found = kernels->findRange(data.data(), length);
                EXPECT_EQ(found.smallest, range.smallest) << kernels->name << ' ' << length;
                EXPECT_EQ(found.largest, range.largest) << kernels->name << ' ' << length;
            }
        }
    }
}

TEST(SingleCountTest, equalsSortingOnLongLists)
{
    std::mt19937 random(7);
    std::lognormal_distribution<float> logNormal(6, 3);
    std::poisson_distribution<int> counts(4);
    std::vector<float> data(100000);
    for (float &value : data)
        value = logNormal(random);
    EXPECT_EQ(singleCount(data), singleCountBySorting(data));
    for (float &value : data)
        value = float(counts(random)) * 3.25F;
    EXPECT_EQ(singleCount(data), singleCountBySorting(data));
    for (float &value : data)
        value = std::ldexp(1.0F + float(random() % 1000) / 1000, int(random() % 120));
    EXPECT_EQ(singleCount(data), singleCountBySorting(data));
}

// A pass for every octave: the worst case of the passes.
TEST(SingleCountTest, equalsSortingOnAGroupInEveryOctave)
{
    std::vector<float> differences(20000, 3e38F);
    for (int octave = 0; octave < 127; ++octave)
        differences[std::size_t(octave) * 2] = std::ldexp(1.0F, octave);
    const std::vector<float> data = withDifferences(differences);
    EXPECT_EQ(singleCount(data), singleCountBySorting(data));
}

RC_GTEST_PROP(SingleCountTest, equalsSortingOnAnyFloats, (const std::vector<quint32> &words))
{
    std::vector<float> data;
    for (const quint32 word : words)
        data.push_back(std::bit_cast<float>(word));
    const float found = singleCount(data);
    RC_ASSERT(found == singleCountBySorting(data));
}

RC_GTEST_PROP(SingleCountTest, equalsSortingOnSmallSteps, ())
{
    const auto steps = *rc::gen::container<std::vector<int>>(rc::gen::inRange(-3000, 3000));
    std::vector<float> data{1000};
    for (const int step : steps)
        data.push_back(data.back() + float(step) / 64.0F);
    RC_ASSERT(singleCount(data) == singleCountBySorting(data));
}
