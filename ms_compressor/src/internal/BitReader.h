#pragma once

#include <QtEndian>
#include <QtGlobal>

#include <algorithm>
#include <cstring>

namespace kyv::compressor::internal {

/// The bits from \a bitPosition on, the first lowest: 57 at least, as the load begins with the byte
/// that the first one is in. Reads eight bytes.
Q_ALWAYS_INLINE quint64 loadBits(const uchar *bytes, quint64 bitPosition) noexcept
{
    return qFromLittleEndian<quint64>(bytes + bitPosition / 8) >> (bitPosition % 8);
}

/// Reads bit fields out of bytes: bit p is bit (p mod 8) of byte (p div 8), fields start with
/// their lowest bit.
class BitReader
{
public:
    /// A reader of \a byteCount bytes at \a bytes, which starts at \a bitPosition.
    BitReader(const uchar *bytes, quint64 byteCount, quint64 bitPosition) noexcept
        : m_bytes(bytes)
        , m_byteCount(byteCount)
        , m_position(bitPosition)
    {}

    /// Returns the next \a width bits (0 to 64), lowest bit first, and moves past them.
    ///
    /// Bits past the end read as zero and are remembered: a decoder asks overrun() once for a
    /// whole record instead of testing every field.
    quint64 read(int width) noexcept
    {
        Q_ASSERT(width >= 0 && width <= 64);
        const int shift = int(m_position % 8);
        quint64 field = bytesAt(m_position / 8) >> shift;
        if (shift + width > 64) // straddles into a ninth byte, so shift is at least 1
            field |= bytesAt(m_position / 8 + 8) << (64 - shift);
        m_position += quint64(width);
        return width == 64 ? field : field & ((quint64(1) << width) - 1);
    }

    /// Moves past \a width bits without reading them.
    void skip(quint64 width) noexcept { m_position += width; }

    /// The position of the next bit to read.
    quint64 position() const noexcept { return m_position; }

    /// True if a field reached past the last byte.
    bool overrun() const noexcept { return m_position > 8 * m_byteCount; }

private:
    quint64 bytesAt(quint64 byteOffset) const noexcept
    {
        const quint64 left = byteOffset < m_byteCount ? m_byteCount - byteOffset : 0;
        quint64 word = 0;
        if (left >= sizeof word) // the usual case; a copy of known size is one load
            std::memcpy(&word, m_bytes + byteOffset, sizeof word);
        else if (left > 0)
            std::memcpy(&word, m_bytes + byteOffset, size_t(left));
        return qFromLittleEndian(word);
    }

    const uchar *m_bytes;
    quint64 m_byteCount;
    quint64 m_position;
};

} // namespace kyv::compressor::internal
