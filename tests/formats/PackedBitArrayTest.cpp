// Every example of docs/formats/packed-bit-array.md, word for word and both ways.

#include "internal/PackedBitArray.h"

#include "CpuLevels.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

using namespace kyv::compressor::internal;

namespace {

struct Example
{
    const char *name;
    quint32 width;
    std::vector<quint32> items;
    std::vector<quint32> words;
};

std::vector<quint32> repeated(std::size_t count, quint32 item)
{
    return std::vector<quint32>(count, item);
}

std::vector<quint32> upTo(quint32 last)
{
    std::vector<quint32> items(last + 1);
    std::iota(items.begin(), items.end(), 0u);
    return items;
}

const Example examples[] = {
    {"threeItemsOfThreeBits", 3, {5, 0, 1}, {0x00000045}},
    {"noItems", 9, {}, {}},
    {"thirtyThreeSingleBits", 1, repeated(33, 1), {0xFFFFFFFF, 0x00000001}},
    {"anItemAcrossTwoWords", 3, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 6}, {0x80000000, 0x00000001}},
    {"wholeWords", 32, {0xFFFFFFFF, 0x80000001}, {0xFFFFFFFF, 0x80000001}},
    {"halfWords", 16, {0x1234, 0xFFFF, 1}, {0xFFFF1234, 0x00000001}},
    {"thirtyOneBits", 31, {0x40000001, 0x7FFFFFFF}, {0xC0000001, 0x3FFFFFFF}},
    {"aCycleOfFiveBits", 5, upTo(31), {0x8A418820, 0xC5A92839, 0xCA307B9A, 0x38BDAB49, 0xFFBBCDEB}},
};

class PackedBitArrayFormat : public testing::TestWithParam<Example>
{};

} // namespace

TEST_P(PackedBitArrayFormat, packsAndUnpacks)
{
    const Example &example = GetParam();
    const quint32 count = quint32(example.items.size());
    for (const kyv::test::CpuLevel &level : kyv::test::cpuLevels()) {
        SCOPED_TRACE(level.name);
        const kyv::test::LimitedCpuFeatures limited(level.features);
        PackedBitArray *const array = create(example.width, count);
        ASSERT_TRUE(array);
        if (count > 0)
            pack(array, 0, example.items.data(), count);
        EXPECT_EQ(std::vector<quint32>(words(array), words(array) + wordCount(array)),
                  example.words);

        std::vector<quint32> items(count);
        if (count > 0)
            unpack(array, 0, items.data(), count);
        EXPECT_EQ(items, example.items);
        for (quint32 i = 0; i < count; ++i)
            EXPECT_EQ(get(array, i), example.items[i]);
        destroy(array);
    }
}

INSTANTIATE_TEST_SUITE_P(example, PackedBitArrayFormat, testing::ValuesIn(examples),
                         [](const auto &row) { return row.param.name; });
