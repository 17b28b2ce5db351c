#pragma once

#include "internal/PpmdTables.h"

#include <QtGlobal>

namespace kyv::compressor::internal {

namespace ppmd {

inline constexpr quint32 rangeTop = quint32(1) << 24;
inline constexpr quint32 rangeBottom = quint32(1) << 15;

/// True while the first byte of low can't change any more, or the range has become too small.
Q_ALWAYS_INLINE bool firstByteIsSettled(quint32 low, quint32 range) noexcept
{
    return (low ^ (low + range)) < rangeTop;
}

} // namespace ppmd

/// Turns intervals of counts into bytes, most significant byte first; the carry-less kind.
///
/// Bytes past the capacity are dropped. See docs/formats/bytes.md, "Range coder".
class RangeEncoder
{
public:
    RangeEncoder(quint8 *output, qint32 capacity) noexcept
        : m_output(output)
        , m_end(output + (capacity > 0 ? capacity : 0))
    {}

    /// Codes [\a below, \a below + \a width) of \a total, where total is at most 65535.
    Q_ALWAYS_INLINE void encode(quint32 below, quint32 width, quint32 total) noexcept
    {
        if (total > m_range) [[unlikely]]
            widen(total);
        const quint32 step = m_range / total;
        m_low += below * step;
        m_range = width * step;
        normalize();
    }

    /// Codes whether the single symbol came, which has \a probability of 2^14.
    Q_ALWAYS_INLINE void encodeBinary(bool hit, quint32 probability) noexcept
    {
        const quint32 step = m_range >> ppmd::binaryTotalBits;
        const quint32 part = step * probability;
        m_low += hit ? 0 : part;
        m_range = hit ? part : (step << ppmd::binaryTotalBits) - part;
        normalize();
    }

    /// Writes the four bytes of low; the end of the stream.
    void flush() noexcept
    {
        for (int i = 0; i < 4; ++i) {
            write(m_low >> 24);
            m_low <<= 8;
        }
    }

    quint8 *position() const noexcept { return m_output; }

private:
    Q_ALWAYS_INLINE void write(quint32 byte) noexcept
    {
        if (m_output != m_end)
            *m_output++ = quint8(byte);
    }

    Q_ALWAYS_INLINE void shift() noexcept
    {
        write(m_low >> 24);
        m_range <<= 8;
        m_low <<= 8;
    }

    Q_ALWAYS_INLINE void normalize() noexcept
    {
        while (true) {
            if (!ppmd::firstByteIsSettled(m_low, m_range)) {
                if (m_range >= ppmd::rangeBottom)
                    return;
                m_range = (0 - m_low) & (ppmd::rangeBottom - 1);
            }
            shift();
        }
    }

    /// Format: a total above the range cuts the range once more, one bit wider than
    /// normalization does, so that no step is 0.
    void widen(quint32 total) noexcept
    {
        while (total > m_range) {
            m_range = (0 - m_low) & 0xFFFF;
            shift();
        }
    }

    quint32 m_low = 0;
    quint32 m_range = 0xFFFFFFFF;
    quint8 *m_output;
    quint8 *m_end;
};

/// Finds the intervals again: the mirror of RangeEncoder.
///
/// Past the end of the input every read sets all bits of the code.
class RangeDecoder
{
public:
    RangeDecoder(const quint8 *input, qint32 length) noexcept
        : m_input(input)
        , m_end(input + (length > 0 ? length : 0))
    {
        for (int i = 0; i < 4; ++i)
            m_code = (m_code << 8) | read();
    }

    /// Splits the range in \a total (1 to 65535) parts and returns where the code falls; a damaged
    /// stream may answer \a total and more.
    Q_ALWAYS_INLINE quint32 count(quint32 total) noexcept
    {
        if (total > m_range) [[unlikely]]
            widen(total);
        m_range /= total;
        return (m_code - m_low) / m_range;
    }

    /// Takes the interval [\a below, \a below + \a width) of the last count().
    Q_ALWAYS_INLINE void take(quint32 below, quint32 width) noexcept
    {
        m_low += below * m_range;
        m_range *= width;
        normalize();
    }

    /// Answers whether the single symbol came, which has \a probability of 2^14.
    Q_ALWAYS_INLINE bool decodeBinary(quint32 probability) noexcept
    {
        const quint32 step = m_range >> ppmd::binaryTotalBits;
        const quint32 part = step * probability;
        const bool hit = m_code - m_low < part;
        m_low += hit ? 0 : part;
        m_range = hit ? part : (step << ppmd::binaryTotalBits) - part;
        normalize();
        return hit;
    }

private:
    Q_ALWAYS_INLINE quint32 read() noexcept { return m_input != m_end ? *m_input++ : 0xFFFFFFFF; }

    Q_ALWAYS_INLINE void shift() noexcept
    {
        m_code = (m_code << 8) | read();
        m_range <<= 8;
        m_low <<= 8;
    }

    Q_ALWAYS_INLINE void normalize() noexcept
    {
        while (true) {
            if (!ppmd::firstByteIsSettled(m_low, m_range)) {
                if (m_range >= ppmd::rangeBottom)
                    return;
                m_range = (0 - m_low) & (ppmd::rangeBottom - 1);
            }
            shift();
        }
    }

    /// Format: see RangeEncoder::widen().
    void widen(quint32 total) noexcept
    {
        while (total > m_range) {
            m_range = (0 - m_low) & 0xFFFF;
            shift();
        }
    }

    quint32 m_low = 0;
    quint32 m_range = 0xFFFFFFFF;
    quint32 m_code = 0;
    const quint8 *m_input;
    const quint8 *m_end;
};

} // namespace kyv::compressor::internal
