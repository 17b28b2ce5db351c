// The kernels of the packed bit array: 32 widths, packing and unpacking.
//
// A kernel is one template. Thirty-two items from a multiple of 32 on are a cycle and fill exactly
// `Width` words, so within a cycle every word index, shift and mask is a compile-time constant.
// What decides speed: whole cycles are straight-line code, and a run that starts inside a cycle
// jumps to its first item, so the bit position is never computed or tested at run time.
//
// The subtle thing: the checked body takes an item before it asks whether the run has ended, so a
// run has at least one item. The callers see to that.

#include "PackedBitKernels.h"

#include "CpuFeatures.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace kyv::compressor::internal {

namespace {

using detail::cycleItem;
using detail::putCycleItem;

// Item 10 of width 3 occupies bits 30 to 32; item 31 is the top of the third word.
static_assert(cycleItem<3, 10>(std::array<quint32, 3>{0x80000000u, 0x00000001u, 0}.data()) == 6);
static_assert(cycleItem<3, 31>(std::array<quint32, 3>{0, 0, 0xA0000000u}.data()) == 5);

// Every item of the cycle in turn, for the bodies below.
// clang-format off
#define KYV_CYCLE_ITEMS(ITEM)                                                                      \
    ITEM(0) ITEM(1) ITEM(2) ITEM(3) ITEM(4) ITEM(5) ITEM(6) ITEM(7)                                \
    ITEM(8) ITEM(9) ITEM(10) ITEM(11) ITEM(12) ITEM(13) ITEM(14) ITEM(15)                          \
    ITEM(16) ITEM(17) ITEM(18) ITEM(19) ITEM(20) ITEM(21) ITEM(22) ITEM(23)                        \
    ITEM(24) ITEM(25) ITEM(26) ITEM(27) ITEM(28) ITEM(29) ITEM(30) ITEM(31)
// clang-format on

// ---- unpacking -----------------------------------------------------------------------------

/// Unpacks items \a first, first + 1, ... of a cycle until \a n items are done or the cycle ends;
/// returns how many were done. \a n is at least 1.
template <int Width>
quint32 unpackPartialCycle(const quint32 *words, quint32 first, quint32 *items, quint32 n) noexcept
{
    quint32 *item = items;
    const quint32 *const end = items + n;
    switch (first) {
#define KYV_UNPACK_ITEM(INDEX)                                                                     \
    case INDEX:                                                                                    \
        *item++ = cycleItem<Width, INDEX>(words);                                                  \
        if (item == end)                                                                           \
            return n;                                                                              \
        [[fallthrough]];
        KYV_CYCLE_ITEMS(KYV_UNPACK_ITEM)
#undef KYV_UNPACK_ITEM
    default:
        return quint32(item - items);
    }
}

template <int Width, std::size_t... Index>
void unpackCycle(const quint32 *words, quint32 *items, std::index_sequence<Index...>) noexcept
{
    ((items[Index] = cycleItem<Width, Index>(words)), ...);
}

template <int Width>
void unpackKernel(const quint32 *words, quint32 start, quint32 *items, quint32 n) noexcept
{
    words += std::size_t(start / cycleLength) * Width;
    if (const quint32 first = start % cycleLength; first != 0) {
        const quint32 done = unpackPartialCycle<Width>(words, first, items, n);
        words += Width;
        items += done;
        n -= done;
    }
    for (; n >= cycleLength; n -= cycleLength) {
        unpackCycle<Width>(words, items, std::make_index_sequence<cycleLength>());
        words += Width;
        items += cycleLength;
    }
    if (n > 0)
        unpackPartialCycle<Width>(words, 0, items, n);
}

// ---- packing -------------------------------------------------------------------------------

/// Packs items into positions \a first, first + 1, ... of a cycle until \a n items are done or
/// the cycle ends; returns how many were done. \a n is at least 1.
///
/// The words' bits before the first item and after the last one survive.
template <int Width>
quint32 packPartialCycle(quint32 *words, quint32 first, const quint32 *items, quint32 n) noexcept
{
    const quint32 *item = items;
    const quint32 *const end = items + n;
    const quint32 startBit = first * Width;
    quint32 word = words[startBit / 32] & ((quint32(1) << startBit % 32) - 1);
    switch (first) {
#define KYV_PACK_ITEM(INDEX)                                                                       \
    case INDEX:                                                                                    \
        putCycleItem<Width, INDEX>(words, word, *item++);                                          \
        if (item == end)                                                                           \
            break;                                                                                 \
        [[fallthrough]];
        KYV_CYCLE_ITEMS(KYV_PACK_ITEM)
#undef KYV_PACK_ITEM
    default:
        break;
    }
    const quint32 done = quint32(item - items);
    const quint32 endBit = startBit + done * Width;
    if (endBit % 32 != 0) {
        const quint32 below = (quint32(1) << endBit % 32) - 1;
        quint32 &last = words[endBit / 32];
        last = (last & ~below) | word;
    }
    return done;
}

template <int Width, std::size_t... Index>
void packCycle(quint32 *words, const quint32 *items, std::index_sequence<Index...>) noexcept
{
    quint32 word = 0;
    (putCycleItem<Width, Index>(words, word, items[Index]), ...);
}

template <int Width>
void packKernel(quint32 *words, quint32 start, const quint32 *items, quint32 n) noexcept
{
    words += std::size_t(start / cycleLength) * Width;
    if (const quint32 first = start % cycleLength; first != 0) {
        const quint32 done = packPartialCycle<Width>(words, first, items, n);
        words += Width;
        items += done;
        n -= done;
    }
    for (; n >= cycleLength; n -= cycleLength) {
        packCycle<Width>(words, items, std::make_index_sequence<cycleLength>());
        words += Width;
        items += cycleLength;
    }
    if (n > 0)
        packPartialCycle<Width>(words, 0, items, n);
}

// ---- the two tables ------------------------------------------------------------------------

template <std::size_t... Index>
constexpr std::array<UnpackKernel, widestItem> unpackTable(std::index_sequence<Index...>)
{
    return {&unpackKernel<int(Index) + 1>...};
}

template <std::size_t... Index>
constexpr std::array<PackKernel, widestItem> packTable(std::index_sequence<Index...>)
{
    return {&packKernel<int(Index) + 1>...};
}

constexpr auto unpackKernels = unpackTable(std::make_index_sequence<widestItem>());
constexpr auto packKernels = packTable(std::make_index_sequence<widestItem>());

/// The fastest vector path that is allowed, or null.
UnpackCycles fastUnpackCycles(int width) noexcept
{
    Q_ASSERT(width >= 1 && width <= widestItem);
#ifdef KYV_HAS_AVX2
    if (cpuFeatures().avx2)
        return detail::unpackCyclesAvx2.ofWidth[width - 1];
#endif
    return nullptr;
}

PackCycles fastPackCycles(int width) noexcept
{
    Q_ASSERT(width >= 1 && width <= widestItem);
#ifdef KYV_HAS_AVX512
    if (const PackCycles kernel = detail::packCyclesAvx512.ofWidth[width - 1];
        kernel && cpuFeatures().avx512)
        return kernel;
#endif
#ifdef KYV_HAS_AVX2
    if (cpuFeatures().avx2)
        return detail::packCyclesAvx2.ofWidth[width - 1];
#endif
    return nullptr;
}

/// Items from \a start to the next cycle, or to the end of the run of \a n items.
quint32 itemsBeforeCycle(quint32 start, quint32 n) noexcept
{
    return std::min(n, (cycleLength - start % cycleLength) % cycleLength);
}

/// The words of the cycle that begins with item \a start.
template <typename Word>
Word *cycleWords(int width, Word *words, quint32 start) noexcept
{
    return words + std::size_t(start / cycleLength) * std::size_t(width);
}

} // namespace

UnpackKernel plainUnpackKernel(int width) noexcept
{
    Q_ASSERT(width >= 1 && width <= widestItem);
    return unpackKernels[std::size_t(width - 1)];
}

PackKernel plainPackKernel(int width) noexcept
{
    Q_ASSERT(width >= 1 && width <= widestItem);
    return packKernels[std::size_t(width - 1)];
}

void unpackRun(int width, const quint32 *words, const quint32 *readableEnd, quint32 start,
               quint32 *items, quint32 n) noexcept
{
    const UnpackKernel plain = plainUnpackKernel(width);
    const quint32 head = itemsBeforeCycle(start, n);
    const std::size_t cycles = (n - head) / cycleLength;
    const UnpackCycles vector = fastUnpackCycles(width);
    if (!vector || cycles == 0)
        return plain(words, start, items, n);

    if (head > 0)
        plain(words, start, items, head);
    vector(cycleWords(width, words, start + head), readableEnd, items + head, cycles);
    const quint32 done = head + quint32(cycles) * cycleLength;
    if (done < n)
        plain(words, start + done, items + done, n - done);
}

void packRun(int width, quint32 *words, quint32 start, const quint32 *items, quint32 n) noexcept
{
    const PackKernel plain = plainPackKernel(width);
    const quint32 head = itemsBeforeCycle(start, n);
    const std::size_t cycles = (n - head) / cycleLength;
    const PackCycles vector = fastPackCycles(width);
    if (!vector || cycles == 0)
        return plain(words, start, items, n);

    if (head > 0)
        plain(words, start, items, head);
    vector(cycleWords(width, words, start + head), nullptr, items + head, cycles);
    const quint32 done = head + quint32(cycles) * cycleLength;
    if (done < n)
        plain(words, start + done, items + done, n - done);
}

void packFresh(int width, quint32 *words, const quint32 *wordsEnd, const quint32 *items,
               quint32 n) noexcept
{
    const PackCycles vector = fastPackCycles(width);
    const std::size_t cycles = vector ? n / cycleLength : 0;
    if (cycles > 0)
        vector(words, wordsEnd, items, cycles);
    const quint32 done = quint32(cycles) * cycleLength;
    if (done == n)
        return;
    words[packedWordCount(quint32(width), n) - 1] = 0;
    plainPackKernel(width)(words, done, items + done, n - done);
}

} // namespace kyv::compressor::internal
