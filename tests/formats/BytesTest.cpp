// Every worked example of docs/formats/bytes.md, both ways, and each of its oddities by name.

#include "ByteCoder.h"
#include "Hex.h"
#include "ReferenceByteCodec.h"

#include <ms_compressor/Compressor.h>

#include <gtest/gtest.h>

using namespace kyv::test;
using kyv::compressor::CompressedData;
using kyv::compressor::Compressor;
using reference::ReferenceByteCodec;
using reference::ReferenceUnitAllocator;

namespace {

constexpr quint32 Mebibyte = ByteCoder::Mebibyte;

struct Example
{
    const char *name;
    const char *input;
    const char *stream; // hexadecimal
};

void PrintTo(const Example &example, std::ostream *out)
{
    *out << example.name;
}

constexpr Example Examples[] = {
    {"emptyInput", "", "FF 00 FF 00 00"},
    {"oneByte", "a", "61 9D 67 17 00"},
    {"binaryContextMissedByTheEndMark", "aa", "61 01 EA AF 00 00"},
    {"binaryHit", "aaa", "61 00 AB 8A 3C 00 00"},
    {"binaryMissThenMaskedHit", "aab", "61 01 30 3D DD A8 00"},
    {"binaryContextReachedAgain", "abab", "61 03 65 25 77 4B 00 00"},
    {"severalContexts", "abcaabca", "61 03 6D E9 7F 2B F4 5C 00"},
};

class BytesTest : public testing::TestWithParam<Example>
{};

/// The order-1 context of 'a' with all 256 symbols: "a" before each of them.
QByteArray fullOrderOneContext()
{
    QByteArray input;
    for (int symbol = 0; symbol < 256; ++symbol)
        input.append('a').append(char(symbol));
    return input + 'a';
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Examples, BytesTest, testing::ValuesIn(Examples),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_P(BytesTest, referenceWritesAndReadsTheExample)
{
    const QByteArray input(GetParam().input);
    const QByteArray stream = fromHex(GetParam().stream);
    for (const int mebibytes : {1, 1024}) {
        ReferenceByteCodec codec(mebibytes);
        EXPECT_EQ(toHex(codec.encode(input, 100)), toHex(stream));
        EXPECT_EQ(toHex(codec.encode(input, input.size())), toHex(stream.left(input.size())));
        EXPECT_EQ(codec.decode(stream, input.size()), input);
        EXPECT_EQ(codec.decode(stream, 100), input);
    }
}

TEST_P(BytesTest, codecWritesAndReadsTheExample)
{
    const QByteArray input(GetParam().input);
    const QByteArray stream = fromHex(GetParam().stream);
    for (const ByteCoder::Path path : bytePaths()) {
        for (const quint32 mebibytes : {1u, 1024u}) {
            ByteCoder coder(mebibytes * Mebibyte, 2, path);
            EXPECT_EQ(toHex(coder.encode(input, 100)), toHex(stream));
            EXPECT_EQ(toHex(coder.encode(input, input.size())), toHex(stream.left(input.size())));
            EXPECT_EQ(coder.decode(stream, input.size()), input);
            EXPECT_EQ(coder.decode(stream, 100), input);
        }
    }
}

TEST_P(BytesTest, serviceCutsTheExampleAtTheInputsLength)
{
    const QByteArray input(GetParam().input);
    Compressor compressor;
    CompressedData compressed = compressor.compress(input);
    EXPECT_EQ(compressed.version, 1);
    EXPECT_EQ(compressed.uncompressedSize, input.size());
    EXPECT_EQ(toHex(compressed.data), toHex(fromHex(GetParam().stream).left(input.size())));

    compressed.data = fromHex(GetParam().stream);
    EXPECT_EQ(compressor.decompress(compressed), input);
}

TEST(BytesFormatTest, streamIsCutAtTheCapacity)
{
    Compressor compressor;
    const CompressedData cut = compressor.compress("a");
    EXPECT_EQ(toHex(cut.data), "61");
    // Three missing bytes make the code all ones, which is the escape out of the root.
    EXPECT_EQ(compressor.decompress(cut), QByteArray(1, '\0'));

    const QByteArray long_(1000, 'a');
    const CompressedData whole = compressor.compress(long_);
    EXPECT_LT(whole.data.size(), 20);
    EXPECT_EQ(compressor.decompress(whole), long_);
}

TEST(BytesFormatTest, missingByteFillsTheWholeCodeWithOnes)
{
    // 61 FF FF FF would decode to b and more; 61 with nothing behind it is the end mark.
    ReferenceByteCodec codec(1);
    ByteCoder coder(Mebibyte);
    EXPECT_TRUE(codec.decode(fromHex("61 FF FF FF"), 10).startsWith('b'));
    EXPECT_TRUE(coder.decode(fromHex("61 FF FF FF"), 10).startsWith('b'));
    for (const char *stream : {"", "61", "61 9D", "61 9D 67"}) {
        EXPECT_EQ(codec.decode(fromHex(stream), 10), "");
        EXPECT_EQ(coder.decode(fromHex(stream), 10), "");
    }
}

TEST(BytesFormatTest, decoderStopsAtTheCapacityBeforeTheEndMark)
{
    const QByteArray stream = fromHex("61 03 6D E9 7F 2B F4 5C 00");
    ReferenceByteCodec codec(1);
    ByteCoder coder(Mebibyte);
    for (qsizetype capacity = 0; capacity < 12; ++capacity) {
        const QByteArray expected = QByteArray("abcaabca").left(capacity);
        EXPECT_EQ(codec.decode(stream, capacity), expected);
        EXPECT_EQ(coder.decode(stream, capacity), expected);
    }
}

/// Format: docs/formats/bytes.md, "What is odd, and stays". All symbols are masked in the root
/// then, and the end mark is coded without it.
TEST(BytesFormatTest, fullContextLetsTheEndMarkPassTheRoot)
{
    const QByteArray input = fullOrderOneContext();
    ReferenceByteCodec codec(1);
    const QByteArray stream = codec.encode(input, 2000);
    EXPECT_EQ(codec.decode(stream, 2000), input);
    EXPECT_EQ(codec.decode(stream, input.size()), input);
    for (const ByteCoder::Path path : bytePaths()) {
        ByteCoder coder(Mebibyte, 2, path);
        EXPECT_EQ(toHex(coder.encode(input, 2000)), toHex(stream));
        EXPECT_EQ(coder.decode(stream, 2000), input);
    }
}

TEST(BytesFormatTest, ordersAboveTwoFollowTheSameRules)
{
    QByteArray input;
    for (int i = 0; i < 3000; ++i)
        input.append(char("the spectrum of the ion"[(i * i / 7) % 23])).append(char(i % 5));
    for (int order = 2; order <= 8; ++order) {
        SCOPED_TRACE(order);
        ReferenceByteCodec codec(1, order);
        const QByteArray stream = codec.encode(input, 10000);
        EXPECT_EQ(codec.decode(stream, input.size() + 1), input);
        ByteCoder coder(Mebibyte, order);
        EXPECT_EQ(coder.encode(input, 10000), stream);
        EXPECT_EQ(coder.decode(stream, input.size() + 1), input);
    }
}

// The unit allocator of the format, in the reference: what the document says in numbers.

namespace {

struct Units
{
    reference::RarePaths paths;
    ReferenceUnitAllocator allocator{1, paths};
};

} // namespace

TEST(BytesUnitsTest, startLaysOutSevenEighths)
{
    Units units;
    EXPECT_EQ(units.allocator.text(), 1u);
    EXPECT_EQ(units.allocator.unitsStart(), 131129u);
    EXPECT_EQ(units.allocator.allocateUnits(128), 131129u);
    EXPECT_EQ(units.allocator.allocateUnits(1), 131129u + 128 * 12);
    EXPECT_EQ(units.allocator.allocateContext(), 1u + (1 << 20) - 12);
    EXPECT_EQ(units.allocator.allocateContext(), 1u + (1 << 20) - 24);
}

TEST(BytesUnitsTest, sizeClassesGrowInFourSteps)
{
    quint32 index = 0;
    for (const quint32 units : {1u, 2u, 3u, 4u, 6u, 8u, 10u, 12u, 15u, 18u, 21u, 24u, 28u, 32u})
        EXPECT_EQ(ReferenceUnitAllocator::unitsOfIndex(index++), units);
    EXPECT_EQ(ReferenceUnitAllocator::unitsOfIndex(37), 128u);
    EXPECT_EQ(ReferenceUnitAllocator::indexOfUnits(5), 4u);
    EXPECT_EQ(ReferenceUnitAllocator::indexOfUnits(25), 12u);
    EXPECT_EQ(ReferenceUnitAllocator::indexOfUnits(125), 37u);
}

TEST(BytesUnitsTest, oddRestOfASplitGoesToTwoLists)
{
    Units units;
    const reference::Offset block = units.allocator.allocateUnits(128);
    while (units.allocator.allocateUnits(128) + 256 * 12 <= 1u + (1 << 20)) {
    }
    while (units.allocator.allocateContext() != units.allocator.unitsStart() + 12 * 128 * 597) {
    }
    units.allocator.freeUnits(block, 128);
    // 128 - 1 = 127 units: 124 have a class, 3 are left behind them.
    EXPECT_EQ(units.allocator.allocateUnits(1), block);
    EXPECT_EQ(units.allocator.allocateUnits(124), block + 12);
    EXPECT_EQ(units.allocator.allocateUnits(3), block + 12 * 125);
    EXPECT_EQ(units.paths.gluings, 0u);
}

TEST(BytesUnitsTest, firstExhaustionGluesAndTheNextCarve)
{
    Units units;
    const reference::Offset first = units.allocator.allocateUnits(128);
    std::vector<reference::Offset> singles;
    for (;;) {
        const reference::Offset unit = units.allocator.allocateUnits(1);
        if (unit < first) { // carved: the gap is used up and the first gluing found nothing
            EXPECT_EQ(unit, first - 12);
            break;
        }
        singles.push_back(unit);
    }
    EXPECT_EQ(units.paths.gluings, 1u);
    EXPECT_EQ(units.paths.carves, 1u);
    EXPECT_EQ(singles.size(), 76454u - 128); // 84 * 10922 / 12 units in all

    for (quint32 i = 1; i < 8192; ++i)
        EXPECT_NE(units.allocator.allocateUnits(1), reference::None);
    EXPECT_EQ(units.paths.carves, 8192u);
    // The 8193rd exhaustion after the first gluing glues again; what was freed is one block then.
    for (quint32 i = 0; i < 300; ++i)
        units.allocator.freeUnits(singles[i], 1);
    EXPECT_EQ(units.allocator.allocateUnits(2), singles[256]); // 300 = 128 + 128 + 44
    EXPECT_EQ(units.paths.gluings, 2u);
    EXPECT_EQ(units.allocator.allocateUnits(128), singles[128]);
    EXPECT_EQ(units.allocator.allocateUnits(128), singles[0]);
}
