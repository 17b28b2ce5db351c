// Packing whole cycles of the packed bit array with AVX-512 (F, BW, VL and VBMI), sixteen items a
// step: widths 17 to 27, where AVX2 needs two stores for eight items. Elsewhere AVX2 is as fast,
// and in lists of short blocks faster; so it is for all unpacking, since stores of 64 bytes seldom
// lie within a cache line.
//
// Sixteen items of width W fill exactly 2 W bytes, so a cycle is two groups that begin on bytes.
// Neighbours are joined: items to pairs, pairs to quarters of a group, and a byte permute lays the
// quarters end to end. Masked stores touch the group's own bytes and no other, so nothing here
// depends on what surrounds a run.
//
// The words are little-endian in memory, as on every processor with these instructions. This file
// alone is compiled for AVX-512, and includes nothing whose inline functions another file could
// end up sharing.

#include "PackedBitKernels.h"

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)                         \
    && defined(__AVX512VBMI__)

#include <immintrin.h>
#include <utility>

namespace kyv::compressor::internal {

namespace {

constexpr int groupLength = 16;

struct alignas(64) Bytes
{
    quint8 byte[64];
};
struct alignas(64) Quads
{
    quint64 quad[8];
};

template <typename Table>
__m512i vectorOf(const Table &table) noexcept
{
    return _mm512_load_si512(&table);
}

/// The bytes of a group.
template <int W>
inline constexpr __mmask64 groupBytes = ~__mmask64(0) >> (64 - 2 * W);

/// Four items of an odd width end inside a byte. So the second and the fourth quarter of a group
/// (\a quarter counts from 0) are moved up to where the quarter before them ends.
template <int W>
constexpr int quarterBit(int quarter) noexcept
{
    return quarter % 2 * (4 * W % 8);
}

template <int W>
constexpr Quads firstPairShifts() noexcept
{
    Quads shifts = {};
    for (int k = 0; k < 8; ++k)
        shifts.quad[k] = quint64(k % 2 == 0 ? quarterBit<W>(k / 2) : 64);
    return shifts;
}

template <int W>
constexpr Quads secondPairShifts() noexcept
{
    Quads shifts = {};
    for (int k = 0; k < 8; ++k)
        shifts.quad[k] = quint64(2 * W + quarterBit<W>(k / 2)) % 64;
    return shifts;
}

/// Where a 64-bit lane takes the second pair, turned left: from the end of the first pair on in
/// the lower lane, everything in the upper lane.
template <int W>
constexpr Quads secondPairBits() noexcept
{
    Quads bits = {};
    for (int k = 0; k < 8; ++k)
        bits.quad[k] = ~quint64(0) << (k % 2 == 0 ? 2 * W + quarterBit<W>(k / 2) : 0);
    return bits;
}

/// For each byte of the packed group the byte of the quarters that it comes from: \a Odd 0 takes
/// it from the first and third quarter where these reach, \a Odd 1 from the second and fourth.
template <int W, int Odd>
constexpr Bytes quarterBytes() noexcept
{
    Bytes bytes = {};
    for (int k = 0; k < 2 * W; ++k) {
        int quarter = 8 * k / (4 * W); // of the byte's lowest bit
        if (quarter % 2 != Odd && (8 * k + 7) / (4 * W) % 2 == Odd && quarter < 3)
            ++quarter;
        const int firstByte = 4 * W * quarter / 8;
        bytes.byte[k] = quint8(16 * quarter + k - firstByte);
    }
    return bytes;
}

/// The bits of the packed group that lie in its second and fourth quarter.
template <int W>
constexpr Bytes oddQuarterBits() noexcept
{
    Bytes bits = {};
    for (int bit = 0; bit < 16 * W; ++bit) {
        if (bit / (4 * W) % 2 == 1)
            bits.byte[bit / 8] = quint8(bits.byte[bit / 8] | 1 << bit % 8);
    }
    return bits;
}

/// The second operand where the first one is set, else the third.
constexpr int select = 0xCA;

template <int W>
__m512i packedGroup(__m512i items) noexcept
{
    const __m512i mask = _mm512_set1_epi64(qint64(detail::lowMask<W>));
    const __m512i pairs =
        _mm512_ternarylogic_epi64(mask, items, _mm512_srli_epi64(items, 32 - W), select);

    static constexpr Quads secondTurn = secondPairShifts<W>();
    static constexpr Quads secondBits = secondPairBits<W>();
    const __m512i second =
        _mm512_rolv_epi64(_mm512_unpackhi_epi64(pairs, pairs), vectorOf(secondTurn));
    __m512i first = pairs;
    if constexpr (W % 2 != 0) {
        static constexpr Quads firstUp = firstPairShifts<W>();
        first = _mm512_sllv_epi64(pairs, vectorOf(firstUp));
    }
    const __m512i quarters = _mm512_ternarylogic_epi64(vectorOf(secondBits), second, first, select);

    static constexpr Bytes even = quarterBytes<W, 0>();
    const __m512i packed = _mm512_permutexvar_epi8(vectorOf(even), quarters);
    if constexpr (W % 2 == 0) {
        return packed;
    } else {
        static constexpr Bytes odd = quarterBytes<W, 1>();
        static constexpr Bytes oddBits = oddQuarterBits<W>();
        return _mm512_ternarylogic_epi64(
            vectorOf(oddBits), _mm512_permutexvar_epi8(vectorOf(odd), quarters), packed, select);
    }
}

template <int W>
void packGroup(quint8 *bytes, const quint32 *items) noexcept
{
    _mm512_mask_storeu_epi8(bytes, groupBytes<W>, packedGroup<W>(_mm512_loadu_si512(items)));
}

template <int W>
void packCycles(quint32 *words, const quint32 *, const quint32 *items, std::size_t cycles) noexcept
{
    auto *bytes = reinterpret_cast<quint8 *>(words);
    for (; cycles > 0; --cycles) {
        packGroup<W>(bytes, items);
        packGroup<W>(bytes + 2 * W, items + groupLength);
        bytes += 4 * W;
        items += cycleLength;
    }
}

/// The kernel of width \p W, or null where AVX2 is as fast or faster.
template <int W>
constexpr PackCycles kernel() noexcept
{
    if constexpr (W >= 17 && W <= 27)
        return &packCycles<W>;
    else
        return nullptr;
}

template <std::size_t... Index>
constexpr PackCyclesTable table(std::index_sequence<Index...>) noexcept
{
    return {{kernel<int(Index) + 1>()...}};
}

} // namespace

namespace detail {
constexpr PackCyclesTable packCyclesAvx512 = table(std::make_index_sequence<widestItem>());
}

} // namespace kyv::compressor::internal

#endif
