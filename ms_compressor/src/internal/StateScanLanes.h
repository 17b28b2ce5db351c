#pragma once

#include "internal/StateScan.h"

#include <immintrin.h>

#include <bit>

namespace kyv::compressor::internal {

/// The operations of PortableScan over registers of 16 bytes and more, written once.
///
/// \a Lanes wraps the instruction set that the including source is compiled for, SSE4.1 at least;
/// being its parameter, no two paths share a function of it.
template <class Lanes>
struct LaneScan
{
    Q_ALWAYS_INLINE static int find(const quint8 *symbols, int count, quint8 symbol) noexcept
    {
        const Bytes wanted = Lanes::all(symbol);
        for (int i = 0; i < count; i += Lanes::count) {
            const quint32 equal = Lanes::bits(Lanes::equal(Lanes::load(symbols + i), wanted));
            if (equal != 0) {
                const int place = i + std::countr_zero(equal);
                return place < count ? place : count;
            }
        }
        return count;
    }

    Q_ALWAYS_INLINE static quint32 sum(const quint8 *freqs, int count) noexcept
    {
        if (count <= 16)
            return total16(firstOf16(freqs, count));
        Bytes sums = Lanes::all(0);
        int i = 0;
        for (; i + Lanes::count <= count; i += Lanes::count)
            sums = Lanes::add(sums, Lanes::groupSums(Lanes::load(freqs + i)));
        return Lanes::total(Lanes::add(sums, Lanes::groupSums(firstOf(freqs + i, count - i))));
    }

    Q_ALWAYS_INLINE static ScanHit locate(const quint8 *freqs, int count, quint32 target) noexcept
    {
        quint32 below = 0;
        int i = 0;
        while (i + 16 < count) {
            const quint32 block = total16(load16(freqs + i));
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
        const Bytes zero = Lanes::all(0);
        const Bytes one = Lanes::all(1);
        const Bytes roundDown = Lanes::all(quint8(1 - adder));
        const Bytes lastLow = Lanes::all(ppmd::highSymbol - 1);
        Bytes oldSums = zero;
        Bytes newSums = zero;
        Halved result{0, 0, false, count};
        for (int i = 0; i < count; i += Lanes::count) {
            const Bytes all = Lanes::load(freqs + i);
            const Bytes old = Lanes::bitAnd(all, firstMask(count - i));
            // The average with 0 rounds up; one less, where there is one, makes it round down.
            const Bytes halved = Lanes::average(Lanes::subtract(old, roundDown), zero);
            const Bytes rest = Lanes::bitXor(all, old);
            oldSums = Lanes::add(oldSums, Lanes::groupSums(old));
            newSums = Lanes::add(newSums, Lanes::groupSums(halved));

            // Symbols that exceed 63 where the frequency is 1 or more.
            const Bytes high = Lanes::minimum(Lanes::subtract(Lanes::load(symbols + i), lastLow),
                                              Lanes::minimum(halved, one));
            // The byte before the array is no frequency.
            const Bytes excess = Lanes::subtract(old, Lanes::load(freqs + i - 1));
            // The first state sets no flag and has no predecessor.
            const quint32 others = i == 0 ? ~1u : ~0u;
            result.hasHigh |= (nonZero(high) & others) != 0;
            const quint32 unsorted = nonZero(excess) & others;
            if (unsorted != 0 && result.firstUnsorted == count)
                result.firstUnsorted = i + std::countr_zero(unsorted);
            // What lies behind the frequencies keeps its value. The predecessor of the next lanes
            // is halved then, which can only report too early.
            Lanes::store(freqs + i, Lanes::bitXor(halved, rest));
        }
        result.oldSum = Lanes::total(oldSums);
        result.newSum = Lanes::total(newSums);
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
    using Bytes = typename Lanes::Bytes;

    /// From entry 32 - n on: n bytes with all bits set, then bytes without.
    alignas(64) static constexpr quint8 ramp[64] = {
        255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
        255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255};

    /// All bits set in the first \a count bytes, which may be more than there are.
    Q_ALWAYS_INLINE static Bytes firstMask(int count) noexcept
    {
        return Lanes::load(ramp + 32 - (count < Lanes::count ? count : Lanes::count));
    }
    Q_ALWAYS_INLINE static Bytes firstOf(const quint8 *p, int count) noexcept
    {
        return Lanes::bitAnd(Lanes::load(p), firstMask(count));
    }
    /// A bit for each byte that is not 0.
    Q_ALWAYS_INLINE static quint32 nonZero(Bytes v) noexcept
    {
        return quint32(typename Lanes::Bits(~Lanes::bits(Lanes::equal(v, Lanes::all(0)))));
    }

    // Sixteen states, at any width ----------------------------------------------------------------

    Q_ALWAYS_INLINE static __m128i load16(const quint8 *p) noexcept
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    }
    Q_ALWAYS_INLINE static __m128i firstOf16(const quint8 *p, int count) noexcept
    {
        return _mm_and_si128(load16(p), load16(ramp + 32 - (count < 16 ? count : 16)));
    }
    Q_ALWAYS_INLINE static quint32 total16(__m128i v) noexcept
    {
        const __m128i two = _mm_sad_epu8(v, _mm_setzero_si128());
        return quint32(_mm_cvtsi128_si32(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two))));
    }
    /// Sums of 16 bits up to each of eight states.
    Q_ALWAYS_INLINE static __m128i runningSums(__m128i own) noexcept
    {
        __m128i upTo = _mm_add_epi16(own, _mm_slli_si128(own, 2));
        upTo = _mm_add_epi16(upTo, _mm_slli_si128(upTo, 4));
        return _mm_add_epi16(upTo, _mm_slli_si128(upTo, 8));
    }

    /// locate() among the first 16 of \a count states.
    Q_ALWAYS_INLINE static ScanHit locate16(const quint8 *freqs, int count, quint32 target) noexcept
    {
        const __m128i bytes = firstOf16(freqs, count);
        const __m128i low = runningSums(_mm_cvtepu8_epi16(bytes));
        const __m128i lowTotal = _mm_shuffle_epi8(low, _mm_set1_epi16(0x0F0E));
        const __m128i high =
            _mm_add_epi16(runningSums(_mm_unpackhi_epi8(bytes, _mm_setzero_si128())), lowTotal);

        alignas(16) quint16 below[24]; // the sum below state i is entry 7 + i
        below[7] = 0;
        _mm_store_si128(reinterpret_cast<__m128i *>(below + 8), low);
        _mm_store_si128(reinterpret_cast<__m128i *>(below + 16), high);
        // Sums of 16 bytes stay below 4096, so comparing as signed numbers is sound.
        const __m128i wanted = _mm_set1_epi16(short(target < 0x7FFF ? target : 0x7FFF));
        const __m128i above =
            _mm_packs_epi16(_mm_cmpgt_epi16(low, wanted), _mm_cmpgt_epi16(high, wanted));
        const int place = std::countr_zero(quint32(_mm_movemask_epi8(above)) | 1u << 16);
        const int index = place < count ? place : count;
        return {index, below[7 + index]};
    }

    // Masks ---------------------------------------------------------------------------------------

    Q_ALWAYS_INLINE static quint32 maskFew(const quint8 *ruledOut, int ruledOutCount,
                                           const quint8 *symbols, const quint8 *freqs, int count,
                                           MaskedFreqs &masked) noexcept
    {
        Bytes sums = Lanes::all(0);
        for (int i = 0; i < count; i += Lanes::count) {
            const Bytes here = Lanes::load(symbols + i);
            Bytes left = firstOf(freqs + i, count - i);
            for (int j = 0; j < ruledOutCount; ++j)
                left = Lanes::andNot(Lanes::equal(here, Lanes::all(ruledOut[j])), left);
            Lanes::store(masked.freqs + i, left);
            sums = Lanes::add(sums, Lanes::groupSums(left));
        }
        return Lanes::total(sums);
    }

    /// The ruled out symbols as 256 bits: a shuffle by the upper bits of a symbol finds its byte,
    /// a shuffle by the lower three bits the bit to test.
    static quint32 maskMany(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                            const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        alignas(32) quint8 isRuledOut[256] = {};
        for (int i = 0; i < ruledOutCount; ++i)
            isRuledOut[ruledOut[i]] = 255;
        typename Lanes::Bits bits[256 / Lanes::count];
        for (int i = 0; i < 256; i += Lanes::count)
            bits[i / Lanes::count] = Lanes::bits(Lanes::load(isRuledOut + i));
        const auto set = reinterpret_cast<const quint8 *>(bits);
        const Bytes lowSet = Lanes::repeat16(set);
        const Bytes highSet = Lanes::repeat16(set + 16);
        const Bytes powers = Lanes::repeat8(0x8040201008040201);
        const Bytes low3 = Lanes::all(7);
        const Bytes low4 = Lanes::all(15);

        Bytes sums = Lanes::all(0);
        for (int i = 0; i < count; i += Lanes::count) {
            const Bytes here = Lanes::load(symbols + i);
            const Bytes byteIndex = Lanes::bitAnd(Lanes::shiftRight3(here), low4);
            const Bytes bytes = Lanes::chooseBySign(Lanes::shuffle(lowSet, byteIndex),
                                                    Lanes::shuffle(highSet, byteIndex), here);
            const Bytes bit = Lanes::shuffle(powers, Lanes::bitAnd(here, low3));
            const Bytes allowed = Lanes::equal(Lanes::bitAnd(bytes, bit), Lanes::all(0));
            const Bytes left = Lanes::bitAnd(allowed, firstOf(freqs + i, count - i));
            Lanes::store(masked.freqs + i, left);
            sums = Lanes::add(sums, Lanes::groupSums(left));
        }
        return Lanes::total(sums);
    }
};

} // namespace kyv::compressor::internal
