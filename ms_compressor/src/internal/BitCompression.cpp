// The bit-compressed point payload, docs/formats/points-bit-compressed.md:
//
//   point count | y offset | order codes, 2 bits a point | x stream | padding | y stream
//
// The x stream begins with the bits that all x patterns share; then each point leaves the residual
// of its order, inline (orders 0 and 1) or in a width group (orders 2 and 3). The y stream is a
// sequence of zero runs and float blocks.
//
// The subtle thing: shift counts are taken modulo 64 and fields are added unmasked into zeroed
// words. Both show only where all x are equal (64 trailing bits) or of unlike sign (64 residual
// bits), and both are part of the stored format.

#include "BitCompression.h"

#include "BitLength.h"
#include "BitReader.h"
#include "BitWriter.h"
#include "ErrorSite.h"
#include "FloatBlocks.h"
#include "Logging.h"
#include "PatternPredictor.h"
#include "UninitializedPoints.h"
#include "WidthGroups.h"
#include "XStream.h"

#include <QVarLengthArray>
#include <QtEndian>

#include <bit>
#include <cstring>

namespace kyv::compressor::internal {

namespace {

[[maybe_unused]] const QLoggingCategory &genericCategory =
    loggingCategory("kyv.generic", QtDebugMsg, true);

quint64 xPattern(const QPointF &point) noexcept
{
    return std::bit_cast<quint64>(double(point.x()));
}

} // namespace

// Encoding

namespace {

/// The bits that all x patterns have in common.
struct CommonBits
{
    unsigned varying;  // L: bits below the common leading ones, 1 to 64
    unsigned trailing; // T: 0 to 64
    quint64 last;      // a pattern to take them from

    /// H: the common leading bits in place.
    quint64 leadingBits() const noexcept { return shiftLeft(shiftRight(last, varying), varying); }
};

CommonBits commonBits(const QPointF *points, qsizetype count) noexcept
{
    // A bit is common to all patterns if none differs from the last one in it.
    const quint64 last = xPattern(points[count - 1]);
    quint64 differences = 0;
    for (qsizetype i = 0; i < count; ++i)
        differences |= xPattern(points[i]) ^ last;
    return {bitLength(differences), unsigned(std::countr_zero(differences)), last};
}

void writeCommonBits(BitWriter &writer, const CommonBits &common) noexcept
{
    const unsigned leading = 64 - common.varying;
    writer.write(leading, 6);
    if (leading > 0)
        writer.write(shiftRight(common.leadingBits(), common.varying), leading);
    writer.addUnmasked(common.trailing, 6); // Format: 64 for equal x, which needs seven bits
    writer.write(common.last & lowMask(common.trailing), common.trailing);
}

/// Writes a residual of order 0 or 1.
void writeInline(BitWriter &writer, quint64 residual) noexcept
{
    const unsigned width = bitLength(residual);
    if (width <= 58)
        return writer.write(width | residual << 6, 6 + width);
    writer.addUnmasked(width, 6); // Format: 64 is possible for x of unlike signs
    writer.write(residual, width);
}

/// Packs order codes of two bits, four a byte, the first in the highest bits.
class OrderCodes
{
public:
    /// Codes are packed into \a bytes.
    explicit OrderCodes(uchar *bytes) noexcept
        : m_next(bytes)
    {}

    void append(PredictorOrder order) noexcept
    {
        m_open = m_open << 2 | order;
        if (m_open >= 0x100) { // the marker has left the byte
            *m_next++ = uchar(m_open);
            m_open = 1;
        }
    }

    /// Stores the last byte, if it is not full, with zeros below its codes.
    void finish() noexcept
    {
        while (m_open != 1)
            append(0);
    }

private:
    uchar *m_next;
    unsigned m_open = 1; // codes of the open byte behind a marker bit
};

BitWriter writeXStream(BitWriter writer, OrderCodes codes, const QPointF *points,
                       qsizetype count) noexcept
{
    const CommonBits common = commonBits(points, count);
    writeCommonBits(writer, common);

    const quint64 base = shiftRight(common.leadingBits(), common.trailing);
    const unsigned trailing = common.trailing % 64;
    PatternPredictor predictor;
    quint64 pending[maxPendingResiduals];
    int pendingCount = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const Residual residual = predictor.next(xPattern(points[i]) >> trailing);
        codes.append(residual.order);
        if (isGrouped(residual.order)) {
            pending[pendingCount++] = residual.value;
            if (pendingCount < maxPendingResiduals)
                continue;
        }
        if (pendingCount == 1)
            writeSingleResidual(writer, pending[0]);
        else if (pendingCount > 1)
            writer = writeWidthGroups(writer, pending, pendingCount);
        pendingCount = 0;
        if (!isGrouped(residual.order))
            writeInline(writer, residual.order == 0 ? residual.value - base : residual.value);
    }
    if (pendingCount > 0)
        writer = writeWidthGroups(writer, pending, pendingCount);
    codes.finish();
    return writer;
}

/// Bytes that the payload of \a count points never exceeds, with room for the writer's last word.
qsizetype reservedSize(qsizetype count) noexcept
{
    constexpr qsizetype headerBits = 6 + 63 + 6 + 64;
    constexpr qsizetype pointBits = 2              // order code
                                    + (4 + 6 + 63) // x alone in its group
                                    + 39;          // y: half a block of two, which takes 77
    constexpr qsizetype roundingBits = 3 * 8;      // order codes, x stream and y stream
    constexpr qsizetype wordBits = 2 * 64;         // the open word, and one that is just entered
    return qsizetype(PointsPayload::headerSize) + (headerBits + roundingBits + wordBits) / 8
           + count * pointBits / 8 + 1;
}

} // namespace

// Decoding

namespace {

/// Reads the header; false if its numbers cannot be true of a payload of this size.
bool readHeader(const QByteArray &data, PointsPayload &payload) noexcept
{
    payload.bytes = reinterpret_cast<const uchar *>(data.constData());
    payload.size = quint64(data.size());
    if (payload.size < PointsPayload::headerSize)
        return false;
    payload.pointCount = qFromLittleEndian<quint32>(payload.bytes);
    payload.yOffset = qFromLittleEndian<quint32>(payload.bytes + 4);
    return payload.pointCount > 0 && payload.yOffset >= PointsPayload::xOffset(payload.pointCount)
           && payload.yOffset < payload.size;
}

bool decodePayload(const QByteArray &data, QList<QPointF> &points)
{
    PointsPayload payload;
    if (!readHeader(data, payload))
        return false;
    points = uninitializedPoints(qsizetype(payload.pointCount));
    return readXStream(payload, points.data())
           && readFloatBlocks(payload.bytes, payload.size, 8 * quint64(payload.yOffset),
                              points.data(), points.size());
}

} // namespace

// The codec

Result<QByteArray> BitCompression::encode(const QList<QPointF> &points)
{
    const qsizetype count = points.size();
    if (count == 0)
        return QByteArray();
    QByteArray data(reservedSize(count), Qt::Uninitialized); // resize() would take up to twice that
    auto *bytes = reinterpret_cast<uchar *>(data.data());

    BitWriter writer(bytes, 8 * PointsPayload::xOffset(quint64(count)));
    const quint64 codesSize = PointsPayload::orderCodesSize(quint64(count));
    QVarLengthArray<uchar, 1024> codes; // the words of the x stream overlap their place
    codes.resize(qsizetype(codesSize));
    writer = writeXStream(writer, OrderCodes(codes.data()), points.constData(), count);
    writer.alignToByte();
    const quint64 yOffset = writer.position() / 8;
    writer = writeFloatBlocks(writer, points.constData(), count);
    writer.alignToByte();

    qToLittleEndian(quint32(count), bytes); // Format: the low 32 bits
    qToLittleEndian(quint32(yOffset), bytes + 4);
    std::copy(codes.cbegin(), codes.cend(), bytes + PointsPayload::headerSize);
    data.resize(qsizetype(writer.position() / 8));
    data.squeeze();
    return data;
}

Result<QList<QPointF>> BitCompression::decode(const QByteArray &data)
{
    QList<QPointF> points;
    if (!data.isEmpty() && !decodePayload(data, points))
        return fail(ErrorCode::InconsistentData, QStringLiteral("Inconsistent data."),
                    KYV_SITE(bitCompressionInconsistent));
    return points;
}

} // namespace kyv::compressor::internal
