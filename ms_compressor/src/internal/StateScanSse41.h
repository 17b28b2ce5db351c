#pragma once

#include "internal/StateScanLanes.h"

namespace kyv::compressor::internal {

/// 16 bytes in a register. For sources compiled for SSE4.1.
struct Sse41Lanes
{
    using Bytes = __m128i;
    using Bits = quint16; ///< One for each byte.
    static constexpr int count = 16;

    Q_ALWAYS_INLINE static Bytes load(const quint8 *p) noexcept
    {
        return _mm_loadu_si128(reinterpret_cast<const Bytes *>(p));
    }
    Q_ALWAYS_INLINE static void store(quint8 *p, Bytes v) noexcept
    {
        _mm_storeu_si128(reinterpret_cast<Bytes *>(p), v);
    }
    Q_ALWAYS_INLINE static Bytes all(quint8 v) noexcept { return _mm_set1_epi8(char(v)); }
    Q_ALWAYS_INLINE static Bytes repeat8(quint64 v) noexcept { return _mm_set1_epi64x(qint64(v)); }
    Q_ALWAYS_INLINE static Bytes repeat16(const quint8 *p) noexcept { return load(p); }

    Q_ALWAYS_INLINE static Bytes bitAnd(Bytes a, Bytes b) noexcept { return _mm_and_si128(a, b); }
    Q_ALWAYS_INLINE static Bytes andNot(Bytes a, Bytes b) noexcept
    {
        return _mm_andnot_si128(a, b);
    }
    Q_ALWAYS_INLINE static Bytes bitXor(Bytes a, Bytes b) noexcept { return _mm_xor_si128(a, b); }
    /// Moves in three bits of the neighbour too.
    Q_ALWAYS_INLINE static Bytes shiftRight3(Bytes v) noexcept { return _mm_srli_epi16(v, 3); }
    Q_ALWAYS_INLINE static Bytes equal(Bytes a, Bytes b) noexcept { return _mm_cmpeq_epi8(a, b); }
    /// The highest bit of each byte.
    Q_ALWAYS_INLINE static Bits bits(Bytes v) noexcept { return Bits(_mm_movemask_epi8(v)); }
    Q_ALWAYS_INLINE static Bytes minimum(Bytes a, Bytes b) noexcept { return _mm_min_epu8(a, b); }
    /// Stops at 0.
    Q_ALWAYS_INLINE static Bytes subtract(Bytes a, Bytes b) noexcept { return _mm_subs_epu8(a, b); }
    /// Rounds up.
    Q_ALWAYS_INLINE static Bytes average(Bytes a, Bytes b) noexcept { return _mm_avg_epu8(a, b); }

    /// The byte of \a table that each byte of \a index tells, within every 16 bytes.
    Q_ALWAYS_INLINE static Bytes shuffle(Bytes table, Bytes index) noexcept
    {
        return _mm_shuffle_epi8(table, index);
    }
    /// \a high where the highest bit of \a sign is set.
    Q_ALWAYS_INLINE static Bytes chooseBySign(Bytes low, Bytes high, Bytes sign) noexcept
    {
        return _mm_blendv_epi8(low, high, sign);
    }

    /// The sum of every eight bytes, in 64 bits.
    Q_ALWAYS_INLINE static Bytes groupSums(Bytes v) noexcept { return _mm_sad_epu8(v, all(0)); }
    Q_ALWAYS_INLINE static Bytes add(Bytes a, Bytes b) noexcept { return _mm_add_epi64(a, b); }
    Q_ALWAYS_INLINE static quint32 total(Bytes sums) noexcept
    {
        return quint32(_mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums))));
    }
};

using Sse41Scan = LaneScan<Sse41Lanes>;

} // namespace kyv::compressor::internal
