#pragma once

#include <QtGlobal>

#include <cstddef>

namespace kyv::compressor::internal {

/// Width of the widest item, and so the number of kernels in each table.
inline constexpr int widestItem = 32;

/// Items of a cycle: a run of 32 items fills exactly one word for each bit of their width.
inline constexpr quint32 cycleLength = 32;

/// Words that \a count items of \a width bits take: bits past the last item round up.
constexpr quint64 packedWordCount(quint32 width, quint32 count) noexcept
{
    return (quint64(width) * count + 31) >> 5;
}

namespace detail {

/// The lowest \p Width bits of a word.
template <int Width>
inline constexpr quint32 lowMask = quint32((quint64(1) << Width) - 1);

/// Item \p Index of a cycle: 32 items of \p Width bits, which fill exactly Width words.
///
/// Position, shift and mask are constants here, so 32 calls in a row are straight-line code.
template <int Width, int Index>
constexpr quint32 cycleItem(const quint32 *words) noexcept
{
    constexpr int first = Width * Index / 32;
    constexpr int shift = Width * Index % 32;
    constexpr int here = 32 - shift; // bits left in the word from the item's first bit up
    quint32 item = words[first] >> shift;
    if constexpr (here < Width) // the rest opens the next word
        item |= words[first + 1] << here;
    if constexpr (here != Width) // a word's top item has nothing above it to mask
        item &= lowMask<Width>;
    return item;
}

/// Adds item \p Index of a cycle to \a word, the word that is being built; an item that reaches
/// the end of that word stores it and begins the next one with the bits left over.
template <int Width, int Index>
constexpr void putCycleItem(quint32 *words, quint32 &word, quint32 item) noexcept
{
    constexpr int first = Width * Index / 32;
    constexpr int shift = Width * Index % 32;
    constexpr int here = 32 - shift;
    word |= item << shift;
    if constexpr (here <= Width) {
        words[first] = word;
        word = here < Width ? item >> (here % 32) : 0;
    }
}

} // namespace detail

/// Copies items start .. start + n - 1 to \a items. \a n is at least 1.
using UnpackKernel = void (*)(const quint32 *words, quint32 start, quint32 *items, quint32 n);

/// Stores \a items as items start .. start + n - 1; the items on both sides keep their values.
/// \a n is at least 1, and every item is below 2^width.
using PackKernel = void (*)(quint32 *words, quint32 start, const quint32 *items, quint32 n);

/// The plain kernels of \a width (1 to 32): the definition, on every processor.
UnpackKernel plainUnpackKernel(int width) noexcept;
PackKernel plainPackKernel(int width) noexcept;

/// Unpacks whole cycles on a vector path, from an item that is a multiple of 32. Reads nothing at
/// or past \a readableEnd, which is at least the end of the cycles.
using UnpackCycles = void (*)(const quint32 *words, const quint32 *readableEnd, quint32 *items,
                              std::size_t cycles);

/// Packs whole cycles on a vector path. May leave anything in words from the cycles' end up to
/// \a scratchEnd, and touches nothing else; null stands for the cycles' end.
using PackCycles = void (*)(quint32 *words, const quint32 *scratchEnd, const quint32 *items,
                            std::size_t cycles);

/// One of them for each width, the kernel of width 1 first; null where another path is faster.
struct UnpackCyclesTable
{
    UnpackCycles ofWidth[widestItem];
};
struct PackCyclesTable
{
    PackCycles ofWidth[widestItem];
};

namespace detail {
// Defined where the compiler makes code for the instructions, used where the processor has them.
extern const UnpackCyclesTable unpackCyclesAvx2;
extern const PackCyclesTable packCyclesAvx2;
extern const PackCyclesTable packCyclesAvx512;
} // namespace detail

/// Copies a run of items out of an array of \a width-bit items (width 1 to 32, n at least 1),
/// whole cycles on the fastest path that the processor has.
///
/// \a readableEnd is the end of the words that may be read: at least the end of the run. Words
/// past the run never influence the result, but a vector path is faster where they exist.
void unpackRun(int width, const quint32 *words, const quint32 *readableEnd, quint32 start,
               quint32 *items, quint32 n) noexcept;

/// Stores a run of items into an array of \a width-bit items (width 1 to 32, n at least 1),
/// whole cycles on the fastest path that the processor has; the items on both sides keep their
/// values.
void packRun(int width, quint32 *words, quint32 start, const quint32 *items, quint32 n) noexcept;

/// Stores \a n items (at least 1) of \a width bits from item 0 on into words whose content does not
/// matter. The bits past the last item in its word become 0; the words from there to \a wordsEnd
/// may hold anything afterwards, which is what a vector path makes use of.
void packFresh(int width, quint32 *words, const quint32 *wordsEnd, const quint32 *items,
               quint32 n) noexcept;

} // namespace kyv::compressor::internal
