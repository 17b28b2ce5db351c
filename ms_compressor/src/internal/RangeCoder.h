#pragma once

#include "internal/PpmdTables.h"

#include <QtEndian>
#include <QtGlobal>

#include <bit>

namespace kyv::compressor::internal {

namespace ppmd {

/// While low and low + range share their first byte, that byte can't change any more.
inline constexpr quint32 rangeTop = quint32(1) << 24;
/// A range below this is too coarse to be split.
inline constexpr quint32 rangeBottom = quint32(1) << 15;

} // namespace ppmd

/// Turns intervals of counts into bytes, most significant byte first; the carry-less kind.
///
/// Bytes past the capacity are dropped. An object is meant to live in registers: a local of the
/// coding loop whose address nobody takes. \a Path, any type, keeps what is compiled with the flags
/// of one vector path apart from the rest. See docs/formats/bytes.md, "Range coder".
template <class Path = void>
class RangeEncoder
{
public:
    Q_ALWAYS_INLINE RangeEncoder(quint8 *output, qint32 capacity) noexcept
        : m_output(output)
        , m_end(output + (capacity > 0 ? capacity : 0))
    {}

    /// Codes [\a below, \a below + \a width) of \a total, where total is at most 65535.
    Q_ALWAYS_INLINE void encode(quint32 below, quint32 width, quint32 total) noexcept
    {
        if (total > m_range) [[unlikely]]
            *this = widened(*this, total);
        const quint32 step = m_range / total;
        m_low += below * step;
        m_range = width * step;
        normalizeEvenly();
    }
    /// Codes the first \a width parts, [0, \a width).
    Q_ALWAYS_INLINE void encodeFirst(quint32 width, quint32 total) noexcept
    {
        if (total > m_range) [[unlikely]]
            *this = widened(*this, total);
        m_range = width * (m_range / total);
        normalize();
    }

    /// Codes that the single symbol came, which has \a probability of 2^14.
    Q_ALWAYS_INLINE void encodeHit(quint32 probability) noexcept
    {
        m_range = (m_range >> ppmd::binaryTotalBits) * probability;
        normalize();
    }
    /// Codes that the single symbol did not come.
    Q_ALWAYS_INLINE void encodeMiss(quint32 probability) noexcept
    {
        const quint32 step = m_range >> ppmd::binaryTotalBits;
        m_low += step * probability;
        m_range = step * ((1u << ppmd::binaryTotalBits) - probability);
        normalize();
    }

    /// Writes the four bytes of low; the end of the stream.
    Q_ALWAYS_INLINE void flush() noexcept
    {
        for (int i = 0; i < 4; ++i)
            shift();
    }

    /// Where the next byte goes.
    Q_ALWAYS_INLINE quint8 *position() const noexcept { return m_output; }

private:
    Q_ALWAYS_INLINE void shift() noexcept
    {
        if (m_output != m_end)
            *m_output++ = quint8(m_low >> 24);
        m_range <<= 8;
        m_low <<= 8;
    }

    /// Writes all settled bytes at once; after that the first byte is unsettled.
    Q_ALWAYS_INLINE void normalize() noexcept
    {
        const quint32 unsettled = m_low ^ (m_low + m_range);
        if (unsettled < ppmd::rangeTop) {
            if (m_end - m_output < 4) [[unlikely]] {
                *this = normalizedBytewise(*this);
                return;
            }
            const int bytes = std::countl_zero(unsettled) / 8; // 1 to 3, for the range is not 0
            qToBigEndian(m_low, m_output);
            m_output += bytes;
            m_low <<= 8 * bytes;
            m_range <<= 8 * bytes;
        }
        if (m_range < ppmd::rangeBottom) [[unlikely]]
            *this = normalizedBytewise(*this);
    }

    /// normalize() without asking whether there are settled bytes; for where it is hard to predict.
    Q_ALWAYS_INLINE void normalizeEvenly() noexcept
    {
        const quint32 unsettled = m_low ^ (m_low + m_range);
        if (m_end - m_output < 4) [[unlikely]] {
            *this = normalizedBytewise(*this);
            return;
        }
        const int bytes = std::countl_zero(unsettled) / 8; // 0 to 3, for the range is not 0
        qToBigEndian(m_low, m_output);
        m_output += bytes;
        m_low <<= 8 * bytes;
        m_range <<= 8 * bytes;
        if (m_range < ppmd::rangeBottom) [[unlikely]]
            *this = normalizedBytewise(*this);
    }

    /// The definition. It works on a copy, so that the loop's coder stays in registers.
    Q_NEVER_INLINE static RangeEncoder normalizedBytewise(RangeEncoder coder) noexcept
    {
        while (true) {
            if ((coder.m_low ^ (coder.m_low + coder.m_range)) >= ppmd::rangeTop) {
                if (coder.m_range >= ppmd::rangeBottom)
                    return coder;
                coder.m_range = (0 - coder.m_low) & (ppmd::rangeBottom - 1);
            }
            coder.shift();
        }
    }

    /// Format: a total above the range cuts the range once more, one bit wider than
    /// normalization does, so that no step is 0.
    Q_NEVER_INLINE static RangeEncoder widened(RangeEncoder coder, quint32 total) noexcept
    {
        while (total > coder.m_range) {
            coder.m_range = (0 - coder.m_low) & 0xFFFF;
            coder.shift();
        }
        return coder;
    }

    quint32 m_low = 0;
    quint32 m_range = 0xFFFFFFFF;
    quint8 *m_output;
    quint8 *m_end;
};

/// Finds the intervals again: the mirror of RangeEncoder.
///
/// It keeps how far the code lies above low, which is all that decoding asks. Past the end of the
/// input every read sets all bits of the code.
template <class Path = void>
class RangeDecoder
{
public:
    Q_ALWAYS_INLINE RangeDecoder(const quint8 *input, qint32 length) noexcept
        : m_input(input)
        , m_end(input + (length > 0 ? length : 0))
    {
        for (int i = 0; i < 4; ++i)
            shift();
        m_range = 0xFFFFFFFF;
    }

    /// Splits the range in \a total (1 to 65535) parts, for the operations below.
    Q_ALWAYS_INLINE void split(quint32 total) noexcept
    {
        if (total > m_range) [[unlikely]]
            *this = widened(*this, total);
        m_range /= total;
    }
    /// True if the code falls into the first \a width parts.
    Q_ALWAYS_INLINE bool isBelow(quint32 width) const noexcept { return m_ahead < m_range * width; }
    /// The part into which the code falls; a damaged stream may answer the total and more.
    Q_ALWAYS_INLINE quint32 count() const noexcept { return m_ahead / m_range; }
    /// Takes the parts [\a below, \a below + \a width).
    Q_ALWAYS_INLINE void take(quint32 below, quint32 width) noexcept
    {
        m_low += below * m_range;
        m_ahead -= below * m_range;
        m_range *= width;
        normalizeEvenly();
    }
    /// Takes the first \a width parts.
    Q_ALWAYS_INLINE void takeFirst(quint32 width) noexcept
    {
        m_range *= width;
        normalize();
    }

    /// Answers whether the single symbol came, which has \a probability of 2^14; hit() or miss()
    /// with the same probability has to follow.
    Q_ALWAYS_INLINE bool isHit(quint32 probability) const noexcept
    {
        return m_ahead < (m_range >> ppmd::binaryTotalBits) * probability;
    }
    Q_ALWAYS_INLINE void hit(quint32 probability) noexcept
    {
        m_range = (m_range >> ppmd::binaryTotalBits) * probability;
        normalize();
    }
    Q_ALWAYS_INLINE void miss(quint32 probability) noexcept
    {
        const quint32 step = m_range >> ppmd::binaryTotalBits;
        m_low += step * probability;
        m_ahead -= step * probability;
        m_range = step * ((1u << ppmd::binaryTotalBits) - probability);
        normalize();
    }

private:
    Q_ALWAYS_INLINE void shift() noexcept
    {
        m_range <<= 8;
        m_low <<= 8;
        // Format: a missing byte makes the code all ones, whatever it was.
        m_ahead = m_input != m_end ? (m_ahead << 8) | *m_input++ : 0xFFFFFFFF - m_low;
    }

    /// See RangeEncoder::normalize().
    Q_ALWAYS_INLINE void normalize() noexcept
    {
        const quint32 unsettled = m_low ^ (m_low + m_range);
        if (unsettled < ppmd::rangeTop) {
            if (m_end - m_input < 4) [[unlikely]] {
                *this = normalizedBytewise(*this);
                return;
            }
            const int bytes = std::countl_zero(unsettled) / 8;
            const quint32 next = qFromBigEndian<quint32>(m_input);
            m_ahead = (m_ahead << (8 * bytes)) | (next >> (32 - 8 * bytes));
            m_input += bytes;
            m_low <<= 8 * bytes;
            m_range <<= 8 * bytes;
        }
        if (m_range < ppmd::rangeBottom) [[unlikely]]
            *this = normalizedBytewise(*this);
    }

    /// See RangeEncoder::normalizeEvenly().
    Q_ALWAYS_INLINE void normalizeEvenly() noexcept
    {
        const quint32 unsettled = m_low ^ (m_low + m_range);
        if (m_end - m_input < 4) [[unlikely]] {
            *this = normalizedBytewise(*this);
            return;
        }
        const int bytes = std::countl_zero(unsettled) / 8; // 0 to 3, for the range is not 0
        const quint64 next = quint64(m_ahead) << 32 | qFromBigEndian<quint32>(m_input);
        m_ahead = quint32((next << (8 * bytes)) >> 32);
        m_input += bytes;
        m_low <<= 8 * bytes;
        m_range <<= 8 * bytes;
        if (m_range < ppmd::rangeBottom) [[unlikely]]
            *this = normalizedBytewise(*this);
    }

    /// See RangeEncoder::normalizedBytewise().
    Q_NEVER_INLINE static RangeDecoder normalizedBytewise(RangeDecoder coder) noexcept
    {
        while (true) {
            if ((coder.m_low ^ (coder.m_low + coder.m_range)) >= ppmd::rangeTop) {
                if (coder.m_range >= ppmd::rangeBottom)
                    return coder;
                coder.m_range = (0 - coder.m_low) & (ppmd::rangeBottom - 1);
            }
            coder.shift();
        }
    }

    /// Format: see RangeEncoder::widened().
    Q_NEVER_INLINE static RangeDecoder widened(RangeDecoder coder, quint32 total) noexcept
    {
        while (total > coder.m_range) {
            coder.m_range = (0 - coder.m_low) & 0xFFFF;
            coder.shift();
        }
        return coder;
    }

    quint32 m_low = 0;
    quint32 m_range = 0;
    quint32 m_ahead = 0; ///< The code, counted from low.
    const quint8 *m_input;
    const quint8 *m_end;
};

} // namespace kyv::compressor::internal
