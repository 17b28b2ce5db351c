// The loops over intensities in 256-bit registers. This file alone is compiled for AVX2 and FMA,
// and reached only on processors that have both.

#include "IntensityLanes.h"

#include <immintrin.h>

namespace kyv::compressor::internal {

namespace {

/// Eight floats in a register.
struct FloatLanes
{
    using Real = float;
    using Reals = __m256;
    using Words = __m256i;
    using Levels = __m256i;
    using Counter = __m256i;
    static constexpr std::size_t count = 8;

    static Reals reals(float value) { return _mm256_set1_ps(value); }
    static Reals add(Reals a, Reals b) { return _mm256_add_ps(a, b); }
    static Reals subtract(Reals a, Reals b) { return _mm256_sub_ps(a, b); }
    static Reals multiply(Reals a, Reals b) { return _mm256_mul_ps(a, b); }
    static Reals divide(Reals a, Reals b) { return _mm256_div_ps(a, b); }
    static Reals multiplyAdd(Reals a, Reals b, Reals c) { return _mm256_fmadd_ps(a, b, c); }
    static Reals absolute(Reals a) { return _mm256_andnot_ps(reals(-0.0F), a); }
    static Reals minimum(Reals a, Reals b) { return _mm256_min_ps(a, b); }
    static Reals maximum(Reals a, Reals b) { return _mm256_max_ps(a, b); }
    static Reals lessOrEqual(Reals a, Reals b) { return _mm256_cmp_ps(a, b, _CMP_LE_OQ); }
    static unsigned bits(Reals mask) { return unsigned(_mm256_movemask_ps(mask)); }

    static Words words(quint32 value) { return _mm256_set1_epi32(int(value)); }
    static Words bitsOf(Reals a) { return _mm256_castps_si256(a); }
    static Reals realsOf(Words a) { return _mm256_castsi256_ps(a); }
    static Words add(Words a, Words b) { return _mm256_add_epi32(a, b); }
    static Words subtract(Words a, Words b) { return _mm256_sub_epi32(a, b); }
    static Words bitAnd(Words a, Words b) { return _mm256_and_si256(a, b); }
    static Reals biasedExponents(Words a) { return _mm256_cvtepi32_ps(_mm256_srli_epi32(a, 23)); }
    static Words toExponentField(Words a) { return _mm256_slli_epi32(a, 23); }

    static Reals floats(float value) { return reals(value); }
    static Reals load(const float *from) { return _mm256_loadu_ps(from); }
    static Reals subtractFloats(Reals a, Reals b) { return subtract(a, b); }
    static Reals lessFloats(Reals a, Reals b) { return _mm256_cmp_ps(a, b, _CMP_LT_OQ); }
    static Reals lessOrEqualFloats(Reals a, Reals b) { return lessOrEqual(a, b); }
    static Reals widen(Reals a) { return a; }
    static Levels truncate(Reals a) { return _mm256_cvttps_epi32(a); }
    static unsigned equal(Levels a, Levels b) { return bits(realsOf(_mm256_cmpeq_epi32(a, b))); }
    /// Stores (level where not lowest, else 0) - offset where positive, else 0.
    static void storeLevels(quint32 *to, Levels level, Reals lowest, quint32 offset, Reals positive)
    {
        const Levels scaled = _mm256_andnot_si256(bitsOf(lowest), level);
        const Levels shifted = _mm256_sub_epi32(scaled, words(offset));
        _mm256_storeu_si256(reinterpret_cast<Levels *>(to), bitAnd(bitsOf(positive), shifted));
    }

    static Reals both(Reals a, Reals b) { return _mm256_and_ps(a, b); }
    static void countInto(Counter &counter, Reals mask)
    {
        counter = subtract(counter, bitsOf(mask));
    }
    static Reals minimumWhere(Reals mask, Reals a, Reals b)
    {
        return _mm256_blendv_ps(a, minimum(a, b), mask);
    }
    static quint64 total(Counter counter)
    {
        std::array<quint32, count> counts;
        _mm256_storeu_si256(reinterpret_cast<Counter *>(counts.data()), counter);
        quint64 sum = 0;
        for (const quint32 laneCount : counts)
            sum += laneCount;
        return sum;
    }
    static std::array<float, count> elements(Reals a)
    {
        std::array<float, count> result;
        _mm256_storeu_ps(result.data(), a);
        return result;
    }
};

/// Four doubles in a register, and beside them the four floats or levels that go with them.
struct DoubleLanes
{
    using Real = double;
    using Reals = __m256d;
    using Words = __m256i;
    using Floats = __m128;
    using Levels = __m128i;
    static constexpr std::size_t count = 4;

    static Reals reals(double value) { return _mm256_set1_pd(value); }
    static Reals add(Reals a, Reals b) { return _mm256_add_pd(a, b); }
    static Reals subtract(Reals a, Reals b) { return _mm256_sub_pd(a, b); }
    static Reals multiply(Reals a, Reals b) { return _mm256_mul_pd(a, b); }
    static Reals divide(Reals a, Reals b) { return _mm256_div_pd(a, b); }
    static Reals multiplyAdd(Reals a, Reals b, Reals c) { return _mm256_fmadd_pd(a, b, c); }
    static Reals absolute(Reals a) { return _mm256_andnot_pd(reals(-0.0), a); }
    static Reals maximum(Reals a, Reals b) { return _mm256_max_pd(a, b); }
    static Reals lessOrEqual(Reals a, Reals b) { return _mm256_cmp_pd(a, b, _CMP_LE_OQ); }
    static unsigned bits(Reals mask) { return unsigned(_mm256_movemask_pd(mask)); }

    static Words words(quint64 value) { return _mm256_set1_epi64x(qint64(value)); }
    static Words bitsOf(Reals a) { return _mm256_castpd_si256(a); }
    static Reals realsOf(Words a) { return _mm256_castsi256_pd(a); }
    static Words add(Words a, Words b) { return _mm256_add_epi64(a, b); }
    static Words subtract(Words a, Words b) { return _mm256_sub_epi64(a, b); }
    static Words bitAnd(Words a, Words b) { return _mm256_and_si256(a, b); }
    /// A whole number below 2^52 ORed into 2^52 is added to it.
    static Reals biasedExponents(Words a)
    {
        const Words base = bitsOf(reals(0x1p52));
        return subtract(realsOf(_mm256_or_si256(_mm256_srli_epi64(a, 52), base)), reals(0x1p52));
    }
    static Words toExponentField(Words a) { return _mm256_slli_epi64(a, 52); }

    static Floats floats(float value) { return _mm_set1_ps(value); }
    static Floats load(const float *from) { return _mm_loadu_ps(from); }
    static Floats subtractFloats(Floats a, Floats b) { return _mm_sub_ps(a, b); }
    static Floats lessFloats(Floats a, Floats b) { return _mm_cmplt_ps(a, b); }
    static Floats lessOrEqualFloats(Floats a, Floats b) { return _mm_cmple_ps(a, b); }
    static unsigned bits(Floats mask) { return unsigned(_mm_movemask_ps(mask)); }
    static Reals widen(Floats a) { return _mm256_cvtps_pd(a); }
    static Floats narrow(Reals a) { return _mm256_cvtpd_ps(a); }
    static Levels truncate(Reals a) { return _mm256_cvttpd_epi32(a); }
    static Reals convert(Levels a) { return _mm256_cvtepi32_pd(a); }
    static Levels loadLevels(const quint32 *from)
    {
        return _mm_loadu_si128(reinterpret_cast<const Levels *>(from));
    }
    static Levels addLevels(Levels a, quint32 b)
    {
        return _mm_add_epi32(a, _mm_set1_epi32(int(b)));
    }
    static unsigned equal(Levels a, Levels b)
    {
        return bits(_mm_castsi128_ps(_mm_cmpeq_epi32(a, b)));
    }
    static unsigned equalBits(Floats a, Floats b)
    {
        return equal(_mm_castps_si128(a), _mm_castps_si128(b));
    }
    static unsigned nonzero(Levels a) { return ~equal(a, _mm_setzero_si128()) & 0xFU; }
    /// Stores (level where not lowest, else 0) - offset where positive, else 0.
    static void storeLevels(quint32 *to, Levels level, Floats lowest, quint32 offset,
                            Floats positive)
    {
        const Levels scaled = _mm_andnot_si128(_mm_castps_si128(lowest), level);
        const Levels shifted = _mm_sub_epi32(scaled, _mm_set1_epi32(int(offset)));
        _mm_storeu_si128(reinterpret_cast<Levels *>(to),
                         _mm_and_si128(_mm_castps_si128(positive), shifted));
    }
    /// Stores the intensities whose levels are not 0, and 0 for the others.
    static void storeIntensities(float *to, Floats intensities, Levels levels)
    {
        const Levels isZero = _mm_cmpeq_epi32(levels, _mm_setzero_si128());
        _mm_storeu_ps(to, _mm_andnot_ps(_mm_castsi128_ps(isZero), intensities));
    }
};

} // namespace

extern const IntensityKernels avx2IntensityKernels;
const IntensityKernels avx2IntensityKernels{
    "avx2",
    scanDifferences<FloatLanes>,
    findRange<FloatLanes>,
    quantize<FloatLanes, DoubleLanes>,
    dequantize<DoubleLanes>,
};

} // namespace kyv::compressor::internal
