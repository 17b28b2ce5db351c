#pragma once

#include <QtGlobal>

namespace kyv::test::reference {

/// The range coder of docs/formats/bytes.md, both directions.
///
/// Encoder and decoder divide the range alike; they differ in what they do with a byte that
/// leaves it: the encoder writes the top byte of low, the decoder reads one into code.
class ReferenceRangeCoder
{
public:
    explicit ReferenceRangeCoder(quint64 &cuts)
        : m_cuts(&cuts)
    {}

    void startEncoding(char *output, qsizetype capacity)
    {
        *this = ReferenceRangeCoder(m_cuts, output, capacity, nullptr, 0);
    }

    void startDecoding(const char *input, qsizetype length)
    {
        *this = ReferenceRangeCoder(m_cuts, nullptr, 0, input, length);
        for (int i = 0; i < 4; ++i)
            m_code = (m_code << 8) | read();
    }

    void encodeInterval(quint32 low, quint32 high, quint32 total)
    {
        divide(total);
        takeInterval(low, high);
    }

    /// Where the code lies in a context's total; takeInterval() completes the step.
    quint32 decodeCount(quint32 total)
    {
        divide(total);
        return (m_code - m_low) / m_range;
    }

    void takeInterval(quint32 low, quint32 high)
    {
        m_low += low * m_range;
        m_range *= high - low;
    }

    void encodeBinary(quint32 probability, bool hit)
    {
        m_range >>= 14;
        takeInterval(hit ? 0 : probability, hit ? probability : BinaryTotal);
    }

    bool decodeBinary(quint32 probability)
    {
        m_range >>= 14;
        const bool hit = m_code - m_low < m_range * probability;
        takeInterval(hit ? 0 : probability, hit ? probability : BinaryTotal);
        return hit;
    }

    void normalise()
    {
        for (;;) {
            if ((m_low ^ (m_low + m_range)) >= Top) {
                if (m_range >= Bottom)
                    return;
                m_range = (0 - m_low) & (Bottom - 1);
            }
            shift();
        }
    }

    /// Writes what is left of low; the number of bytes stored in all.
    qsizetype flush()
    {
        for (int k = 24; k >= 0; k -= 8)
            write(m_low >> k);
        return m_position;
    }

private:
    static constexpr quint32 Top = 1u << 24;
    static constexpr quint32 Bottom = 1u << 15;
    static constexpr quint32 BinaryTotal = 1u << 14;

    ReferenceRangeCoder(quint64 *cuts, char *output, qsizetype capacity, const char *input,
                        qsizetype length)
        : m_cuts(cuts)
        , m_output(output)
        , m_capacity(capacity)
        , m_input(input)
        , m_length(length)
    {}

    void divide(quint32 total)
    {
        while (total > m_range) { // "A total above the range"
            ++*m_cuts;
            m_range = (0 - m_low) & 0xFFFF;
            shift();
        }
        m_range /= total;
    }

    void shift()
    {
        if (m_output)
            write(m_low >> 24);
        else
            m_code = (m_code << 8) | read();
        m_range <<= 8;
        m_low <<= 8;
    }

    void write(quint32 byte)
    {
        if (m_position < m_capacity)
            m_output[m_position++] = char(byte & 0xFF);
    }

    quint32 read() { return m_position < m_length ? quint8(m_input[m_position++]) : 0xFFFFFFFF; }

    quint64 *m_cuts;
    char *m_output = nullptr;
    qsizetype m_capacity = 0;
    const char *m_input = nullptr;
    qsizetype m_length = 0;
    qsizetype m_position = 0;
    quint32 m_low = 0;
    quint32 m_range = 0xFFFFFFFF;
    quint32 m_code = 0;
};

} // namespace kyv::test::reference
