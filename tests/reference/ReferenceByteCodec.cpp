// The range coder and the two loops of the byte format. Encoder and decoder stand side by side;
// each pair divides the range in the same places and tells the model the same things.

#include "ReferenceByteCodec.h"

namespace kyv::test::reference {

namespace {

constexpr quint32 Top = 1u << 24;
constexpr quint32 Bottom = 1u << 15;
constexpr quint32 BinaryTotal = 1u << 14;
constexpr quint32 StateSize = ReferenceByteModel::StateSize;
constexpr int Escape = -1;

} // namespace

ReferenceByteCodec::ReferenceByteCodec(int mebibytes, int order)
    : m_model(mebibytes, order)
{}

// Bytes.

void ReferenceByteCodec::put(quint32 byte)
{
    if (m_stream.size() < m_capacity)
        m_stream.append(char(byte & 0xFF));
}

quint32 ReferenceByteCodec::nextByte()
{
    return m_position < m_stream.size() ? quint8(m_stream.at(m_position++)) : 0xFFFFFFFF;
}

// Range coder.

void ReferenceByteCodec::shift()
{
    if (m_encoding)
        put(m_low >> 24);
    else
        m_code = (m_code << 8) | nextByte();
    m_range <<= 8;
    m_low <<= 8;
}

void ReferenceByteCodec::normalise()
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

void ReferenceByteCodec::cutTo(quint32 total)
{
    while (total > m_range) {
        ++m_model.rarePaths().rangeCuts;
        m_range = (0 - m_low) & 0xFFFF;
        shift();
    }
}

void ReferenceByteCodec::encodeInterval(quint32 low, quint32 high, quint32 total)
{
    cutTo(total);
    m_range /= total;
    takeInterval(low, high);
}

quint32 ReferenceByteCodec::decodeCount(quint32 total)
{
    cutTo(total);
    m_range /= total;
    return (m_code - m_low) / m_range;
}

void ReferenceByteCodec::takeInterval(quint32 low, quint32 high)
{
    m_low += low * m_range;
    m_range *= high - low;
}

// Encoding.

QByteArray ReferenceByteCodec::encode(const QByteArray &input, qsizetype capacity)
{
    m_encoding = true;
    m_stream.clear();
    m_capacity = capacity;
    m_low = 0;
    m_range = 0xFFFFFFFF;
    m_model.start();
    for (qsizetype i = 0;; ++i) {
        const int symbol = i < input.size() ? quint8(input.at(i)) : Escape;
        m_model.beginSymbol();
        bool found = encodeSymbol(symbol);
        while (!found) {
            normalise();
            if (!m_model.ascend()) {
                for (int k = 24; k >= 0; k -= 8)
                    put(m_low >> k);
                return m_stream;
            }
            found = encodeMasked(symbol);
        }
        m_model.finishSymbol();
        normalise();
    }
}

/// Codes \a symbol in the first context; false where that codes an escape.
bool ReferenceByteCodec::encodeSymbol(int symbol)
{
    Offset state = m_model.firstState();
    if (m_model.isBinary()) {
        const quint32 p = m_model.binaryProbability();
        const bool hit = m_model.symbol(state) == symbol;
        m_range >>= 14;
        takeInterval(hit ? 0 : p, hit ? p : BinaryTotal);
        hit ? m_model.hitBinary() : m_model.missBinary();
        return hit;
    }
    quint32 below = 0;
    for (quint32 i = 0; i < m_model.stateCount(); ++i, state += StateSize) {
        const quint32 freq = m_model.freq(state);
        if (m_model.symbol(state) == symbol) {
            encodeInterval(below, below + freq, m_model.total());
            m_model.hit(state);
            return true;
        }
        below += freq;
    }
    encodeInterval(below, m_model.total(), m_model.total());
    m_model.miss();
    return false;
}

/// Codes \a symbol in a context reached by an escape.
bool ReferenceByteCodec::encodeMasked(int symbol)
{
    const quint32 escape = m_model.selectEscapeFrequency();
    Offset found = None;
    quint32 below = 0;
    quint32 sum = 0;
    Offset state = m_model.firstState();
    for (quint32 i = 0; i < m_model.stateCount(); ++i, state += StateSize) {
        if (m_model.isMasked(state))
            continue;
        if (m_model.symbol(state) == symbol) {
            found = state;
            below = sum;
        }
        sum += m_model.freq(state);
    }
    if (found != None) {
        encodeInterval(below, below + m_model.freq(found), sum + escape);
        m_model.hitMasked(found);
        return true;
    }
    encodeInterval(sum, sum + escape, sum + escape);
    m_model.missMasked(sum + escape);
    return false;
}

// Decoding.

QByteArray ReferenceByteCodec::decode(const QByteArray &stream, qsizetype capacity)
{
    m_encoding = false;
    m_stream = stream;
    m_position = 0;
    m_low = 0;
    m_range = 0xFFFFFFFF;
    m_code = 0;
    for (int i = 0; i < 4; ++i)
        m_code = (m_code << 8) | nextByte();
    m_model.start();
    QByteArray result;
    for (;;) {
        m_model.beginSymbol();
        int symbol = decodeSymbol();
        while (symbol == Escape) {
            normalise();
            if (!m_model.ascend())
                return result;
            symbol = decodeMasked();
        }
        if (result.size() < capacity)
            result.append(char(symbol));
        if (result.size() >= capacity)
            return result;
        m_model.finishSymbol();
        normalise();
    }
}

int ReferenceByteCodec::decodeSymbol()
{
    Offset state = m_model.firstState();
    if (m_model.isBinary()) {
        const quint32 p = m_model.binaryProbability();
        const int symbol = m_model.symbol(state);
        m_range >>= 14;
        const bool hit = m_code - m_low < m_range * p;
        takeInterval(hit ? 0 : p, hit ? p : BinaryTotal);
        hit ? m_model.hitBinary() : m_model.missBinary();
        return hit ? symbol : Escape;
    }
    const quint32 count = decodeCount(m_model.total());
    quint32 below = 0;
    for (quint32 i = 0; i < m_model.stateCount(); ++i, state += StateSize) {
        const quint32 freq = m_model.freq(state);
        if (count < below + freq) {
            const int symbol = m_model.symbol(state);
            takeInterval(below, below + freq);
            m_model.hit(state);
            return symbol;
        }
        below += freq;
    }
    takeInterval(below, m_model.total());
    m_model.miss();
    return Escape;
}

int ReferenceByteCodec::decodeMasked()
{
    const quint32 escape = m_model.selectEscapeFrequency();
    quint32 sum = 0;
    Offset state = m_model.firstState();
    for (quint32 i = 0; i < m_model.stateCount(); ++i, state += StateSize) {
        if (!m_model.isMasked(state))
            sum += m_model.freq(state);
    }
    const quint32 total = sum + escape;
    const quint32 count = decodeCount(total);
    if (count >= sum) {
        takeInterval(sum, total);
        m_model.missMasked(total);
        return Escape;
    }
    quint32 below = 0;
    for (state = m_model.firstState();; state += StateSize) {
        if (m_model.isMasked(state))
            continue;
        if (count < below + m_model.freq(state))
            break;
        below += m_model.freq(state);
    }
    const int symbol = m_model.symbol(state);
    takeInterval(below, below + m_model.freq(state));
    m_model.hitMasked(state);
    return symbol;
}

} // namespace kyv::test::reference
