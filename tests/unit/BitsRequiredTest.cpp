#include "internal/BitsRequired.h"

#include "CpuLevels.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <vector>

using kyv::compressor::internal::bitsRequired;
using kyv::test::CpuLevel;
using kyv::test::cpuLevels;
using kyv::test::LimitedCpuFeatures;

namespace {

quint32 widthOf(const std::vector<quint32> &values)
{
    return bitsRequired(values.data(), values.size());
}

} // namespace

TEST(BitsRequiredTest, noValueNeedsNoBits)
{
    EXPECT_EQ(bitsRequired(nullptr, 0), 0u);
}

TEST(BitsRequiredTest, zerosNeedNoBits)
{
    EXPECT_EQ(widthOf({0, 0}), 0u);
    EXPECT_EQ(widthOf(std::vector<quint32>(100, 0)), 0u);
}

TEST(BitsRequiredTest, widthIsThatOfTheLargest)
{
    EXPECT_EQ(widthOf({1}), 1u);
    EXPECT_EQ(widthOf({2, 3, 1}), 2u);
    EXPECT_EQ(widthOf({512}), 10u);
    EXPECT_EQ(widthOf({0x7FFFFFFF}), 31u);
    EXPECT_EQ(widthOf({0x80000000}), 32u);
    EXPECT_EQ(widthOf({0xFFFFFFFF}), 32u);
}

TEST(BitsRequiredTest, everyLevelFindsTheLargestAtEveryPlace)
{
    for (const CpuLevel &level : cpuLevels()) {
        SCOPED_TRACE(level.name);
        const LimitedCpuFeatures limited(level.features);
        for (std::size_t count = 1; count <= 40; ++count) {
            for (std::size_t place = 0; place < count; ++place) {
                for (const quint32 largest : {1u, 0x100u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
                    std::vector<quint32> values(count, largest / 2);
                    values[place] = largest;
                    const quint32 alone = bitsRequired(&largest, 1);
                    ASSERT_EQ(widthOf(values), alone) << count << " values, largest at " << place;
                }
            }
        }
    }
}

RC_GTEST_PROP(BitsRequiredTest, everyLevelAgrees, (std::vector<quint32> values))
{
    const quint32 expected = [&] {
        const LimitedCpuFeatures limited({});
        return widthOf(values);
    }();
    for (const CpuLevel &level : cpuLevels()) {
        const LimitedCpuFeatures limited(level.features);
        RC_ASSERT(widthOf(values) == expected);
    }
}
