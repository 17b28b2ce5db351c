// Whole cycles of the packed bit array with AVX2, eight items a step.
//
// Eight items of width W fill exactly W bytes, so a cycle is four groups that begin on bytes.
// Unpacking spreads a group's bytes over eight lanes, four bytes and more to each, and shifts every
// lane to its item. Packing joins neighbours: lanes to pairs, pairs to fours in each half of the
// vector, and the two halves, which meet inside a byte where W is odd.
//
// A group is loaded and stored as whole vectors, beyond its own bytes: where that would leave the
// words that may be touched, a cycle goes through a copy. The words are little-endian in memory, as
// on every processor with these instructions. This file alone is compiled for AVX2, and includes
// nothing whose inline functions another file could end up sharing.

#include "PackedBitKernels.h"

#ifdef __AVX2__

#include <cstring>
#include <immintrin.h>
#include <utility>

namespace kyv::compressor::internal {

namespace {

constexpr int groupLength = 8;
constexpr int groupCount = int(cycleLength) / groupLength;

/// Words past a cycle that loading or storing its groups may touch.
constexpr int slackWords = 8;

template <int W>
inline constexpr std::size_t cycleBytes = std::size_t(W) * sizeof(quint32);

struct alignas(32) Bytes
{
    quint8 byte[32];
};
struct alignas(32) Lanes
{
    quint32 lane[8];
};
struct alignas(32) Quads
{
    quint64 quad[4];
};

template <typename Table>
__m256i vectorOf(const Table &table) noexcept
{
    return _mm256_load_si256(reinterpret_cast<const __m256i *>(&table));
}

__m128i load16(const quint8 *bytes) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

__m256i load32(const void *bytes) noexcept
{
    return _mm256_loadu_si256(static_cast<const __m256i *>(bytes));
}

void store16(quint8 *bytes, __m128i vector) noexcept
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(bytes), vector);
}

void store32(void *bytes, __m256i vector) noexcept
{
    _mm256_storeu_si256(static_cast<__m256i *>(bytes), vector);
}

// ---- unpacking -----------------------------------------------------------------------------

/// Widths whose items lie within four bytes, wherever in a byte they begin.
template <int W>
inline constexpr bool fitsFourBytes = W <= 25;

/// The upper half of a group, its items 4 to 7, begins in this byte, at this bit of it.
template <int W>
inline constexpr int upperByte = 4 * W / 8;
template <int W>
inline constexpr int upperBit = 4 * W % 8;

/// For each lane the four bytes that hold its item, counted from the first byte of its half.
template <int W>
constexpr Bytes itemBytes() noexcept
{
    Bytes bytes = {};
    for (int i = 0; i < groupLength; ++i) {
        const int bit = i % 4 * W + (i < 4 ? 0 : upperBit<W>);
        for (int k = 0; k < 4; ++k)
            bytes.byte[4 * i + k] = quint8(bit / 8 + k);
    }
    return bytes;
}

/// For each lane the place of its item in those bytes.
template <int W>
constexpr Lanes itemShifts() noexcept
{
    Lanes shifts = {};
    for (int i = 0; i < groupLength; ++i)
        shifts.lane[i] = quint32((i % 4 * W + (i < 4 ? 0 : upperBit<W>)) % 8);
    return shifts;
}

template <int W>
__m256i unpackGroupByBytes(const quint8 *bytes) noexcept
{
    static constexpr Bytes spread = itemBytes<W>();
    static constexpr Lanes shifts = itemShifts<W>();
    const __m256i halves = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(bytes)),
                                                   load16(bytes + upperByte<W>), 1);
    const __m256i items =
        _mm256_srlv_epi32(_mm256_shuffle_epi8(halves, vectorOf(spread)), vectorOf(shifts));
    return _mm256_and_si256(items, _mm256_set1_epi32(int(detail::lowMask<W>)));
}

/// For each lane the word that its item begins in, and (\a Next 1) the one after it.
template <int W, int Next>
constexpr Lanes itemWords() noexcept
{
    Lanes words = {};
    for (int i = 0; i < groupLength; ++i)
        words.lane[i] = quint32(i * W / 32 + Next) % groupLength;
    return words;
}

template <int W>
constexpr Lanes lowShifts() noexcept
{
    Lanes shifts = {};
    for (int i = 0; i < groupLength; ++i)
        shifts.lane[i] = quint32(i * W % 32);
    return shifts;
}

/// An item's rest moves up by what its first word held; by 32, which clears the lane, if that
/// was a whole word.
template <int W>
constexpr Lanes highShifts() noexcept
{
    Lanes shifts = {};
    for (int i = 0; i < groupLength; ++i)
        shifts.lane[i] = quint32(32 - i * W % 32);
    return shifts;
}

template <int W>
__m256i unpackGroupByWords(const quint8 *bytes) noexcept
{
    static constexpr Lanes first = itemWords<W, 0>();
    static constexpr Lanes next = itemWords<W, 1>();
    static constexpr Lanes down = lowShifts<W>();
    static constexpr Lanes up = highShifts<W>();
    const __m256i words = load32(bytes);
    const __m256i low =
        _mm256_srlv_epi32(_mm256_permutevar8x32_epi32(words, vectorOf(first)), vectorOf(down));
    const __m256i high =
        _mm256_sllv_epi32(_mm256_permutevar8x32_epi32(words, vectorOf(next)), vectorOf(up));
    return _mm256_and_si256(_mm256_or_si256(low, high), _mm256_set1_epi32(int(detail::lowMask<W>)));
}

template <int W>
void unpackCycle(const quint32 *words, quint32 *items) noexcept
{
    const auto *bytes = reinterpret_cast<const quint8 *>(words);
    for (int group = 0; group < groupCount; ++group) {
        if constexpr (W == 32)
            store32(items, load32(bytes));
        else if constexpr (fitsFourBytes<W>)
            store32(items, unpackGroupByBytes<W>(bytes));
        else
            store32(items, unpackGroupByWords<W>(bytes));
        bytes += W;
        items += groupLength;
    }
}

template <int W>
void unpackCycles(const quint32 *words, const quint32 *readableEnd, quint32 *items,
                  std::size_t cycles) noexcept
{
    for (; cycles > 0 && readableEnd - words >= W + slackWords; --cycles) {
        unpackCycle<W>(words, items);
        words += W;
        items += cycleLength;
    }
    for (; cycles > 0; --cycles) {
        quint32 copy[std::size_t(W + slackWords)] = {};
        std::memcpy(copy, words, cycleBytes<W>);
        unpackCycle<W>(copy, items);
        words += W;
        items += cycleLength;
    }
}

// ---- packing -------------------------------------------------------------------------------

/// Widths at which word j of a group holds the rest of item j and the start of item j + 1 alone.
template <int W>
inline constexpr bool packsByWords = W >= 28;

template <int W>
constexpr Lanes restShifts() noexcept
{
    Lanes shifts = {};
    for (int j = 0; j < groupLength; ++j)
        shifts.lane[j] = quint32(j * (32 - W));
    return shifts;
}

/// The last word has no item after its own: 32 clears the lane.
template <int W>
constexpr Lanes startShifts() noexcept
{
    Lanes shifts = {};
    for (int j = 0; j < groupLength; ++j)
        shifts.lane[j] = quint32(j + 1 < groupLength ? W - j * (32 - W) : 32);
    return shifts;
}

template <int W>
void packGroupByWords(quint8 *bytes, __m256i items) noexcept
{
    static constexpr Lanes down = restShifts<W>();
    static constexpr Lanes up = startShifts<W>();
    const __m256i following =
        _mm256_permutevar8x32_epi32(items, _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 0));
    store32(bytes, _mm256_or_si256(_mm256_srlv_epi32(items, vectorOf(down)),
                                   _mm256_sllv_epi32(following, vectorOf(up))));
}

/// Moves both pairs of a half into place: the first up by \a Base bits (0, or 4 in an upper half
/// that begins inside a byte), the second after it, over the two 64-bit lanes of the half.
template <int W>
constexpr Quads firstPairShifts() noexcept
{
    return {{0, 64, upperBit<W>, 64}};
}
template <int W>
constexpr Quads secondPairUp() noexcept
{
    return {{2 * W, 64, 2 * W + upperBit<W>, 64}};
}
template <int W>
constexpr Quads secondPairDown() noexcept
{
    return {{64, 64 - 2 * W, 64, 64 - 2 * W - upperBit<W>}};
}

/// Bytes of the upper half moved up by \a Up places of a vector that begins \a From bytes on.
template <int W>
constexpr Bytes upperHalfBytes() noexcept
{
    Bytes bytes = {};
    for (int k = 0; k < 32; ++k) {
        const int source = k - upperByte<W>;
        bytes.byte[k] = quint8(source >= 0 && source < 16 ? source : 0x80); // 0x80 gives a zero
    }
    return bytes;
}

template <int W>
void packGroupByPairs(quint8 *bytes, __m256i items) noexcept
{
    constexpr qint64 itemMask = qint64(detail::lowMask<W>);
    const __m256i mask = _mm256_set1_epi64x(itemMask);
    const __m256i pairs = _mm256_or_si256(
        _mm256_and_si256(items, mask), _mm256_andnot_si256(mask, _mm256_srli_epi64(items, 32 - W)));

    static constexpr Quads firstUp = firstPairShifts<W>();
    static constexpr Quads secondUp = secondPairUp<W>();
    const __m256i second = _mm256_unpackhi_epi64(pairs, pairs);
    __m256i fours = _mm256_or_si256(_mm256_sllv_epi64(pairs, vectorOf(firstUp)),
                                    _mm256_sllv_epi64(second, vectorOf(secondUp)));
    if constexpr (4 * W + upperBit < W >> 64) {
        static constexpr Quads secondDown = secondPairDown<W>();
        fours = _mm256_or_si256(fours, _mm256_srlv_epi64(second, vectorOf(secondDown)));
    }

    static constexpr Bytes upperPlaces = upperHalfBytes<W>();
    const auto *const places = reinterpret_cast<const __m128i *>(&upperPlaces);
    const __m128i upper = _mm256_extracti128_si256(fours, 1);
    store16(bytes, _mm_or_si128(_mm256_castsi256_si128(fours),
                                _mm_shuffle_epi8(upper, _mm_load_si128(places))));
    if constexpr (W > 16)
        store16(bytes + 16, _mm_shuffle_epi8(upper, _mm_load_si128(places + 1)));
}

void packGroupOfHalfWords(quint8 *bytes, __m256i items) noexcept
{
    store16(bytes,
            _mm_packus_epi32(_mm256_castsi256_si128(items), _mm256_extracti128_si256(items, 1)));
}

template <int W>
void packCycle(quint32 *words, const quint32 *items) noexcept
{
    auto *bytes = reinterpret_cast<quint8 *>(words);
    for (int group = 0; group < groupCount; ++group) {
        const __m256i groupItems = load32(items);
        if constexpr (W == 32)
            store32(bytes, groupItems);
        else if constexpr (packsByWords<W>)
            packGroupByWords<W>(bytes, groupItems);
        else if constexpr (W == 16)
            packGroupOfHalfWords(bytes, groupItems);
        else
            packGroupByPairs<W>(bytes, groupItems);
        bytes += W;
        items += groupLength;
    }
}

/// Only the last cycle can leave the words that may be touched: the others spill into words that
/// the next cycle writes.
template <int W>
void packCycles(quint32 *words, const quint32 *scratchEnd, const quint32 *items,
                std::size_t cycles) noexcept
{
    const quint32 *const end = scratchEnd ? scratchEnd : words + cycles * std::size_t(W);
    for (; cycles > 0 && end - words >= W + slackWords; --cycles) {
        packCycle<W>(words, items);
        words += W;
        items += cycleLength;
    }
    for (; cycles > 0; --cycles) {
        quint32 copy[std::size_t(W + slackWords)];
        packCycle<W>(copy, items);
        std::memcpy(words, copy, cycleBytes<W>);
        words += W;
        items += cycleLength;
    }
}

template <std::size_t... Index>
constexpr UnpackCyclesTable unpackTable(std::index_sequence<Index...>) noexcept
{
    return {{&unpackCycles<int(Index) + 1>...}};
}

template <std::size_t... Index>
constexpr PackCyclesTable packTable(std::index_sequence<Index...>) noexcept
{
    return {{&packCycles<int(Index) + 1>...}};
}

} // namespace

namespace detail {
constexpr UnpackCyclesTable unpackCyclesAvx2 = unpackTable(std::make_index_sequence<widestItem>());
constexpr PackCyclesTable packCyclesAvx2 = packTable(std::make_index_sequence<widestItem>());
} // namespace detail

} // namespace kyv::compressor::internal

#endif // __AVX2__
