#pragma once

#include <QtEndian>
#include <QtGlobal>

namespace kyv::compressor::internal {

/// Adds bit fields into zeroed little-endian 64-bit words: bit p is bit (p mod 8) of byte
/// (p div 8), fields start with their lowest bit.
///
/// The open word is kept here and stored at every write, so the buffer needs no zeroing; it needs
/// room for whole words, to the end of the word that holds the last bit. Bytes below the first
/// position, up to seven in the same word, are overwritten with zeros.
class BitWriter
{
public:
    /// A writer into \a bytes, which starts at \a bitPosition.
    BitWriter(uchar *bytes, quint64 bitPosition) noexcept
        : m_next(bytes + bitPosition / 64 * 8)
        , m_begin(bytes)
        , m_shift(unsigned(bitPosition % 64))
    {}

    /// Writes the \a width bits (0 to 64) of \a value, which has no bits above them.
    void write(quint64 value, unsigned width) noexcept
    {
        Q_ASSERT(width == 64 || (width < 64 && value >> width == 0));
        m_word += value << m_shift;
        qToLittleEndian(m_word, m_next);
        const quint64 above = (value >> 1) >> (63 - m_shift); // what the next word begins with
        const unsigned end = m_shift + width;
        m_word = end >= 64 ? above : m_word;
        m_next += end / 64 * 8;
        m_shift = end % 64;
    }

    /// Adds \a value at the next bit, unmasked, and moves on by \a width bits (1 to 63).
    ///
    /// Format: bits of the value above the width are added to the fields that follow, with the
    /// carry that makes inside the 64-bit word. They are lost where the field ends with its word,
    /// because the next write enters a zeroed one.
    void addUnmasked(quint64 value, unsigned width) noexcept
    {
        Q_ASSERT(width >= 1 && width <= 63);
        const bool endsWithWord = m_shift + width == 64;
        const quint64 excess = value >> width << width;
        write(value - excess, width);
        if (endsWithWord)
            return;
        // Here the field's end is inside the open word, with the excess just above it.
        m_word += (excess >> width) << m_shift;
        qToLittleEndian(m_word, m_next);
    }

    /// Moves up to the next byte boundary over zero bits and stores the open word, so that all
    /// that was written stands in the buffer.
    void alignToByte() noexcept { write(0, (8 - m_shift % 8) % 8); }

    /// The position of the next bit to write.
    quint64 position() const noexcept { return quint64(m_next - m_begin) * 8 + m_shift; }

private:
    uchar *m_next;  // where the open word is stored
    uchar *m_begin; // of the payload
    quint64 m_word = 0;
    unsigned m_shift; // bits of the open word that are written
};

} // namespace kyv::compressor::internal
