#include "internal/PackedBitArray.h"

#include "internal/PackedBitKernels.h"

#include "CpuLevels.h"
#include "ReferencePackedBits.h"
#include "Sanitizers.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

using namespace kyv::compressor::internal;
using kyv::test::CpuLevel;
using kyv::test::cpuLevels;
using kyv::test::LimitedCpuFeatures;
namespace reference = kyv::test::reference;

namespace {

constexpr unsigned seed = 20240611;

struct Destroy
{
    void operator()(PackedBitArray *array) const { destroy(array); }
};
using ArrayPointer = std::unique_ptr<PackedBitArray, Destroy>;

quint32 largestItem(quint32 width)
{
    return quint32((quint64(1) << width) - 1);
}

std::vector<quint32> randomItems(quint32 width, std::size_t count, std::mt19937 &random)
{
    std::vector<quint32> items(count);
    for (quint32 &item : items)
        item = quint32(random()) & largestItem(width);
    return items;
}

} // namespace

TEST(PackedBitArrayTest, headAndWordsAreOneBlock)
{
    const ArrayPointer array(create(5, 100));
    ASSERT_TRUE(array);
    EXPECT_EQ(array->width, 5u);
    EXPECT_EQ(array->count, 100u);
    EXPECT_EQ(wordCount(array.get()), 16u);
    EXPECT_EQ(static_cast<void *>(words(array.get())), static_cast<void *>(array.get() + 1));
    EXPECT_EQ(words(array.get())[15], 0u);
}

TEST(PackedBitArrayTest, emptyArraysHaveNoWords)
{
    for (const auto &[width, count] : {std::pair(0u, 0u), std::pair(0u, 77u), std::pair(9u, 0u)}) {
        const ArrayPointer array(create(width, count));
        ASSERT_TRUE(array);
        EXPECT_EQ(wordCount(array.get()), 0u);
        EXPECT_EQ(array->reserved[1], 0u); // the last word's zero falls on the head
    }
    destroy(nullptr);
}

TEST(PackedBitArrayTest, wordCountDoesNotOverflow)
{
    EXPECT_EQ(packedWordCount(32, 0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_EQ(packedWordCount(31, 0xFFFFFFFF), 4160749568u);
    EXPECT_EQ(packedWordCount(0xFFFFFFFF, 0xFFFFFFFF), quint64(0x7FFFFFFF0000000) + 1);
}

TEST(PackedBitArrayTest, arrayWithoutMemoryIsNull)
{
    if (kyv::test::sanitizerAllocates)
        GTEST_SKIP() << "a sanitizer ends the process where memory is short";
    EXPECT_EQ(create(0xFFFFFFFF, 0xFFFFFFFF), nullptr);
}

TEST(PackedBitArrayTest, otherWidthsPackAndUnpackNothing)
{
    const ArrayPointer array(create(0, 4));
    const quint32 items[4] = {0, 0, 0, 0};
    pack(array.get(), 0, items, 4);
    quint32 target[4] = {7, 7, 7, 7};
    unpack(array.get(), 0, target, 4);
    EXPECT_TRUE(std::all_of(target, target + 4, [](quint32 item) { return item == 7; }));

    const ArrayPointer tooWide(create(33, 4));
    pack(tooWide.get(), 0, target, 4);
    unpack(tooWide.get(), 0, target, 4);
    EXPECT_EQ(target[0], 7u);
    EXPECT_EQ(words(tooWide.get())[4], 0u);
}

TEST(PackedBitArrayTest, singleItemsAgreeWithTheReference)
{
    std::mt19937 random(seed);
    for (quint32 width = 1; width <= 32; ++width) {
        SCOPED_TRACE(width);
        const std::vector<quint32> items = randomItems(width, 100, random);
        const ArrayPointer array(create(width, 100));
        std::fill_n(words(array.get()), wordCount(array.get()), 0xA5A5A5A5);
        std::vector<quint32> expected(words(array.get()),
                                      words(array.get()) + wordCount(array.get()));
        // Backwards, so that every item is set beside one that must survive.
        for (quint32 i = 100; i-- > 0;) {
            set(array.get(), i, items[i]);
            reference::setItem(expected.data(), width, i, items[i]);
        }
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), words(array.get())));
        for (quint32 i = 0; i < 100; ++i)
            ASSERT_EQ(get(array.get(), i), items[i]) << i;
    }
}

TEST(PackedBitArrayTest, runsKeepTheItemsOnBothSides)
{
    const ArrayPointer array(create(5, 64));
    std::fill_n(words(array.get()), wordCount(array.get()), 0xFFFFFFFF);
    const quint32 items[2] = {0, 0};
    pack(array.get(), 7, items, 2); // bits 35 to 44, inside the second word
    EXPECT_EQ(words(array.get())[0], 0xFFFFFFFFu);
    EXPECT_EQ(words(array.get())[1], 0xFFFFE007u);
    pack(array.get(), 5, items, 2); // bits 25 to 34, across the first two words
    EXPECT_EQ(words(array.get())[0], 0x01FFFFFFu);
    EXPECT_EQ(words(array.get())[1], 0xFFFFE000u);
}

// Every width, every start in a cycle, every length up to three cycles and a bit, on every level:
// the packed words are those of the reference, the bits around the run survive, and unpacking
// gives the items back without touching what follows them.
class PackedBitRunTest : public testing::TestWithParam<quint32>
{};

TEST_P(PackedBitRunTest, everyLevelAgreesWithTheReference)
{
    const quint32 width = GetParam();
    std::mt19937 random(seed + width);
    constexpr quint32 longest = 3 * cycleLength + 3;
    constexpr quint32 count = cycleLength + longest + 5;
    const std::vector<quint32> items = randomItems(width, longest, random);
    const std::vector<quint32> before = randomItems(32, packedWordCount(width, count), random);
    const std::vector<CpuLevel> levels = cpuLevels();

    for (quint32 start = 0; start < cycleLength; ++start) {
        std::vector<quint32> expected = before;
        for (quint32 n = 1; n <= longest; ++n) {
            reference::setItem(expected.data(), width, start + n - 1, items[n - 1]);
            for (const CpuLevel &level : levels) {
                const LimitedCpuFeatures limited(level.features);
                std::vector<quint32> packed = before;
                packRun(int(width), packed.data(), start, items.data(), n);
                ASSERT_EQ(packed, expected) << level.name << " " << start << " " << n;

                std::vector<quint32> target(n + 1, 0xDEADBEEF);
                const quint32 *const end =
                    packed.data() + packedWordCount(width, start + n); // not a word more
                unpackRun(int(width), packed.data(), end, start, target.data(), n);
                ASSERT_TRUE(std::equal(items.begin(), items.begin() + n, target.begin()))
                    << level.name << " " << start << " " << n;
                ASSERT_EQ(target[n], 0xDEADBEEFu);
            }
        }
    }
}

// The same at every place of the items and the words in a cache line: vector loads and stores
// that need an alignment, or leave their run, would show.
TEST_P(PackedBitRunTest, everyAlignmentGivesTheSame)
{
    const quint32 width = GetParam();
    std::mt19937 random(seed + 100 + width);
    for (const quint32 n : {32u, 33u, 64u, 95u, 96u, 300u}) {
        const std::vector<quint32> items = randomItems(width, n, random);
        const std::size_t wordsNeeded = packedWordCount(width, n);
        std::vector<quint32> expected(wordsNeeded);
        for (quint32 i = 0; i < n; ++i)
            reference::setItem(expected.data(), width, i, items[i]);

        for (const CpuLevel &level : cpuLevels()) {
            const LimitedCpuFeatures limited(level.features);
            for (std::size_t shift = 0; shift < 16; ++shift) {
                // Exactly as long as the run, so that a sanitizer sees every access beyond.
                const std::unique_ptr<quint32[]> source(new quint32[shift + n]);
                std::copy(items.begin(), items.end(), source.get() + shift);
                const std::unique_ptr<quint32[]> packed(new quint32[shift + wordsNeeded]);
                std::fill_n(packed.get(), shift + wordsNeeded, 0u);
                packRun(int(width), packed.get() + shift, 0, source.get() + shift, n);
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), packed.get() + shift))
                    << level.name << " " << n << " " << shift;

                std::fill_n(source.get(), shift + n, 0u);
                unpackRun(int(width), packed.get() + shift, packed.get() + shift + wordsNeeded, 0,
                          source.get() + shift, n);
                ASSERT_TRUE(std::equal(items.begin(), items.end(), source.get() + shift))
                    << level.name << " " << n << " " << shift;
                ASSERT_TRUE(std::all_of(packed.get(), packed.get() + shift,
                                        [](quint32 word) { return word == 0; }));
                ASSERT_TRUE(std::all_of(source.get(), source.get() + shift,
                                        [](quint32 item) { return item == 0; }));
            }
        }
    }
}

TEST_P(PackedBitRunTest, freshWordsNeedNoPreparation)
{
    const quint32 width = GetParam();
    std::mt19937 random(seed + 200 + width);
    for (quint32 n = 1; n <= 3 * cycleLength + 3; ++n) {
        const std::vector<quint32> items = randomItems(width, n, random);
        const std::size_t wordsNeeded = packedWordCount(width, n);
        std::vector<quint32> expected(wordsNeeded);
        for (quint32 i = 0; i < n; ++i)
            reference::setItem(expected.data(), width, i, items[i]);
        for (const CpuLevel &level : cpuLevels()) {
            const LimitedCpuFeatures limited(level.features);
            for (const std::size_t slack : {0u, 1u, 7u, 8u, 40u}) {
                std::vector<quint32> packed(wordsNeeded + slack, 0xA5A5A5A5);
                packFresh(int(width), packed.data(), packed.data() + packed.size(), items.data(),
                          n);
                packed.resize(wordsNeeded);
                ASSERT_EQ(packed, expected) << level.name << " " << n << " " << slack;
            }
        }
    }
}

TEST_P(PackedBitRunTest, plainKernelsPackWhatTheyUnpack)
{
    const quint32 width = GetParam();
    std::mt19937 random(seed + 300 + width);
    const quint32 n = 1000;
    const std::vector<quint32> items = randomItems(width, n, random);
    std::vector<quint32> packed(packedWordCount(width, n));
    plainPackKernel(int(width))(packed.data(), 0, items.data(), n);
    std::vector<quint32> target(n);
    plainUnpackKernel(int(width))(packed.data(), 0, target.data(), n);
    EXPECT_EQ(target, items);
}

INSTANTIATE_TEST_SUITE_P(width, PackedBitRunTest, testing::Range(1u, 33u),
                         testing::PrintToStringParamName());

RC_GTEST_PROP(PackedBitArrayTest, unpackGivesWhatWasPacked, ())
{
    const auto width = *rc::gen::inRange<quint32>(1, 33);
    const auto count = *rc::gen::inRange<quint32>(1, 400);
    const auto start = *rc::gen::inRange<quint32>(0, count);
    const auto n = *rc::gen::inRange<quint32>(1, count - start + 1);
    const auto all = *rc::gen::container<std::vector<quint32>>(
        count, rc::gen::map(rc::gen::arbitrary<quint32>(),
                            [&](quint32 value) { return value & largestItem(width); }));
    const ArrayPointer array(create(width, count));
    pack(array.get(), 0, all.data(), count);
    const std::vector<quint32> run(n, largestItem(width));
    pack(array.get(), start, run.data(), n);

    std::vector<quint32> expected = all;
    std::copy(run.begin(), run.end(), expected.begin() + start);
    std::vector<quint32> target(count);
    unpack(array.get(), 0, target.data(), count);
    RC_ASSERT(target == expected);
    for (quint32 i = 0; i < count; ++i)
        RC_ASSERT(get(array.get(), i) == expected[i]);
}
