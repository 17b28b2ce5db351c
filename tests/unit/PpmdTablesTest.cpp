// The tables are computed from rules; here they meet their values as the format lists them.

#include "internal/PpmdTables.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace kyv::compressor::internal::ppmd;

template <typename Table>
std::vector<int> listed(const Table &table, size_t from = 0, size_t to = SIZE_MAX)
{
    return {table.begin() + qsizetype(from), table.begin() + qsizetype(std::min(to, table.size()))};
}

TEST(PpmdTablesTest, blockSizes)
{
    EXPECT_EQ(listed(indexToUnits),
              (std::vector<int>{1,  2,  3,  4,  6,   8,   10,  12,  15,  18,  21,  24, 28,
                                32, 36, 40, 44, 48,  52,  56,  60,  64,  68,  72,  76, 80,
                                84, 88, 92, 96, 100, 104, 108, 112, 116, 120, 124, 128}));
}

TEST(PpmdTablesTest, smallestIndexForANumberOfUnits)
{
    EXPECT_EQ(listed(unitsToIndex, 0, 29),
              (std::vector<int>{0, 1, 2, 3,  4,  4,  5,  5,  6,  6,  7,  7,  8,  8, 8,
                                9, 9, 9, 10, 10, 10, 11, 11, 11, 12, 12, 12, 12, 13}));
    EXPECT_EQ(unitsToIndex[124 - 1], 36);
    EXPECT_EQ(unitsToIndex[125 - 1], 37);
    EXPECT_EQ(unitsToIndex[128 - 1], 37);
}

TEST(PpmdTablesTest, capacityHoldsTheStates)
{
    for (size_t numStats = 1; numStats < 256; ++numStats) {
        EXPECT_GE(statsToCapacity[numStats], numStats + 1);
        EXPECT_EQ(statsToCapacity[numStats], 2 * indexToUnits[statsToIndex[numStats]]);
    }
    EXPECT_EQ(statsToCapacity[1], 2);
    EXPECT_EQ(statsToCapacity[2], 4);
    EXPECT_EQ(statsToCapacity[255], 256);
}

TEST(PpmdTablesTest, parentColumns)
{
    const std::pair<size_t, int> rows[] = {{0, 0},  {1, 2},  {2, 2},  {3, 4},
                                           {28, 4}, {29, 6}, {255, 6}};
    for (const auto &[numStats, column] : rows)
        EXPECT_EQ(parentColumn[numStats], column) << numStats;
}

TEST(PpmdTablesTest, classesGrowInRuns)
{
    EXPECT_EQ(listed(quantized, 0, 21),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 6, 7, 7, 7, 8, 8, 8, 8, 9, 9, 9, 9, 9, 10}));
    const std::pair<size_t, int> rows[] = {{194, 23}, {195, 24}, {257, 26}, {258, 27}, {259, 27}};
    for (const auto &[index, value] : rows)
        EXPECT_EQ(quantized[index], value) << index;
}

// Row 0, column 0: the terms add up to 16 + 1 + 14 + 23 + 64 - 42 = 76; 16384 - 128 * 76 / 2.
// Row 0, column 62: 16 + 51 + 89 + 35 + 26 + 43 = 260, cut to 224; 16384 - 128 * 224 / 2.
// Row 24: quantized first exceeds 24 at 215; column 1: -10 + 60 = 50; 16384 - 6400 / 216.
TEST(PpmdTablesTest, binaryProbabilities)
{
    EXPECT_EQ(initialBinaryTable[0][0], 11520);
    EXPECT_EQ(initialBinaryTable[0][62], 2048);
    EXPECT_EQ(initialBinaryTable[24][1], 16384 - 29);
    // Column 17: -10 + 1 + 14 + 23 + 26 - 42 = 12, raised to 32; row 5 begins to differ at 6.
    EXPECT_EQ(initialBinaryTable[4][17], 16384 - 128 * 32 / 6);
    EXPECT_EQ(initialBinaryTable[5][17], 16384 - 128 * 32 / 7);
    EXPECT_EQ(initialBinaryTable[6][17], 16384 - 128 * 32 / 9);
}

TEST(PpmdTablesTest, escapeEstimates)
{
    for (size_t row = 0; row < initialSeeTable.size(); ++row) {
        for (const SeeContext &see : initialSeeTable[row]) {
            EXPECT_EQ(see.summ, 64 * row + 40);
            EXPECT_EQ(see.shift, 3);
            EXPECT_EQ(see.count, 7);
        }
    }
}

} // namespace
