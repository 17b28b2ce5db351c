#pragma once

#include <QtGlobal>

#include <algorithm>
#include <array>

/// \file
/// The fixed numbers of the byte model, each computed from the rule that the format states.
///
/// Encoder and decoder share them, so a wrong entry would still give back what went in; the tests
/// hold every table against its listed values. See docs/formats/bytes.md, "Tables".
namespace kyv::compressor::internal::ppmd {

/// Bytes of a unit, the measure of everything inside the block but the text.
inline constexpr quint32 unitSize = 12;
/// Sizes of blocks that the allocator keeps lists of.
inline constexpr int indexCount = 38;
/// Units of the largest block: the 256 states of the root.
inline constexpr int maxUnitCount = 128;

/// A state's frequency above this leads to a rescale.
inline constexpr quint32 maxFreq = 124;

inline constexpr quint32 binaryTotalBits = 14;
inline constexpr int binaryRowCount = 25;
inline constexpr int binaryColumnCount = 64;
inline constexpr int seeRowCount = 23;
inline constexpr int seeColumnCount = 32;

/// Flags of a context.
inline constexpr quint8 boostedFlag = 0x04;    ///< A rescale has boosted the first state.
inline constexpr quint8 highSymbolFlag = 0x08; ///< It holds a symbol of 64 or more.
inline constexpr quint8 highOriginFlag = 0x10; ///< The symbol that led here is 64 or more.
inline constexpr quint8 highSymbol = 64;

/// Units of the blocks on free list i: 1 to 4, then in steps of 2, 3 and 4 up to 128.
inline constexpr std::array<quint8, indexCount> indexToUnits = [] {
    std::array<quint8, indexCount> units{};
    int size = 0;
    for (int i = 0; i < indexCount; ++i) {
        size += i < 4 ? 1 : i < 8 ? 2 : i < 12 ? 3 : 4;
        units[size_t(i)] = quint8(size);
    }
    return units;
}();
static_assert(indexToUnits.back() == maxUnitCount);

/// Entry n - 1 is the smallest index whose blocks hold n units.
inline constexpr std::array<quint8, maxUnitCount> unitsToIndex = [] {
    std::array<quint8, maxUnitCount> indexes{};
    quint8 index = 0;
    for (int n = 1; n <= maxUnitCount; ++n) {
        while (indexToUnits[index] < n)
            ++index;
        indexes[size_t(n - 1)] = index;
    }
    return indexes;
}();

/// Index of the block that holds a state array, by NumStats (states - 1); two states fill a unit.
inline constexpr std::array<quint8, 256> statsToIndex = [] {
    std::array<quint8, 256> indexes{};
    for (size_t numStats = 0; numStats < 256; ++numStats)
        indexes[numStats] = unitsToIndex[(numStats + 2) / 2 - 1];
    return indexes;
}();

/// States that fit in that block, by NumStats.
inline constexpr std::array<quint16, 256> statsToCapacity = [] {
    std::array<quint16, 256> capacities{};
    for (size_t numStats = 0; numStats < 256; ++numStats)
        capacities[numStats] = quint16(2 * indexToUnits[statsToIndex[numStats]]);
    return capacities;
}();

/// NS2BSIndx: the size of the parent context, in four classes, as a column of the binary table.
inline constexpr std::array<quint8, 256> parentColumn = [] {
    std::array<quint8, 256> columns{};
    for (size_t numStats = 1; numStats < 256; ++numStats)
        columns[numStats] = numStats <= 2 ? 2 : numStats <= 28 ? 4 : 6;
    return columns;
}();

/// NS2Indx: a logarithm of sorts: 0 to 4, then 5 once, 6 twice, 7 three times and so on.
inline constexpr std::array<quint8, 260> quantized = [] {
    std::array<quint8, 260> classes{};
    quint8 value = 0;
    int left = 1;
    for (auto &entry : classes) {
        entry = value;
        if (--left == 0) {
            ++value;
            left = value < 5 ? 1 : value - 4;
        }
    }
    return classes;
}();

/// ExpEscape: the first escape frequency of a context that leaves the binary form.
inline constexpr std::array<quint8, 16> expectedEscape = {51, 43, 18, 12, 11, 9, 8, 7,
                                                          6,  5,  4,  3,  3,  2, 2, 2};

/// One row of binary probabilities for each class of the frequency.
using BinaryTable = std::array<std::array<quint16, binaryColumnCount>, binaryRowCount>;

/// What the binary probabilities start from: the better known the symbol, the nearer to certain.
inline constexpr BinaryTable initialBinaryTable = [] {
    constexpr int terms[6][2] = {{16, -10}, {1, 51}, {14, 89}, {23, 35}, {64, 26}, {-42, 43}};
    BinaryTable table{};
    for (size_t row = 0; row < binaryRowCount; ++row) {
        int firstAbove = 0;
        while (quantized[size_t(firstAbove)] <= row)
            ++firstAbove;
        for (size_t column = 0; column < binaryColumnCount; ++column) {
            int escape = 0;
            for (size_t bit = 0; bit < 6; ++bit)
                escape += terms[bit][(column >> bit) & 1];
            escape = std::clamp(escape, 32, 224);
            table[row][column] =
                quint16((1 << binaryTotalBits) - (128 * escape) / (firstAbove + 1));
        }
    }
    return table;
}();

/// Secondary escape estimation: Summ >> Shift is the escape frequency to expect.
struct SeeContext
{
    quint16 summ;
    quint8 shift;
    quint8 count; ///< Hits until the next look at the shift; wraps at 256.
};

using SeeTable = std::array<std::array<SeeContext, seeColumnCount>, seeRowCount>;

inline constexpr SeeTable initialSeeTable = [] {
    SeeTable table{};
    for (size_t row = 0; row < seeRowCount; ++row)
        table[row].fill({quint16(64 * row + 40), 3, 7});
    return table;
}();

} // namespace kyv::compressor::internal::ppmd
