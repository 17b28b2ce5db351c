// Addresses are part of the format, so the expected offsets are worked out by hand. A block of
// 1 MiB has 1048576 / 8 / 12 = 10922 times 84 bytes of units; the text gets the 131128 below.

#include "internal/UnitAllocator.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace kyv::compressor::internal;

constexpr quint32 blockEnd = 1048576 + 1;
constexpr quint32 unitsStart = blockEnd - 10922 * 84;

class UnitAllocatorTest : public testing::Test
{
protected:
    void SetUp() override { units.start(); }

    /// Uses the whole gap up, in the largest blocks and then in single units.
    void exhaust()
    {
        while (units.hiUnit() - units.loUnit() >= 128 * 12)
            use(units.allocate(37), 128);
        while (units.hiUnit() != units.loUnit())
            use(units.allocate(0), 1);
    }
    /// Writes to a block what no free block begins with.
    void use(quint32 offset, quint32 unitCount)
    {
        std::fill_n(units.at(offset), 12 * unitCount, quint8(1));
    }

    UnitAllocator units{ModelMemory::start(1)};
};

TEST_F(UnitAllocatorTest, startLaysTheAreasOut)
{
    EXPECT_EQ(units.text(), 1u);
    EXPECT_EQ(units.unitsStart(), unitsStart);
    EXPECT_EQ(units.loUnit(), unitsStart);
    EXPECT_EQ(units.hiUnit(), blockEnd);
    EXPECT_EQ(units.usedMemory(), 0u);
}

TEST_F(UnitAllocatorTest, arraysGrowUpAndContextsDown)
{
    EXPECT_EQ(units.allocateContext(), blockEnd - 12);
    EXPECT_EQ(units.allocate(0), unitsStart);
    EXPECT_EQ(units.allocate(4), unitsStart + 12);      // 6 units
    EXPECT_EQ(units.allocate(1), unitsStart + 12 + 72); // 2 units
    EXPECT_EQ(units.allocateContext(), blockEnd - 24);
    EXPECT_EQ(units.usedMemory(), 11u * 12);
}

TEST_F(UnitAllocatorTest, theLastFreedBlockIsTakenFirst)
{
    const quint32 a = units.allocate(2);
    const quint32 b = units.allocate(2);
    units.release(a, 2);
    units.release(b, 2);
    EXPECT_EQ(units.usedMemory(), 0u);
    EXPECT_EQ(units.freeCount(2), 2u);
    EXPECT_EQ(units.allocate(2), b);
    EXPECT_EQ(units.allocate(2), a);
}

TEST_F(UnitAllocatorTest, textIsAppendedAndTakenBack)
{
    units.appendText(65);
    units.appendText(66);
    units.dropText();
    EXPECT_EQ(units.text(), 2u);
    EXPECT_EQ(*units.at(1), 65);
}

// 24 units less 1 leave 23, for which there is no list: 21 units and the 2 behind them.
TEST_F(UnitAllocatorTest, aLargerBlockIsSplit)
{
    const quint32 block = units.allocate(11);
    exhaust();
    units.release(block, 11);
    EXPECT_EQ(units.allocate(0), block);
    EXPECT_EQ(units.freeCount(10), 1u);
    EXPECT_EQ(units.freeCount(1), 1u);
    EXPECT_EQ(units.allocate(10), block + 12);
    EXPECT_EQ(units.allocate(1), block + 12 + 21 * 12);
}

TEST_F(UnitAllocatorTest, contextsFallBackToFreeUnits)
{
    const quint32 block = units.allocate(0);
    exhaust();
    units.release(block, 0);
    EXPECT_EQ(units.allocateContext(), block);
}

// Three blocks of 1, 2 and 3 units in a row become one of 6; what asks for 4 gets its front, and
// the 2 units behind go to their list.
TEST_F(UnitAllocatorTest, gluingJoinsNeighbours)
{
    const quint32 a = units.allocate(0);
    const quint32 b = units.allocate(1);
    const quint32 c = units.allocate(2);
    exhaust();
    units.release(c, 2);
    units.release(a, 0);
    units.release(b, 1);
    EXPECT_EQ(units.allocate(3), a);
    EXPECT_EQ(units.gluingCount(), 1);
    EXPECT_EQ(units.freeCount(1), 1u);
    EXPECT_EQ(units.allocate(1), a + 4 * 12);
}

// 130 units: the first 128 on the last list, the 2 behind on theirs.
TEST_F(UnitAllocatorTest, gluingCutsWhatExceedsTheLargestBlock)
{
    const quint32 a = units.allocate(36); // 124 units
    const quint32 b = units.allocate(4);  // 6 units
    exhaust();
    units.release(a, 36);
    units.release(b, 4);
    EXPECT_EQ(units.allocate(37), a);
    EXPECT_EQ(units.freeCount(1), 1u);
    EXPECT_EQ(units.allocate(1), a + 128 * 12);
}

TEST_F(UnitAllocatorTest, gluingStopsAtTheGap)
{
    const quint32 block = units.allocate(0);
    exhaust();
    units.start();
    const quint32 first = units.allocate(0);
    EXPECT_EQ(first, block);
    // A stale marker behind the last array is cleared before blocks are joined.
    while (units.hiUnit() - units.loUnit() > 12)
        units.allocateContext();
    std::fill_n(units.at(units.loUnit()), 12, quint8(0xFF));
    units.release(first, 0);
    units.allocate(1); // 2 units: neither free nor in the gap of 1
    EXPECT_EQ(units.gluingCount(), 1);
    EXPECT_EQ(*units.at(units.loUnit()), 0);
    EXPECT_EQ(units.freeCount(0), 1u);
}

// The first exhaustion glues, the next 8192 carve or fail; only then comes the second gluing.
TEST_F(UnitAllocatorTest, scheduleOfGluing)
{
    exhaust();
    quint32 expected = unitsStart;
    EXPECT_EQ(units.allocate(0), expected -= 12);
    EXPECT_EQ(units.gluingCount(), 1);
    // The search after the gluing counted too, so 8191 are left.
    for (int i = 0; i < 8191; ++i)
        ASSERT_EQ(units.allocate(0), expected -= 12);
    EXPECT_EQ(units.gluingCount(), 1);
    EXPECT_EQ(units.allocate(0), expected -= 12);
    EXPECT_EQ(units.gluingCount(), 2);
    EXPECT_EQ(units.carveCount(), 8193);
    EXPECT_EQ(units.unitsStart(), expected);
}

// Carving needs more than the size between text and units.
TEST_F(UnitAllocatorTest, carvingEndsAtTheText)
{
    exhaust();
    while (units.unitsStart() - units.text() > 24)
        units.appendText(0);
    EXPECT_EQ(units.unitsStart() - units.text(), 24u);
    EXPECT_EQ(units.allocate(1), 0u);
    EXPECT_EQ(units.allocate(0), unitsStart - 12);
    EXPECT_EQ(units.allocate(0), 0u);
}

TEST_F(UnitAllocatorTest, startForgetsEverything)
{
    const quint32 block = units.allocate(5);
    units.release(block, 5);
    units.appendText(1);
    exhaust();
    units.start();
    EXPECT_EQ(units.usedMemory(), 0u);
    EXPECT_EQ(units.freeCount(5), 0u);
    EXPECT_EQ(units.allocate(37), unitsStart);
}

} // namespace
