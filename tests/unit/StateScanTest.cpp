// The portable scan is the definition. It is held against hand-worked cases, and every vector path
// of this processor against it.

#include "internal/PpmdPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

using namespace kyv::compressor::internal;

/// Gives the same 32 bits everywhere.
using Random = std::independent_bits_engine<std::mt19937, 32, quint32>;

/// Distinct symbols and frequencies, with 64 bytes of anything before and behind.
struct States
{
    std::vector<quint8> symbolBytes;
    std::vector<quint8> freqBytes;
    int count;

    const quint8 *symbols() const { return symbolBytes.data() + 64; }
    quint8 *freqs() { return freqBytes.data() + 64; }
    const quint8 *freqs() const { return freqBytes.data() + 64; }
};

States randomStates(Random &random, int count, int maxFreq)
{
    States states{std::vector<quint8>(384), std::vector<quint8>(384), count};
    for (quint8 &byte : states.freqBytes)
        byte = quint8(random());
    std::vector<quint8> symbols(256);
    std::iota(symbols.begin(), symbols.end(), quint8(0));
    std::shuffle(symbols.begin(), symbols.end(), random);
    for (size_t i = 0; i < states.symbolBytes.size(); ++i)
        states.symbolBytes[i] = symbols[(i + 192) % 256];
    for (int i = 0; i < count; ++i)
        states.freqs()[i] = quint8(1 + random() % quint32(maxFreq));
    if (random() % 2 == 0)
        std::sort(states.freqs(), states.freqs() + count, std::greater<quint8>());
    return states;
}

constexpr ScanTable portable = ScanTable::of<PortableScan>();

TEST(StateScanTest, portableByHand)
{
    const quint8 symbols[] = {10, 200, 30};
    quint8 freqs[] = {7, 4, 1};
    EXPECT_EQ(portable.find(symbols, 3, 200), 1);
    EXPECT_EQ(portable.find(symbols, 3, 31), 3);
    EXPECT_EQ(portable.sum(freqs, 2), 11u);
    EXPECT_EQ(portable.locate(freqs, 3, 6).index, 0);
    EXPECT_EQ(portable.locate(freqs, 3, 7).index, 1);
    EXPECT_EQ(portable.locate(freqs, 3, 11).below, 11u);
    EXPECT_EQ(portable.locate(freqs, 3, 12).index, 3);
    EXPECT_EQ(portable.locate(freqs, 3, 12).below, 12u);

    MaskedFreqs masked;
    const quint8 ruledOut[] = {10, 99};
    EXPECT_EQ(portable.mask(ruledOut, 2, symbols, freqs, 3, masked), 5u);
    EXPECT_EQ(masked.freqs[0], 0);
    EXPECT_EQ(masked.freqs[1], 4);

    const Halved halved = portable.halve(symbols, freqs, 3, 0);
    EXPECT_EQ(halved.oldSum, 12u);
    EXPECT_EQ(halved.newSum, 5u); // 3, 2, 0
    EXPECT_TRUE(halved.hasHigh);
    EXPECT_EQ(halved.firstUnsorted, 3);
}

TEST(StateScanTest, halvingReportsHighSymbolsBehindTheFirstOnly)
{
    const quint8 symbols[] = {200, 5, 64};
    quint8 freqs[] = {9, 8, 1};
    EXPECT_FALSE(portable.halve(symbols, freqs, 3, 0).hasHigh); // 64 drops out
    quint8 kept[] = {9, 8, 1};
    EXPECT_TRUE(portable.halve(symbols, kept, 3, 1).hasHigh);
}

class StateScanPathTest : public testing::TestWithParam<PpmdCodec::Path>
{
protected:
    void SetUp() override
    {
        if (!ppmd::isUsable(GetParam()))
            GTEST_SKIP() << "this processor or build has no such path";
        path = ppmd::tableOf(GetParam()).scan;
    }
    ScanTable path{};
    Random random{4};
};

TEST_P(StateScanPathTest, findsWhatThePortablePathFinds)
{
    for (int count = 1; count <= 256; ++count) {
        const States states = randomStates(random, count, 124);
        for (int symbol = 0; symbol < 256; ++symbol)
            ASSERT_EQ(path.find(states.symbols(), count, quint8(symbol)),
                      portable.find(states.symbols(), count, quint8(symbol)))
                << count;
    }
}

TEST_P(StateScanPathTest, sumsAndLocatesLikeThePortablePath)
{
    for (int count = 1; count <= 256; ++count) {
        for (const int maxFreq : {1, 3, 255}) {
            States states = randomStates(random, count, maxFreq);
            if (maxFreq == 3 && count > 2) // as behind a mask
                for (int i = 0; i < count; i += 2)
                    states.freqs()[i] = 0;
            for (int part = 0; part <= count; ++part)
                ASSERT_EQ(path.sum(states.freqs(), part), portable.sum(states.freqs(), part));
            const quint32 total = portable.sum(states.freqs(), count);
            std::vector<quint32> targets{0, total - 1, total, total + 1, 0xFFFF, 0x10000, ~0u};
            for (int i = 0; i < 200; ++i)
                targets.push_back(random() % (total + 2));
            for (const quint32 target : targets) {
                const ScanHit expected = portable.locate(states.freqs(), count, target);
                const ScanHit hit = path.locate(states.freqs(), count, target);
                ASSERT_EQ(hit.index, expected.index) << count << " states, target " << target;
                ASSERT_EQ(hit.below, expected.below) << count << " states, target " << target;
            }
        }
    }
}

TEST_P(StateScanPathTest, masksLikeThePortablePath)
{
    for (int count = 1; count <= 256; ++count) {
        for (const int ruledOutCount : {1, 2, 8, 9, 12, 13, 40, 256}) {
            const States states = randomStates(random, count, 124);
            const States out = randomStates(random, ruledOutCount, 1);
            MaskedFreqs expected, masked;
            ASSERT_EQ(path.mask(out.symbols(), ruledOutCount, states.symbols(), states.freqs(),
                                count, masked),
                      portable.mask(out.symbols(), ruledOutCount, states.symbols(), states.freqs(),
                                    count, expected));
            ASSERT_TRUE(std::equal(masked.freqs, masked.freqs + count, expected.freqs));
        }
    }
}

TEST_P(StateScanPathTest, halvesLikeThePortablePath)
{
    for (int count = 1; count <= 256; ++count) {
        for (const quint32 adder : {0u, 1u}) {
            for (const int maxFreq : {2, 128}) {
                States states = randomStates(random, count, maxFreq);
                States expectedStates = states;
                const Halved expected =
                    portable.halve(expectedStates.symbols(), expectedStates.freqs(), count, adder);
                const Halved halved = path.halve(states.symbols(), states.freqs(), count, adder);
                ASSERT_EQ(states.freqBytes, expectedStates.freqBytes);
                ASSERT_EQ(halved.oldSum, expected.oldSum);
                ASSERT_EQ(halved.newSum, expected.newSum);
                ASSERT_EQ(halved.hasHigh, expected.hasHigh);
                // A path may ask for sorting too early, never too late.
                ASSERT_LE(halved.firstUnsorted, expected.firstUnsorted);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, StateScanPathTest,
                         testing::Values(PpmdCodec::Path::Sse41, PpmdCodec::Path::Avx2,
                                         PpmdCodec::Path::Avx512),
                         [](const auto &path) {
                             switch (path.param) {
                             case PpmdCodec::Path::Sse41:
                                 return "sse41";
                             case PpmdCodec::Path::Avx2:
                                 return "avx2";
                             default:
                                 return "avx512";
                             }
                         });

} // namespace
