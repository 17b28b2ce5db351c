// The two loops of the byte format. Encoder and decoder stand side by side;
// each pair divides the range in the same places and tells the model the same things.

#include "ReferenceByteCodec.h"

#include <algorithm>

namespace kyv::test::reference {

namespace {

constexpr quint32 StateSize = ReferenceByteModel::StateSize;
constexpr int Escape = -1;

} // namespace

ReferenceByteCodec::ReferenceByteCodec(BlockSize size, int order)
    : m_model(size, order)
    , m_coder(m_model.rarePaths().rangeCuts)
{}

// Encoding.

QByteArray ReferenceByteCodec::encode(const QByteArray &input, qsizetype capacity)
{
    QByteArray stream(std::max<qsizetype>(capacity, 0), Qt::Uninitialized);
    m_coder.startEncoding(stream.data(), stream.size());
    m_model.start();
    for (qsizetype i = 0;; ++i) {
        const int symbol = i < input.size() ? quint8(input.at(i)) : Escape;
        m_model.beginSymbol();
        bool found = encodeSymbol(symbol);
        while (!found) {
            m_coder.normalise();
            if (!m_model.ascend()) {
                stream.resize(m_coder.flush());
                return stream;
            }
            found = encodeMasked(symbol);
        }
        m_model.finishSymbol();
        m_coder.normalise();
    }
}

/// Codes \a symbol in the first context; false where that codes an escape.
bool ReferenceByteCodec::encodeSymbol(int symbol)
{
    Offset state = m_model.firstState();
    if (m_model.isBinary()) {
        const quint32 p = m_model.binaryProbability();
        const bool hit = m_model.symbol(state) == symbol;
        m_coder.encodeBinary(p, hit);
        hit ? m_model.hitBinary() : m_model.missBinary();
        return hit;
    }
    quint32 below = 0;
    for (quint32 i = 0; i < m_model.stateCount(); ++i, state += StateSize) {
        const quint32 freq = m_model.freq(state);
        if (m_model.symbol(state) == symbol) {
            m_coder.encodeInterval(below, below + freq, m_model.total());
            m_model.hit(state);
            return true;
        }
        below += freq;
    }
    m_coder.encodeInterval(below, m_model.total(), m_model.total());
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
        m_coder.encodeInterval(below, below + m_model.freq(found), sum + escape);
        m_model.hitMasked(found);
        return true;
    }
    m_coder.encodeInterval(sum, sum + escape, sum + escape);
    m_model.missMasked(sum + escape);
    return false;
}

// Decoding.

QByteArray ReferenceByteCodec::decode(const QByteArray &stream, qsizetype capacity)
{
    m_coder.startDecoding(stream.constData(), stream.size());
    m_model.start();
    QByteArray result;
    for (;;) {
        m_model.beginSymbol();
        int symbol = decodeSymbol();
        while (symbol == Escape) {
            m_coder.normalise();
            if (!m_model.ascend())
                return result;
            symbol = decodeMasked();
        }
        if (result.size() < capacity)
            result.append(char(symbol));
        if (result.size() >= capacity)
            return result;
        m_model.finishSymbol();
        m_coder.normalise();
    }
}

int ReferenceByteCodec::decodeSymbol()
{
    Offset state = m_model.firstState();
    if (m_model.isBinary()) {
        const quint32 p = m_model.binaryProbability();
        const int symbol = m_model.symbol(state);
        const bool hit = m_coder.decodeBinary(p);
        hit ? m_model.hitBinary() : m_model.missBinary();
        return hit ? symbol : Escape;
    }
    const quint32 count = m_coder.decodeCount(m_model.total());
    quint32 below = 0;
    for (quint32 i = 0; i < m_model.stateCount(); ++i, state += StateSize) {
        const quint32 freq = m_model.freq(state);
        if (count < below + freq) {
            const int symbol = m_model.symbol(state);
            m_coder.takeInterval(below, below + freq);
            m_model.hit(state);
            return symbol;
        }
        below += freq;
    }
    m_coder.takeInterval(below, m_model.total());
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
    const quint32 count = m_coder.decodeCount(total);
    if (count >= sum) {
        m_coder.takeInterval(sum, total);
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
    m_coder.takeInterval(below, below + m_model.freq(state));
    m_model.hitMasked(state);
    return symbol;
}

} // namespace kyv::test::reference
