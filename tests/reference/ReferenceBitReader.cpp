#include "ReferenceBitCompression.h"
#include "ReferenceBits.h"

#include <QtEndian>

#include <bit>
#include <deque>

// The section numbers are those of docs/formats/points-bit-compressed.md.

namespace kyv::test::reference {

namespace {

// Section 1: bits.

bool bitOf(const QByteArray &bytes, quint64 position)
{
    return (quint8(bytes[qsizetype(position / 8)]) >> (position % 8)) & 1;
}

/// Reads fields, lowest bit first. What lies behind the payload's end reads as zero where that is
/// allowed, and is remembered as a failure elsewhere.
class FieldReader
{
public:
    FieldReader(const QByteArray &payload, quint64 position)
        : m_payload(payload)
        , m_bitCount(quint64(payload.size()) * 8)
        , m_position(position)
    {}

    quint64 read(int width)
    {
        quint64 value = 0;
        for (int i = 0; i < width; ++i, ++m_position) {
            if (m_position >= m_bitCount)
                m_ranOut = m_ranOut || !m_zerosBehindEnd;
            else if (bitOf(m_payload, m_position))
                value |= quint64(1) << i;
        }
        return value;
    }

    /// True if the next 64 bits, all of them inside the payload, are a one and 63 zeros.
    bool isAtLoneOne() const
    {
        if (m_position + 64 > m_bitCount || !bitOf(m_payload, m_position))
            return false;
        for (quint64 i = 1; i < 64; ++i) {
            if (bitOf(m_payload, m_position + i))
                return false;
        }
        return true;
    }

    void allowZerosBehindEnd() { m_zerosBehindEnd = true; }
    bool ranOut() const { return m_ranOut; }
    quint64 bitsPastEnd() const { return m_position > m_bitCount ? m_position - m_bitCount : 0; }

private:
    const QByteArray &m_payload;
    const quint64 m_bitCount;
    quint64 m_position;
    bool m_zerosBehindEnd = false;
    bool m_ranOut = false;
};

// Section 2: header and order codes.

std::optional<Header> readHeader(const QByteArray &payload)
{
    if (payload.size() < headerSize)
        return {};
    Header header;
    header.pointCount = qFromLittleEndian<quint32>(payload.constData());
    header.yOffset = qFromLittleEndian<quint32>(payload.constData() + 4);
    const quint64 size = quint64(payload.size());
    if (header.pointCount == 0 || header.orderCodeBytes() > size - quint64(headerSize)
        || header.yOffset < quint64(headerSize) + header.orderCodeBytes() || header.yOffset > size)
        return {};
    return header;
}

int readOrderCode(const QByteArray &payload, qsizetype point)
{
    const quint8 fourCodes = quint8(payload[headerSize + point / 4]);
    return (fourCodes >> (6 - 2 * (point % 4))) & 3;
}

// Section 3: what all x have in common.

struct CommonBits
{
    int trailingCount = 0; ///< T as stored: 64 reads as 0.
    quint64 leading = 0;   ///< In place.
    quint64 trailing = 0;
};

CommonBits readCommonBits(FieldReader &reader, quint64 pointCount)
{
    CommonBits common;
    const int leadingCount = int(reader.read(6));
    if (leadingCount == 0)
        reader.allowZerosBehindEnd();
    common.leading = shiftLeft(reader.read(leadingCount), 64 - leadingCount);
    common.trailingCount = int(reader.read(6));
    if (leadingCount == 63 && pointCount >= 2 && common.trailingCount == 0 && reader.isAtLoneOne())
        reader.allowZerosBehindEnd();
    common.trailing = reader.read(common.trailingCount);
    return common;
}

// Section 4: residuals, inline or in width groups.

/// Queues the residuals of one inline field or of one width group, in place.
void readResiduals(FieldReader &reader, int order, const CommonBits &common,
                   std::deque<quint64> &queue)
{
    if (order >= 2) {
        const quint64 count = reader.read(4) + 1;
        const int width = int(reader.read(6));
        for (quint64 i = 0; i < count; ++i)
            queue.push_back(shiftLeft(reader.read(width), common.trailingCount));
        return;
    }
    const int width = int(reader.read(6));
    quint64 residual = shiftLeft(reader.read(width), common.trailingCount);
    if (order == 0)
        residual += common.trailing + common.leading;
    queue.push_back(residual);
}

// Section 5: forecasts.

/// The patterns of the last three x; 0 before there are any.
struct History
{
    quint64 h0 = 0;
    quint64 h1 = 0;
    quint64 h2 = 0;

    void push(quint64 x)
    {
        h2 = h1;
        h1 = h0;
        h0 = x;
    }
};

quint64 restore(int order, quint64 residual, const History &last)
{
    const quint64 line = 2 * last.h0 - last.h1;
    const quint64 bend = last.h0 - 2 * last.h1 + last.h2;
    switch (order) {
    case 0:
        return residual;
    case 1:
        return residual + last.h0;
    case 2:
        return residual + line;
    default:
        return (residual ^ bend) + line;
    }
}

// Section 7: the y stream.

/// Queues the patterns of one item; false if its widths contradict each other.
bool readYItem(FieldReader &reader, std::deque<quint32> &queue)
{
    if (reader.read(1) == 0) {
        queue.assign(reader.read(3) + 1, 0);
        return true;
    }
    const quint64 count = reader.read(4) + 1;
    if (count == 1) {
        queue.push_back(quint32(reader.read(32)));
        return true;
    }
    const int leadingCount = int(reader.read(3));
    const quint32 leading = quint32(reader.read(leadingCount));
    const bool hasTrailing = reader.read(1) == 1;
    const int trailingCount = hasTrailing ? int(reader.read(5)) : 0;
    const quint32 trailing = quint32(reader.read(trailingCount));
    const int middleCount = 32 - leadingCount - trailingCount;
    if (middleCount < 0)
        return false;
    const quint32 base = (leading << ((32 - leadingCount) % 32)) + trailing;
    for (quint64 i = 0; i < count; ++i)
        queue.push_back(quint32(reader.read(middleCount) << trailingCount) + base);
    return true;
}

} // namespace

DecodedPoints decodeBitCompressed(const QByteArray &payload)
{
    if (payload.isEmpty())
        return {QList<QPointF>(), 0};
    const std::optional<Header> header = readHeader(payload);
    if (!header)
        return {};

    FieldReader xReader(payload, header->xPosition());
    FieldReader yReader(payload, header->yOffset * 8);
    const CommonBits common = readCommonBits(xReader, header->pointCount);

    QList<QPointF> points;
    std::deque<quint64> residuals;
    std::deque<quint32> yPatterns;
    History last;
    for (qsizetype i = 0; i < qsizetype(header->pointCount); ++i) {
        const int order = readOrderCode(payload, i);
        if (residuals.empty())
            readResiduals(xReader, order, common, residuals);
        else if (order <= 1)
            return {};
        const quint64 x = restore(order, residuals.front(), last);
        residuals.pop_front();
        last.push(x);

        if (yPatterns.empty() && !readYItem(yReader, yPatterns))
            return {};
        const float y = std::bit_cast<float>(yPatterns.front());
        yPatterns.pop_front();

        if (xReader.ranOut() || yReader.ranOut())
            return {};
        points.append(QPointF(std::bit_cast<double>(x), double(y)));
    }
    return {points, xReader.bitsPastEnd()};
}

} // namespace kyv::test::reference
