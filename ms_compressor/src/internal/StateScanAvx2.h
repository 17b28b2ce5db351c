#pragma once

#include "internal/StateScan.h"

#include <immintrin.h>

namespace kyv::compressor::internal {

/// The operations of PortableScan, 32 states at a time. For sources compiled for AVX2, BMI2, LZCNT.
struct Avx2Scan
{
    Q_ALWAYS_INLINE static int find(const quint8 *symbols, int count, quint8 symbol) noexcept
    {
        const __m256i wanted = _mm256_set1_epi8(char(symbol));
        for (int i = 0; i < count; i += 32) {
            const auto equal =
                quint32(_mm256_movemask_epi8(_mm256_cmpeq_epi8(load(symbols + i), wanted)));
            if (equal != 0) {
                const int place = i + int(_tzcnt_u32(equal));
                return place < count ? place : count;
            }
        }
        return count;
    }

    Q_ALWAYS_INLINE static quint32 sum(const quint8 *freqs, int count) noexcept
    {
        if (count <= 16)
            return sum16(firstOf16(load16(freqs), count));
        __m256i sums = _mm256_setzero_si256();
        int i = 0;
        for (; i + 32 <= count; i += 32)
            sums = _mm256_add_epi64(sums, groupSums(load(freqs + i)));
        sums = _mm256_add_epi64(sums, groupSums(firstOf32(load(freqs + i), count - i)));
        return total(sums);
    }

    Q_ALWAYS_INLINE static ScanHit locate(const quint8 *freqs, int count, quint32 target) noexcept
    {
        quint32 below = 0;
        int i = 0;
        while (i + 16 < count) {
            const quint32 block = sum16(load16(freqs + i));
            if (target < below + block)
                break;
            below += block;
            i += 16;
        }
        const ScanHit hit = locate16(freqs + i, count - i, target - below);
        return {i + hit.index, below + hit.below};
    }

    static Halved halve(const quint8 *symbols, quint8 *freqs, int count, quint32 adder) noexcept
    {
        const __m256i one = _mm256_set1_epi8(1);
        const __m256i roundDown = _mm256_set1_epi8(char(1 - adder));
        const __m256i lastLow = _mm256_set1_epi8(char(ppmd::highSymbol - 1));
        __m256i oldSums = _mm256_setzero_si256();
        __m256i newSums = _mm256_setzero_si256();
        Halved result{0, 0, false, count};
        for (int i = 0; i < count; i += 32) {
            const __m256i all = load(freqs + i);
            const __m256i old = firstOf32(all, count - i);
            // The average with 0 rounds up; one less, where there is one, makes it round down.
            const __m256i halved =
                _mm256_avg_epu8(_mm256_subs_epu8(old, roundDown), _mm256_setzero_si256());
            const __m256i rest = _mm256_xor_si256(all, old);
            oldSums = _mm256_add_epi64(oldSums, groupSums(old));
            newSums = _mm256_add_epi64(newSums, groupSums(halved));

            // Symbols that exceed 63 where the frequency is 1 or more.
            const __m256i high = _mm256_min_epu8(_mm256_subs_epu8(load(symbols + i), lastLow),
                                                 _mm256_min_epu8(halved, one));
            auto highs =
                ~quint32(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high, _mm256_setzero_si256())));
            // The byte before the array is no frequency; the first state has no predecessor.
            const __m256i excess = _mm256_subs_epu8(old, load(freqs + i - 1));
            auto unsorted =
                ~quint32(_mm256_movemask_epi8(_mm256_cmpeq_epi8(excess, _mm256_setzero_si256())));
            if (i == 0) {
                highs &= ~1u;
                unsorted &= ~1u;
            }
            result.hasHigh |= highs != 0;
            if (unsorted != 0 && result.firstUnsorted == count)
                result.firstUnsorted = i + int(_tzcnt_u32(unsorted));
            // What lies behind the frequencies keeps its value. The predecessor of the next 32 is
            // halved then, which can only report too early.
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(freqs + i),
                                _mm256_or_si256(halved, rest));
        }
        result.oldSum = total(oldSums);
        result.newSum = total(newSums);
        return result;
    }

    static quint32 mask(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                        const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        return ruledOutCount <= 8
                   ? maskFew(ruledOut, ruledOutCount, symbols, freqs, count, masked)
                   : maskMany(ruledOut, ruledOutCount, symbols, freqs, count, masked);
    }

private:
    Q_ALWAYS_INLINE static __m256i load(const quint8 *p) noexcept
    {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    }
    Q_ALWAYS_INLINE static __m128i load16(const quint8 *p) noexcept
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
    Q_ALWAYS_INLINE static __m256i firstOf32(__m256i v, int count) noexcept
    {
        alignas(64) static constexpr quint8 ramp[64] = {
            255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
            255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255};
        return _mm256_and_si256(v, load(ramp + 32 - (count < 32 ? count : 32)));
    }
    Q_ALWAYS_INLINE static __m128i firstOf16(__m128i v, int count) noexcept
    {
        alignas(32) static constexpr quint8 ramp[32] = {255, 255, 255, 255, 255, 255, 255, 255,
                                                        255, 255, 255, 255, 255, 255, 255, 255};
        return _mm_and_si128(v, load16(ramp + 16 - (count < 16 ? count : 16)));
    }
    Q_ALWAYS_INLINE static __m256i groupSums(__m256i v) noexcept
    {
        return _mm256_sad_epu8(v, _mm256_setzero_si256());
    }
    Q_ALWAYS_INLINE static quint32 total(__m256i sums) noexcept
    {
        const __m128i two =
            _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
        return quint32(_mm_cvtsi128_si32(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two))));
    }
    Q_ALWAYS_INLINE static quint32 sum16(__m128i v) noexcept
    {
        const __m128i two = _mm_sad_epu8(v, _mm_setzero_si128());
        return quint32(_mm_cvtsi128_si32(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two))));
    }

    /// locate() among up to 16 states, by sums of 16 bits that run through both halves.
    Q_ALWAYS_INLINE static ScanHit locate16(const quint8 *freqs, int count, quint32 target) noexcept
    {
        const __m256i own = _mm256_cvtepu8_epi16(firstOf16(load16(freqs), count));
        __m256i upTo = _mm256_add_epi16(own, _mm256_slli_si256(own, 2));
        upTo = _mm256_add_epi16(upTo, _mm256_slli_si256(upTo, 4));
        upTo = _mm256_add_epi16(upTo, _mm256_slli_si256(upTo, 8));
        const __m256i lowTotal = _mm256_shuffle_epi8(_mm256_permute2x128_si256(upTo, upTo, 0x08),
                                                     _mm256_set1_epi16(0x0F0E));
        upTo = _mm256_add_epi16(upTo, lowTotal);
        // Sums of 16 bytes stay below 4096, so comparing as signed numbers is sound.
        const quint32 wanted = target < 0x7FFF ? target : 0x7FFF;
        const auto above = quint32(
            _mm256_movemask_epi8(_mm256_cmpgt_epi16(upTo, _mm256_set1_epi16(short(wanted)))));
        const int place = int(_tzcnt_u32(above)) / 2;
        const int index = place < count ? place : count;
        alignas(32) quint16 before[16];
        _mm256_store_si256(reinterpret_cast<__m256i *>(before), _mm256_sub_epi16(upTo, own));
        return {index, index < 16 ? before[index] : sum16(load16(freqs))};
    }

    Q_ALWAYS_INLINE static quint32 maskFew(const quint8 *ruledOut, int ruledOutCount,
                                           const quint8 *symbols, const quint8 *freqs, int count,
                                           MaskedFreqs &masked) noexcept
    {
        __m256i sums = _mm256_setzero_si256();
        for (int i = 0; i < count; i += 32) {
            const __m256i here = load(symbols + i);
            __m256i left = firstOf32(load(freqs + i), count - i);
            for (int j = 0; j < ruledOutCount; ++j) {
                const __m256i out = _mm256_set1_epi8(char(ruledOut[j]));
                left = _mm256_andnot_si256(_mm256_cmpeq_epi8(here, out), left);
            }
            _mm256_store_si256(reinterpret_cast<__m256i *>(masked.freqs + i), left);
            sums = _mm256_add_epi64(sums, groupSums(left));
        }
        return total(sums);
    }

    /// The ruled out symbols as 256 bits: a shuffle by the upper bits of a symbol finds its byte,
    /// a shuffle by the lower three bits the bit to test.
    static quint32 maskMany(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                            const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        alignas(32) quint8 isRuledOut[256] = {};
        for (int i = 0; i < ruledOutCount; ++i)
            isRuledOut[ruledOut[i]] = 255;
        alignas(32) quint32 bits[8];
        for (int i = 0; i < 8; ++i)
            bits[i] = quint32(_mm256_movemask_epi8(load(isRuledOut + 32 * i)));
        const __m256i set = _mm256_load_si256(reinterpret_cast<const __m256i *>(bits));
        const __m256i lowSet = _mm256_permute2x128_si256(set, set, 0x00);
        const __m256i highSet = _mm256_permute2x128_si256(set, set, 0x11);
        const __m256i powers = _mm256_set1_epi64x(qint64(0x8040201008040201));
        const __m256i low3 = _mm256_set1_epi8(7);
        const __m256i low4 = _mm256_set1_epi8(15);

        __m256i sums = _mm256_setzero_si256();
        for (int i = 0; i < count; i += 32) {
            const __m256i here = load(symbols + i);
            const __m256i byteIndex = _mm256_and_si256(_mm256_srli_epi16(here, 3), low4);
            const __m256i bytes = _mm256_blendv_epi8(_mm256_shuffle_epi8(lowSet, byteIndex),
                                                     _mm256_shuffle_epi8(highSet, byteIndex), here);
            const __m256i bit = _mm256_shuffle_epi8(powers, _mm256_and_si256(here, low3));
            const __m256i allowed =
                _mm256_cmpeq_epi8(_mm256_and_si256(bytes, bit), _mm256_setzero_si256());
            const __m256i left = _mm256_and_si256(allowed, firstOf32(load(freqs + i), count - i));
            _mm256_store_si256(reinterpret_cast<__m256i *>(masked.freqs + i), left);
            sums = _mm256_add_epi64(sums, groupSums(left));
        }
        return total(sums);
    }
};

} // namespace kyv::compressor::internal
