#pragma once

#include "internal/StateScan.h"

#include <immintrin.h>

namespace kyv::compressor::internal {

/// The operations of PortableScan, 64 states at a time. For sources compiled for AVX-512 F, BW,
/// DQ, VL and VBMI.
struct Avx512Scan
{
    Q_ALWAYS_INLINE static int find(const quint8 *symbols, int count, quint8 symbol) noexcept
    {
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
        __m512i sums = _mm512_setzero_si512();
        for (int i = 0; i < count; i += 64)
            sums = _mm512_add_epi64(sums, groupSums(firstOf(freqs + i, count - i)));
        return quint32(_mm512_reduce_add_epi64(sums));
    }

    Q_ALWAYS_INLINE static ScanHit locate(const quint8 *freqs, int count, quint32 target) noexcept
    {
        if (count <= 16)
            return locate16(freqs, count, target);
        quint32 below = 0;
        int i = 0;
        while (i + 64 < count) {
            const auto block = quint32(_mm512_reduce_add_epi64(groupSums(load(freqs + i))));
            if (target < below + block)
                break;
            below += block;
            i += 64;
        }
        const ScanHit hit = locate64(freqs + i, count - i, target - below);
        return {i + hit.index, below + hit.below};
    }

    static quint32 mask(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                        const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        return ruledOutCount <= 4
                   ? maskFew(ruledOut, ruledOutCount, symbols, freqs, count, masked)
                   : maskMany(ruledOut, ruledOutCount, symbols, freqs, count, masked);
    }

private:
    Q_ALWAYS_INLINE static __m512i load(const quint8 *p) noexcept { return _mm512_loadu_si512(p); }
    Q_ALWAYS_INLINE static __m512i firstOf(const quint8 *p, int count) noexcept
    {
        return _mm512_maskz_loadu_epi8(_bzhi_u64(~quint64(0), quint32(count < 64 ? count : 64)), p);
    }
    Q_ALWAYS_INLINE static __m512i groupSums(__m512i v) noexcept
    {
        return _mm512_sad_epu8(v, _mm512_setzero_si512());
    }

    /// locate() among up to 16 states, by sums of 16 bits that run through both halves.
    Q_ALWAYS_INLINE static ScanHit locate16(const quint8 *freqs, int count, quint32 target) noexcept
    {
        const __m256i own = _mm256_cvtepu8_epi16(
            _mm_maskz_loadu_epi8(__mmask16(_bzhi_u32(0xFFFF, quint32(count))), freqs));
        __m256i upTo = _mm256_add_epi16(own, _mm256_slli_si256(own, 2));
        upTo = _mm256_add_epi16(upTo, _mm256_slli_si256(upTo, 4));
        upTo = _mm256_add_epi16(upTo, _mm256_slli_si256(upTo, 8));
        upTo = _mm256_add_epi16(upTo,
                                _mm256_maskz_permutexvar_epi16(0xFF00, _mm256_set1_epi16(7), upTo));
        const quint32 wanted = target < 0xFFFF ? target : 0xFFFF;
        const quint32 above =
            _mm256_cmpgt_epu16_mask(upTo, _mm256_set1_epi16(short(quint16(wanted))));
        alignas(64) quint16 before[32];
        _mm256_store_si256(reinterpret_cast<__m256i *>(before + 1), upTo);
        before[0] = 0;
        const int index = int(_tzcnt_u32(above | (1u << count)));
        return {index, before[index]};
    }

    /// locate() among up to 64 states: running sums within groups of 8, and of the groups.
    Q_ALWAYS_INLINE static ScanHit locate64(const quint8 *freqs, int count, quint32 target) noexcept
    {
        const __m512i own = firstOf(freqs, count);
        const __m512i groups = groupSums(own);
        const __m512i zero = _mm512_setzero_si512();
        __m512i upTo = _mm512_add_epi64(groups, _mm512_alignr_epi64(groups, zero, 7));
        upTo = _mm512_add_epi64(upTo, _mm512_alignr_epi64(upTo, zero, 6));
        upTo = _mm512_add_epi64(upTo, _mm512_alignr_epi64(upTo, zero, 4));
        const __m512i before = _mm512_sub_epi64(upTo, groups);

        const __m512i wanted = _mm512_set1_epi64(qint64(target));
        const quint32 above = _mm512_cmpgt_epu64_mask(upTo, wanted);
        if (above == 0)
            return {count, quint32(_mm_cvtsi128_si64(
                               _mm512_castsi512_si128(_mm512_alignr_epi64(upTo, upTo, 7))))};
        alignas(64) quint64 groupBefore[8];
        _mm512_store_si512(groupBefore, before);
        const int group = int(_tzcnt_u32(above));
        const auto below = quint32(groupBefore[group]);

        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(freqs + 8 * group));
        const __m128i words = _mm_cvtepu8_epi16(bytes);
        __m128i sums = _mm_add_epi16(words, _mm_slli_si128(words, 2));
        sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 4));
        sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 8));
        const quint32 aboveInGroup =
            _mm_cmpgt_epu16_mask(sums, _mm_set1_epi16(short(quint16(target - below))));
        alignas(16) quint16 inGroup[8];
        _mm_store_si128(reinterpret_cast<__m128i *>(inGroup), _mm_sub_epi16(sums, words));
        const int place = int(_tzcnt_u32(aboveInGroup)) & 7;
        return {8 * group + place, below + inGroup[place]};
    }

    Q_ALWAYS_INLINE static quint32 maskFew(const quint8 *ruledOut, int ruledOutCount,
                                           const quint8 *symbols, const quint8 *freqs, int count,
                                           MaskedFreqs &masked) noexcept
    {
        __m512i sums = _mm512_setzero_si512();
        for (int i = 0; i < count; i += 64) {
            const __m512i here = load(symbols + i);
            __mmask64 allowed = _bzhi_u64(~quint64(0), quint32(count - i < 64 ? count - i : 64));
            for (int j = 0; j < ruledOutCount; ++j)
                allowed = _mm512_mask_cmpneq_epi8_mask(allowed, here,
                                                       _mm512_set1_epi8(char(ruledOut[j])));
            const __m512i left = _mm512_maskz_loadu_epi8(allowed, freqs + i);
            _mm512_store_si512(masked.freqs + i, left);
            sums = _mm512_add_epi64(sums, groupSums(left));
        }
        return quint32(_mm512_reduce_add_epi64(sums));
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
        return quint32(_mm512_reduce_add_epi64(sums));
    }
};

} // namespace kyv::compressor::internal
