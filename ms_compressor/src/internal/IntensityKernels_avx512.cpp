// The loops over intensities in 512-bit registers. This file alone is compiled for AVX-512 (F, VL
// and DQ), and reached only on processors that have all three.

#include "IntensityLanes.h"

#include <immintrin.h>

namespace kyv::compressor::internal {

namespace {

/// Sixteen floats in a register.
struct FloatLanes
{
    using Real = float;
    using Reals = __m512;
    using Words = __m512i;
    using Levels = __m512i;
    using Counter = __m512i;
    static constexpr std::size_t count = 16;

    static Reals reals(float value) { return _mm512_set1_ps(value); }
    static Reals add(Reals a, Reals b) { return _mm512_add_ps(a, b); }
    static Reals subtract(Reals a, Reals b) { return _mm512_sub_ps(a, b); }
    static Reals multiply(Reals a, Reals b) { return _mm512_mul_ps(a, b); }
    static Reals divide(Reals a, Reals b) { return _mm512_div_ps(a, b); }
    static Reals multiplyAdd(Reals a, Reals b, Reals c) { return _mm512_fmadd_ps(a, b, c); }
    static Reals absolute(Reals a) { return _mm512_andnot_ps(reals(-0.0F), a); }
    static Reals minimum(Reals a, Reals b) { return _mm512_min_ps(a, b); }
    static Reals maximum(Reals a, Reals b) { return _mm512_max_ps(a, b); }
    static __mmask16 lessOrEqual(Reals a, Reals b) { return _mm512_cmp_ps_mask(a, b, _CMP_LE_OQ); }
    static unsigned bits(__mmask16 mask) { return mask; }

    static Words words(quint32 value) { return _mm512_set1_epi32(int(value)); }
    static Words bitsOf(Reals a) { return _mm512_castps_si512(a); }
    static Reals realsOf(Words a) { return _mm512_castsi512_ps(a); }
    static Words add(Words a, Words b) { return _mm512_add_epi32(a, b); }
    static Words subtract(Words a, Words b) { return _mm512_sub_epi32(a, b); }
    static Words bitAnd(Words a, Words b) { return _mm512_and_si512(a, b); }
    static Reals biasedExponents(Words a) { return _mm512_cvtepi32_ps(_mm512_srli_epi32(a, 23)); }
    static Words toExponentField(Words a) { return _mm512_slli_epi32(a, 23); }

    static Reals floats(float value) { return reals(value); }
    static Reals load(const float *from) { return _mm512_loadu_ps(from); }
    static Reals subtractFloats(Reals a, Reals b) { return subtract(a, b); }
    static __mmask16 lessFloats(Reals a, Reals b) { return _mm512_cmp_ps_mask(a, b, _CMP_LT_OQ); }
    static __mmask16 lessOrEqualFloats(Reals a, Reals b) { return lessOrEqual(a, b); }
    static Reals widen(Reals a) { return a; }
    static Levels truncate(Reals a) { return _mm512_cvttps_epi32(a); }
    static unsigned equal(Levels a, Levels b) { return _mm512_cmpeq_epi32_mask(a, b); }
    /// Stores (level where not lowest, else 0) - offset where positive, else 0.
    static void storeLevels(quint32 *to, Levels level, __mmask16 lowest, quint32 offset,
                            __mmask16 positive)
    {
        const Levels scaled = _mm512_mask_mov_epi32(level, lowest, _mm512_setzero_si512());
        _mm512_storeu_si512(to, _mm512_maskz_sub_epi32(positive, scaled, words(offset)));
    }

    static __mmask16 both(__mmask16 a, __mmask16 b) { return _mm512_kand(a, b); }
    static void countInto(Counter &counter, __mmask16 mask)
    {
        counter = _mm512_mask_add_epi32(counter, mask, counter, words(1));
    }
    static Reals minimumWhere(__mmask16 mask, Reals a, Reals b)
    {
        return _mm512_mask_min_ps(a, mask, a, b);
    }
    static quint64 total(Counter counter)
    {
        std::array<quint32, count> counts;
        _mm512_storeu_si512(counts.data(), counter);
        quint64 sum = 0;
        for (const quint32 laneCount : counts)
            sum += laneCount;
        return sum;
    }
    static std::array<float, count> elements(Reals a)
    {
        std::array<float, count> result;
        _mm512_storeu_ps(result.data(), a);
        return result;
    }
};

/// Eight doubles in a register, and beside them the eight floats or levels that go with them.
struct DoubleLanes
{
    using Real = double;
    using Reals = __m512d;
    using Words = __m512i;
    using Floats = __m256;
    using Levels = __m256i;
    static constexpr std::size_t count = 8;

    static Reals reals(double value) { return _mm512_set1_pd(value); }
    static Reals add(Reals a, Reals b) { return _mm512_add_pd(a, b); }
    static Reals subtract(Reals a, Reals b) { return _mm512_sub_pd(a, b); }
    static Reals multiply(Reals a, Reals b) { return _mm512_mul_pd(a, b); }
    static Reals divide(Reals a, Reals b) { return _mm512_div_pd(a, b); }
    static Reals multiplyAdd(Reals a, Reals b, Reals c) { return _mm512_fmadd_pd(a, b, c); }
    static Reals absolute(Reals a) { return _mm512_andnot_pd(reals(-0.0), a); }
    static Reals maximum(Reals a, Reals b) { return _mm512_max_pd(a, b); }
    static __mmask8 lessOrEqual(Reals a, Reals b) { return _mm512_cmp_pd_mask(a, b, _CMP_LE_OQ); }
    static unsigned bits(__mmask8 mask) { return mask; }

    static Words words(quint64 value) { return _mm512_set1_epi64(qint64(value)); }
    static Words bitsOf(Reals a) { return _mm512_castpd_si512(a); }
    static Reals realsOf(Words a) { return _mm512_castsi512_pd(a); }
    static Words add(Words a, Words b) { return _mm512_add_epi64(a, b); }
    static Words subtract(Words a, Words b) { return _mm512_sub_epi64(a, b); }
    static Words bitAnd(Words a, Words b) { return _mm512_and_si512(a, b); }
    static Reals biasedExponents(Words a) { return _mm512_cvtepi64_pd(_mm512_srli_epi64(a, 52)); }
    static Words toExponentField(Words a) { return _mm512_slli_epi64(a, 52); }

    static Floats floats(float value) { return _mm256_set1_ps(value); }
    static Floats load(const float *from) { return _mm256_loadu_ps(from); }
    static Floats subtractFloats(Floats a, Floats b) { return _mm256_sub_ps(a, b); }
    static __mmask8 lessFloats(Floats a, Floats b) { return _mm256_cmp_ps_mask(a, b, _CMP_LT_OQ); }
    static __mmask8 lessOrEqualFloats(Floats a, Floats b)
    {
        return _mm256_cmp_ps_mask(a, b, _CMP_LE_OQ);
    }
    static Reals widen(Floats a) { return _mm512_cvtps_pd(a); }
    static Floats narrow(Reals a) { return _mm512_cvtpd_ps(a); }
    static Levels truncate(Reals a) { return _mm512_cvttpd_epi32(a); }
    static Reals convert(Levels a) { return _mm512_cvtepi32_pd(a); }
    static Levels loadLevels(const quint32 *from)
    {
        return _mm256_loadu_si256(reinterpret_cast<const Levels *>(from));
    }
    static Levels addLevels(Levels a, quint32 b)
    {
        return _mm256_add_epi32(a, _mm256_set1_epi32(int(b)));
    }
    static unsigned equal(Levels a, Levels b) { return _mm256_cmpeq_epi32_mask(a, b); }
    static unsigned equalBits(Floats a, Floats b)
    {
        return equal(_mm256_castps_si256(a), _mm256_castps_si256(b));
    }
    static unsigned nonzero(Levels a) { return _mm256_test_epi32_mask(a, a); }
    /// Stores (level where not lowest, else 0) - offset where positive, else 0.
    static void storeLevels(quint32 *to, Levels level, __mmask8 lowest, quint32 offset,
                            __mmask8 positive)
    {
        const Levels scaled = _mm256_mask_mov_epi32(level, lowest, _mm256_setzero_si256());
        const Levels offsets = _mm256_set1_epi32(int(offset));
        _mm256_storeu_si256(reinterpret_cast<Levels *>(to),
                            _mm256_maskz_sub_epi32(positive, scaled, offsets));
    }
    /// Stores the intensities whose levels are not 0, and 0 for the others.
    static void storeIntensities(float *to, Floats intensities, Levels levels)
    {
        const __mmask8 isNonzero = _mm256_test_epi32_mask(levels, levels);
        _mm256_storeu_ps(to, _mm256_maskz_mov_ps(isNonzero, intensities));
    }
};

} // namespace

extern const IntensityKernels avx512IntensityKernels;
const IntensityKernels avx512IntensityKernels{
    "avx512",
    scanDifferences<FloatLanes>,
    findRange<FloatLanes>,
    quantize<FloatLanes, DoubleLanes>,
    dequantize<DoubleLanes>,
};

} // namespace kyv::compressor::internal
