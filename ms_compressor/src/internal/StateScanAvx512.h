#pragma once

#include "internal/StateScan.h"

#include <immintrin.h>

#include <algorithm>
#include <bit>

namespace kyv::compressor::internal {

/// The operations of PortableScan, 64 states at a time. For sources compiled for AVX-512 F, BW,
/// DQ, VL and VBMI.
struct Avx512Scan
{
    Q_ALWAYS_INLINE static int find(const quint8 *symbols, int count, quint8 symbol) noexcept
    {
        if (count <= 32) { // a shorter load seldom straddles two lines
            const quint32 equal =
                _mm256_cmpeq_epi8_mask(load32(symbols), _mm256_set1_epi8(char(symbol)));
            const int place = int(_tzcnt_u32(equal));
            return place < count ? place : count;
        }
        const __m512i wanted = _mm512_set1_epi8(char(symbol));
        for (int i = 0; i < count; i += 64) {
            const quint64 equal = _mm512_cmpeq_epi8_mask(load(symbols + i), wanted);
            if (equal != 0) {
                const int place = i + int(_tzcnt_u64(equal));
                return place < count ? place : count;
            }
        }
        return count;
    }

    Q_ALWAYS_INLINE static quint32 sum(const quint8 *freqs, int count) noexcept
    {
        if (count <= 16) {
            const __m128i two = _mm_sad_epu8(
                _mm_maskz_loadu_epi8(__mmask16(_bzhi_u32(0xFFFF, quint32(count))), freqs),
                _mm_setzero_si128());
            return quint32(_mm_cvtsi128_si32(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two))));
        }
        __m512i sums = groupSums(firstOf(freqs, count));
        for (int i = 64; i < count; i += 64)
            sums = _mm512_add_epi64(sums, groupSums(firstOf(freqs + i, count - i)));
        return total(sums);
    }

    Q_ALWAYS_INLINE static ScanHit locate(const quint8 *freqs, int count, quint32 target) noexcept
    {
        if (count <= 32) [[likely]]
            return locate32(freqs, count, target);
        return locate256(freqs, count, target);
    }

    static Halved halve(const quint8 *symbols, quint8 *freqs, int count, quint32 adder) noexcept
    {
        const __m512i roundDown = _mm512_set1_epi8(char(1 - adder));
        __m512i oldSums = _mm512_setzero_si512();
        __m512i newSums = _mm512_setzero_si512();
        Halved result{0, 0, false, count};
        for (int i = 0; i < count; i += 64) {
            const __mmask64 here = firstMask(count - i);
            const __m512i old = _mm512_maskz_loadu_epi8(here, freqs + i);
            // The average with 0 rounds up; one less, where there is one, makes it round down.
            const __m512i halved =
                _mm512_avg_epu8(_mm512_subs_epu8(old, roundDown), _mm512_setzero_si512());
            oldSums = _mm512_add_epi64(oldSums, groupSums(old));
            newSums = _mm512_add_epi64(newSums, groupSums(halved));

            // The first state sets no flag and has no predecessor.
            const __mmask64 others = i == 0 ? here & ~quint64(1) : here;
            const __mmask64 high = _mm512_mask_cmpge_epu8_mask(
                others, load(symbols + i), _mm512_set1_epi8(char(ppmd::highSymbol)));
            result.hasHigh |= _mm512_mask_test_epi8_mask(high, halved, halved) != 0;
            const quint64 unsorted = _mm512_mask_cmpgt_epu8_mask(others, old, load(freqs + i - 1));
            if (unsorted != 0 && result.firstUnsorted == count)
                result.firstUnsorted = i + int(_tzcnt_u64(unsorted));
            // The predecessor of the next 64 is halved then, which can only report too early.
            _mm512_mask_storeu_epi8(freqs + i, here, halved);
        }
        result.oldSum = total(oldSums);
        result.newSum = total(newSums);
        return result;
    }

    static quint32 mask(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                        const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        return ruledOutCount <= 12
                   ? maskFew(ruledOut, ruledOutCount, symbols, freqs, count, masked)
                   : maskMany(ruledOut, ruledOutCount, symbols, freqs, count, masked);
    }

private:
    Q_ALWAYS_INLINE static __m512i load(const quint8 *p) noexcept { return _mm512_loadu_si512(p); }
    Q_ALWAYS_INLINE static __m256i load32(const quint8 *p) noexcept
    {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    }
    Q_ALWAYS_INLINE static __m512i firstOf(const quint8 *p, int count) noexcept
    {
        return _mm512_maskz_loadu_epi8(firstMask(count), p);
    }
    Q_ALWAYS_INLINE static __mmask64 firstMask(int count) noexcept
    {
        return _bzhi_u64(~quint64(0), quint32(count < 64 ? count : 64));
    }
    Q_ALWAYS_INLINE static __m512i groupSums(__m512i v) noexcept
    {
        return _mm512_sad_epu8(v, _mm512_setzero_si512());
    }

    Q_ALWAYS_INLINE static quint32 total(__m512i sums) noexcept
    {
        const __m256i four =
            _mm256_add_epi64(_mm512_castsi512_si256(sums), _mm512_extracti64x4_epi64(sums, 1));
        return total(four);
    }
    Q_ALWAYS_INLINE static quint32 total(__m256i four) noexcept
    {
        const __m128i two =
            _mm_add_epi64(_mm256_castsi256_si128(four), _mm256_extracti128_si256(four, 1));
        return quint32(_mm_cvtsi128_si32(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two))));
    }
    /// locate() among up to 32 states, by running sums of 16 bits.
    ///
    /// None of the sums depends on the target, so they are ready when a division brings it.
    Q_ALWAYS_INLINE static ScanHit locate32(const quint8 *freqs, int count, quint32 target) noexcept
    {
        const __m256i bytes = _mm256_maskz_loadu_epi8(_bzhi_u32(~0u, quint32(count)), freqs);
        const __m512i own = _mm512_cvtepu8_epi16(bytes);
        __m512i upTo = _mm512_add_epi16(own, _mm512_bslli_epi128(own, 2));
        upTo = _mm512_add_epi16(upTo, _mm512_bslli_epi128(upTo, 4));
        upTo = _mm512_add_epi16(upTo, _mm512_bslli_epi128(upTo, 8));

        // Each group of eight also needs the sum of the groups before it.
        const __m256i groups = _mm256_sad_epu8(bytes, _mm256_setzero_si256());
        const __m256i one = _mm256_maskz_permutex_epi64(0b1110, groups, 0b10010000);
        const __m256i two = _mm256_maskz_permutex_epi64(0b1100, groups, 0b01000000);
        const __m256i three = _mm256_maskz_permutex_epi64(0b1000, groups, 0b00000000);
        const __m256i before = _mm256_add_epi64(_mm256_add_epi64(one, two), three);
        const __m512i spread =
            _mm512_set_epi64(0x000C000C000C000C, 0x000C000C000C000C, 0x0008000800080008,
                             0x0008000800080008, 0x0004000400040004, 0x0004000400040004, 0, 0);
        upTo = _mm512_add_epi16(upTo,
                                _mm512_permutexvar_epi16(spread, _mm512_castsi256_si512(before)));

        alignas(64) quint16 below[64];
        below[0] = 0;
        _mm512_storeu_si512(below + 1, upTo);
        const quint32 wanted = target < 0xFFFF ? target : 0xFFFF;
        const quint64 above =
            _mm512_cmpgt_epu16_mask(upTo, _mm512_set1_epi16(short(quint16(wanted))));
        const int index = int(_tzcnt_u64(above | quint64(1) << count));
        return {index, below[index]};
    }

    /// locate() among up to 256 states: first among groups of eight, then in the group.
    ///
    /// Sums of whole groups don't depend on the target either. The 32 of them, 16 bits each, lie
    /// where a group's sum is formed: lane g of 64 bits holds groups g, 8 + g, 16 + g and 24 + g.
    Q_ALWAYS_INLINE static ScanHit locate256(const quint8 *freqs, int count,
                                             quint32 target) noexcept
    {
        const __m512i zero = _mm512_setzero_si512();
        __m512i own = groupSums(firstOf(freqs, count));
        for (int i = 1; i < 4; ++i) {
            const __m512i sums = groupSums(firstOf(freqs + 64 * i, std::max(count - 64 * i, 0)));
            own = _mm512_or_si512(own, _mm512_slli_epi64(sums, quint32(16 * i)));
        }
        __m512i upTo = _mm512_add_epi64(own, _mm512_alignr_epi64(own, zero, 7));
        upTo = _mm512_add_epi64(upTo, _mm512_alignr_epi64(upTo, zero, 6));
        upTo = _mm512_add_epi64(upTo, _mm512_alignr_epi64(upTo, zero, 4));
        // The sum of 64 states counts for all states behind these.
        const __m512i last = _mm512_permutexvar_epi64(_mm512_set1_epi64(7), upTo);
        for (quint32 bits = 16; bits < 64; bits += 16)
            upTo = _mm512_add_epi64(upTo, _mm512_slli_epi64(last, bits));
        alignas(64) quint16 groupBelow[32];
        _mm512_store_si512(groupBelow, _mm512_sub_epi64(upTo, own));

        const quint32 wanted = target < 0xFFFF ? target : 0xFFFF;
        const __mmask32 isBehind =
            _mm512_cmple_epu16_mask(upTo, _mm512_set1_epi16(short(quint16(wanted))));
        const int group = std::popcount(isBehind);
        if (group == 32)
            return {count, sum(freqs, count)};
        const quint32 below = groupBelow[4 * (group % 8) + group / 8];

        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(freqs + 8 * group));
        const __m128i ownFreqs = _mm_cvtepu8_epi16(bytes);
        __m128i sums = _mm_add_epi16(ownFreqs, _mm_slli_si128(ownFreqs, 2));
        sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 4));
        sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 8));
        alignas(16) quint16 inGroup[8];
        _mm_store_si128(reinterpret_cast<__m128i *>(inGroup), _mm_sub_epi16(sums, ownFreqs));
        const quint32 above =
            _mm_cmpgt_epu16_mask(sums, _mm_set1_epi16(short(quint16(target - below))));
        const auto place = _tzcnt_u32(above); // there is one, for the group holds the target
        return {8 * group + int(place), below + inGroup[place]};
    }

    Q_ALWAYS_INLINE static quint32 maskFew(const quint8 *ruledOut, int ruledOutCount,
                                           const quint8 *symbols, const quint8 *freqs, int count,
                                           MaskedFreqs &masked) noexcept
    {
        return count <= 64 ? maskBy<1>(ruledOut, ruledOutCount, symbols, freqs, count, masked)
                           : maskBy<4>(ruledOut, ruledOutCount, symbols, freqs, count, masked);
    }

    /// Compares each ruled out symbol, one at least, with \a Blocks times 64 states.
    template <int Blocks>
    Q_ALWAYS_INLINE static quint32 maskBy(const quint8 *ruledOut, int ruledOutCount,
                                          const quint8 *symbols, const quint8 *freqs, int count,
                                          MaskedFreqs &masked) noexcept
    {
        __m512i here[size_t(Blocks)];
        __mmask64 allowed[size_t(Blocks)];
        for (int b = 0; b < Blocks; ++b) {
            allowed[b] = firstMask(std::max(count - 64 * b, 0));
            here[b] = _mm512_maskz_loadu_epi8(allowed[b], symbols + 64 * b);
        }
        int i = 0;
        do {
            const __m512i out = _mm512_set1_epi8(char(ruledOut[i]));
            for (int b = 0; b < Blocks; ++b)
                allowed[b] = _mm512_mask_cmpneq_epi8_mask(allowed[b], here[b], out);
        } while (++i < ruledOutCount);

        __m512i sums = _mm512_setzero_si512();
        for (int b = 0; b < Blocks; ++b) {
            const __m512i left = _mm512_maskz_loadu_epi8(allowed[b], freqs + 64 * b);
            _mm512_store_si512(masked.freqs + 64 * b, left);
            sums = _mm512_add_epi64(sums, groupSums(left));
        }
        return total(sums);
    }

    /// A table of 256 bytes, looked up for 64 symbols at once.
    static quint32 maskMany(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                            const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        alignas(64) quint8 isRuledOut[256] = {};
        for (int i = 0; i < ruledOutCount; ++i)
            isRuledOut[ruledOut[i]] = 255;
        const __m512i part0 = load(isRuledOut);
        const __m512i part1 = load(isRuledOut + 64);
        const __m512i part2 = load(isRuledOut + 128);
        const __m512i part3 = load(isRuledOut + 192);

        __m512i sums = _mm512_setzero_si512();
        for (int i = 0; i < count; i += 64) {
            const __m512i here = load(symbols + i);
            const __m512i low = _mm512_permutex2var_epi8(part0, here, part1);
            const __m512i high = _mm512_permutex2var_epi8(part2, here, part3);
            const __m512i out = _mm512_mask_blend_epi8(_mm512_movepi8_mask(here), low, high);
            const __m512i left = _mm512_andnot_si512(out, firstOf(freqs + i, count - i));
            _mm512_store_si512(masked.freqs + i, left);
            sums = _mm512_add_epi64(sums, groupSums(left));
        }
        return total(sums);
    }
};

} // namespace kyv::compressor::internal
