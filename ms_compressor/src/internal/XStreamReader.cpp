// Reading of the x stream, docs/formats/points-bit-compressed.md.
//
// A residual's place depends on the widths of all fields before it, so the time goes into one
// chain: load a field header, find its end, load the next. The fast path keeps everything else off
// that chain. It reads residuals in batches, without looking at what becomes of them; it treats
// inline fields and width groups alike, because in a centroid spectrum no branch predictor tells
// them apart; and it takes four members of each group whether they are there or not.

#include "XStream.h"

#include "BitLength.h"
#include "BitReader.h"
#include "Bmi2.h"

#include <bit>

namespace kyv::compressor::internal {

namespace {

/// The bits that all x patterns share, as the decoder reads them.
struct SharedBits
{
    unsigned trailing; // T: 0 to 63
    quint64 bits;      // prefix and trailing bits in place
    bool mayRunOut;    // x reads past the payload's end give zero bits
};

SharedBits readSharedBits(BitReader &reader, quint32 pointCount) noexcept
{
    SharedBits shared;
    const unsigned leading = unsigned(reader.read(6));
    const quint64 prefix = shiftLeft(reader.read(int(leading)), 64 - leading);
    shared.trailing = unsigned(reader.read(6));

    // Format: lists of x of unlike sign (no common leading bits) and of equal x (64 trailing bits,
    // stored as 0 and a one at the next bit) are read otherwise than they were written, and reading
    // may pass the end.
    BitReader ahead = reader;
    const bool isEqualX = leading == 63 && pointCount >= 2 && shared.trailing == 0
                          && ahead.read(64) == 1 && !ahead.overrun();
    shared.mayRunOut = leading == 0 || isEqualX;
    shared.bits = prefix + reader.read(int(shared.trailing));
    return shared;
}

/// Where reading stands between two points.
struct Cursor
{
    quint64 bitPosition;
    quint64 point = 0;
    unsigned left = 0;  // members of the open group that are not taken yet
    unsigned width = 0; // of these
    PatternRestorer restorer = {};

    /// The end of the last field that was entered.
    quint64 fieldEnd() const noexcept { return bitPosition + quint64(left) * width; }
};

// The plain path

/// Reads the points from the cursor on; false if a point of order 0 or 1 stands inside a group.
bool readPoints(const PointsPayload &payload, const SharedBits &shared, Cursor &cursor,
                QPointF *points) noexcept
{
    BitReader reader(payload.bytes, payload.size, cursor.bitPosition);
    for (; cursor.point < payload.pointCount; ++cursor.point) {
        const PredictorOrder order = payload.order(cursor.point);
        if (cursor.left == 0) {
            cursor.left = isGrouped(order) ? unsigned(reader.read(4)) + 1 : 1;
            cursor.width = unsigned(reader.read(6));
        } else if (!isGrouped(order)) {
            return false;
        }
        --cursor.left;
        quint64 residual = shiftLeft(reader.read(int(cursor.width)), shared.trailing);
        if (order == 0)
            residual += shared.bits;
        const quint64 pattern = cursor.restorer.next(order, residual);
        points[cursor.point].setX(std::bit_cast<double>(pattern));
    }
    cursor.bitPosition = reader.position();
    return true;
}

// The fast path

/// Points that are read together: their order codes fit one load, wherever it starts in a byte.
constexpr unsigned stretchPoints = 28;

/// What a stretch may read beyond its first bit: a header and a residual a point, of 16 members
/// more where a group ends behind it, and the last load.
constexpr quint64 stretchReach = (stretchPoints * 73 + 16 * 63) / 8 + 16;

/// The widest field that one load holds, wherever it starts in a byte.
constexpr unsigned maxLoadWidth = 57;

/// Members taken from every group of a run, whether they are there or not.
constexpr unsigned membersTaken = 4;

/// In a load of order codes: the bits of a stretch, and of these the ones that tell grouped codes.
constexpr quint64 stretchBits = ~quint64(0) << (64 - 2 * stretchPoints);
constexpr quint64 groupedBits = stretchBits & 0xAAAAAAAAAAAAAAAA;

/// The order codes from \a point on, the first in the highest two bits; those of a stretch at
/// least.
Q_ALWAYS_INLINE quint64 loadOrders(const PointsPayload &payload, quint64 point) noexcept
{
    return qFromBigEndian<quint64>(payload.orderCodes() + point / 4) << (point % 4 * 2);
}

/// All ones if bit \a index from the top is set, else zero.
constexpr quint64 maskOfBit(quint64 value, int index) noexcept
{
    return quint64(qint64(value << index) >> 63);
}

Q_ALWAYS_INLINE quint64 loadWideBits(const uchar *bytes, quint64 bitPosition) noexcept
{
    const quint64 low = loadBits(bytes, bitPosition);
    return bitPosition % 8 == 0
               ? low
               : low | quint64(bytes[bitPosition / 8 + 8]) << (64 - bitPosition % 8);
}

/// Reads a stretch of any orders, point by point without a branch on what a point is.
Q_ALWAYS_INLINE bool readMixedStretch(const PointsPayload &payload, const SharedBits &shared,
                                      Cursor &cursor, QPointF *points) noexcept
{
    const uchar *bytes = payload.bytes;
    quint64 orders = loadOrders(payload, cursor.point);
    quint64 position = cursor.bitPosition;
    unsigned left = cursor.left;
    unsigned width = cursor.width;
    PatternRestorer restorer = cursor.restorer;
    QPointF *point = points + cursor.point;
    bool intruder = false;
    for (unsigned i = 0; i < stretchPoints; ++i) {
        const unsigned grouped = unsigned(orders >> 63);
        const quint64 header = loadBits(bytes, position);
        const bool opens = left == 0;
        const unsigned newLeft = unsigned(header) & (grouped * 15);
        const unsigned newWidth = unsigned(header >> (grouped * 4)) & 63;
        const unsigned headerWidth = opens ? 6 + grouped * 4 : 0;
        left = opens ? newLeft : left - 1;
        width = opens ? newWidth : width;
        intruder |= !opens && !grouped;

        position += headerWidth;
        quint64 residual = loadBits(bytes, position);
        if (Q_UNLIKELY(width > maxLoadWidth))
            residual = loadWideBits(bytes, position);
        residual = (residual & lowMask(width)) << shared.trailing;
        position += width;

        const quint64 stepMask = maskOfBit(orders, 0);
        const quint64 pattern =
            Q_UNLIKELY(orders >> 62 == 0)
                ? restorer.restart(residual + shared.bits)
                : restorer.advance(stepMask, stepMask & maskOfBit(orders, 1), residual);
        point[i].setX(std::bit_cast<double>(pattern));
        orders <<= 2;
    }
    cursor.bitPosition = position;
    cursor.point += stretchPoints;
    cursor.left = left;
    cursor.width = width;
    cursor.restorer = restorer;
    return !intruder;
}

/// Residuals of a stretch as they are stored, with room for what is taken beyond it.
using Residuals = quint64[stretchPoints + 2 * 16 + membersTaken];

/// Takes \a count residuals (1 to 16).
Q_ALWAYS_INLINE void takeMembers(const uchar *bytes, quint64 position, unsigned width,
                                 unsigned count, quint64 *residuals) noexcept
{
    if (Q_UNLIKELY(width > maxLoadWidth)) {
        for (unsigned i = 0; i < count; ++i)
            residuals[i] = loadWideBits(bytes, position + i * width) & lowMask(width);
        return;
    }
    const quint64 mask = lowMask(width);
    for (unsigned i = 0; i < membersTaken; ++i)
        residuals[i] = loadBits(bytes, position + i * width) & mask;
    for (unsigned i = membersTaken; i < count; ++i)
        residuals[i] = loadBits(bytes, position + i * width) & mask;
}

/// Reads a stretch of orders 2 and 3, group by group.
Q_ALWAYS_INLINE void readGroupedStretch(const PointsPayload &payload, const SharedBits &shared,
                                        Cursor &cursor, QPointF *points) noexcept
{
    Residuals residuals;
    const uchar *bytes = payload.bytes;
    quint64 position = cursor.bitPosition;
    unsigned width = cursor.width;
    unsigned filled = cursor.left;
    if (filled > 0) {
        takeMembers(bytes, position, width, filled, residuals);
        position += filled * width;
    }
    while (filled < stretchPoints) {
        const unsigned header = unsigned(loadBits(bytes, position));
        const unsigned count = (header & 15) + 1;
        width = (header >> 4) & 63;
        position += 10;
        takeMembers(bytes, position, width, count, residuals + filled);
        position += count * width;
        filled += count;
    }
    cursor.left = filled - stretchPoints;
    cursor.width = width;
    cursor.bitPosition = position - cursor.left * width;

    quint64 orders = loadOrders(payload, cursor.point);
    PatternRestorer restorer = cursor.restorer;
    QPointF *point = points + cursor.point;
    if ((orders | ~stretchBits) == ~quint64(0)) {
        for (unsigned i = 0; i < stretchPoints; ++i)
            point[i].setX(std::bit_cast<double>(
                restorer.advance(~quint64(0), ~quint64(0), residuals[i] << shared.trailing)));
    } else {
        for (unsigned i = 0; i < stretchPoints; ++i) {
            point[i].setX(std::bit_cast<double>(restorer.advance(~quint64(0), maskOfBit(orders, 1),
                                                                 residuals[i] << shared.trailing)));
            orders <<= 2;
        }
    }
    cursor.restorer = restorer;
    cursor.point += stretchPoints;
}

/// Reads stretches as long as they lie safely inside the payload; false if a point of order 0 or 1
/// stands inside a group.
Q_ALWAYS_INLINE bool readStretches(const PointsPayload &payload, const SharedBits &shared,
                                   Cursor &cursor, QPointF *points) noexcept
{
    if (payload.size < stretchReach)
        return true;
    const quint64 lastPosition = 8 * (payload.size - stretchReach);
    while (cursor.point + stretchPoints <= payload.pointCount
           && cursor.bitPosition <= lastPosition) {
        const quint64 orders = loadOrders(payload, cursor.point);
        if ((orders & groupedBits) == groupedBits)
            readGroupedStretch(payload, shared, cursor, points);
        else if (!readMixedStretch(payload, shared, cursor, points))
            return false;
    }
    return true;
}

bool readStretchesPortable(const PointsPayload &payload, const SharedBits &shared, Cursor &cursor,
                           QPointF *points) noexcept
{
    return readStretches(payload, shared, cursor, points);
}

KYV_BMI2 bool readStretchesBmi2(const PointsPayload &payload, const SharedBits &shared,
                                Cursor &cursor, QPointF *points) noexcept
{
    return readStretches(payload, shared, cursor, points);
}

/// True if the fields that were entered end inside the payload, or need not.
bool endsInside(const PointsPayload &payload, const SharedBits &shared,
                const Cursor &cursor) noexcept
{
    return shared.mayRunOut || cursor.fieldEnd() <= 8 * payload.size;
}

} // namespace

bool detail::readXStreamPlain(const PointsPayload &payload, QPointF *points) noexcept
{
    BitReader reader(payload.bytes, payload.size, 8 * payload.xOffset(payload.pointCount));
    const SharedBits shared = readSharedBits(reader, payload.pointCount);
    Cursor cursor{reader.position()};
    return readPoints(payload, shared, cursor, points) && endsInside(payload, shared, cursor);
}

bool readXStream(const PointsPayload &payload, QPointF *points) noexcept
{
    BitReader reader(payload.bytes, payload.size, 8 * payload.xOffset(payload.pointCount));
    const SharedBits shared = readSharedBits(reader, payload.pointCount);
    Cursor cursor{reader.position()};
    const auto readStretchesHere = usesBmi2() ? readStretchesBmi2 : readStretchesPortable;
    return readStretchesHere(payload, shared, cursor, points)
           && readPoints(payload, shared, cursor, points) && endsInside(payload, shared, cursor);
}

} // namespace kyv::compressor::internal
