// The largest of many values with SSE4.1's unsigned 32-bit maximum, eight values a step.
//
// This file alone is compiled for SSE4.1, and includes nothing whose inline functions another
// file could end up sharing. Without the instructions it is empty.

#include "BitsRequired.h"

#ifdef __SSE4_1__

#include <smmintrin.h>

namespace kyv::compressor::internal::detail {

namespace {

__m128i fourValues(const quint32 *values) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(values));
}

} // namespace

quint32 maxSse41(const quint32 *values, std::size_t count, quint32 largest) noexcept
{
    __m128i low = _mm_set1_epi32(int(largest));
    __m128i high = low;
    const quint32 *const end = values + count / 8 * 8;
    for (; values != end; values += 8) {
        low = _mm_max_epu32(low, fourValues(values));
        high = _mm_max_epu32(high, fourValues(values + 4));
    }
    __m128i folded = _mm_max_epu32(low, high);
    folded = _mm_max_epu32(folded, _mm_shuffle_epi32(folded, _MM_SHUFFLE(1, 0, 3, 2)));
    folded = _mm_max_epu32(folded, _mm_shuffle_epi32(folded, _MM_SHUFFLE(2, 3, 0, 1)));
    return maxPortable(values, count % 8, quint32(_mm_cvtsi128_si32(folded)));
}

} // namespace kyv::compressor::internal::detail

#endif // __SSE4_1__
