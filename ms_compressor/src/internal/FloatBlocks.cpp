#include "FloatBlocks.h"

#include "BitLength.h"
#include "Bmi2.h"

#include <algorithm>
#include <bit>

namespace kyv::compressor::internal {

namespace {

constexpr unsigned maxLeadingBits = 7;
constexpr unsigned maxTrailingBits = 16;

/// The last \a count bits of 32 (0 to 32).
constexpr quint32 lowBits(quint32 pattern, unsigned count) noexcept
{
    return quint32(pattern & ((quint64(1) << count) - 1));
}

} // namespace

// Writing

namespace {

void writeZeroRun(BitWriter &writer, qsizetype length) noexcept
{
    for (; length > maxRunItem; length -= maxRunItem)
        writer.write(unsigned(maxRunItem - 1) << 1, 4);
    writer.write(quint64(length - 1) << 1, 4);
}

/// Writes a block of \a count floats (1 to maxBlockFloats).
inline void writeFloatBlock(BitWriter &writer, const quint32 *patterns, int count) noexcept
{
    writer.write(1 | unsigned(count - 1) << 1, 5);
    if (count == 1)
        return writer.write(patterns[0], 32);

    quint32 differences = 0; // bits that are not the same in all patterns
    for (int i = 1; i < count; ++i)
        differences |= patterns[i] ^ patterns[0];
    const unsigned leading = std::min(32 - bitLength(differences), maxLeadingBits);
    const unsigned trailing = std::min(unsigned(std::countr_zero(differences)), maxTrailingBits);

    writer.write(leading, 3);
    writer.write(quint64(patterns[0]) >> (32 - leading), leading);
    writer.write(trailing > 0 ? 1 : 0, 1);
    if (trailing > 0) {
        writer.write(trailing, 5);
        writer.write(lowBits(patterns[0], trailing), trailing);
    }
    const unsigned width = 32 - leading - trailing;
    const auto middleBits = [&](int i) -> quint64 {
        return lowBits(patterns[i], 32 - leading) >> trailing;
    };
    int i = 0;
    for (; i + 1 < count; i += 2)
        writer.write(middleBits(i) | middleBits(i + 1) << width, 2 * width);
    if (i < count)
        writer.write(middleBits(i), width);
}

} // namespace

BitWriter writeFloatBlocks(BitWriter writer, const QPointF *points, qsizetype count) noexcept
{
    quint32 patterns[maxBlockFloats];
    for (qsizetype i = 0; i < count;) {
        const qsizetype runBegin = i;
        while (i < count && points[i].y() == 0.0)
            ++i;
        if (i > runBegin)
            writeZeroRun(writer, i - runBegin);

        int pending = 0;
        for (; i < count && !(points[i].y() == 0.0); ++i) {
            patterns[pending++] = std::bit_cast<quint32>(float(points[i].y()));
            if (pending == maxBlockFloats) {
                writeFloatBlock(writer, patterns, pending);
                pending = 0;
            }
        }
        if (pending > 0)
            writeFloatBlock(writer, patterns, pending);
    }
    return writer;
}

// Reading

namespace {

/// Reads the floats of a block behind its count; false if they contradict themselves.
bool readFloatBlock(BitReader &reader, quint32 *patterns, int count) noexcept
{
    if (count == 1) {
        patterns[0] = quint32(reader.read(32));
        return true;
    }
    const unsigned leading = unsigned(reader.read(3));
    const quint32 prefix = quint32(reader.read(int(leading)) << (32 - leading));
    const unsigned trailing = reader.read(1) != 0 ? unsigned(reader.read(5)) : 0;
    if (leading + trailing > 32)
        return false;
    const quint32 base = prefix + quint32(reader.read(int(trailing)));
    const int width = int(32 - leading - trailing);
    for (int i = 0; i < count; ++i)
        patterns[i] = quint32(reader.read(width) << trailing) + base;
    return true;
}

} // namespace

bool detail::readFloatBlocksPlain(BitReader reader, QPointF *points, qsizetype count) noexcept
{
    quint32 patterns[maxBlockFloats];
    for (qsizetype i = 0; i < count;) {
        const bool isBlock = reader.read(1) != 0;
        const int itemCount = int(reader.read(isBlock ? 4 : 3)) + 1;
        const qsizetype wanted = std::min<qsizetype>(itemCount, count - i);
        if (isBlock && !readFloatBlock(reader, patterns, itemCount))
            return false;
        if (reader.overrun())
            return false;
        for (qsizetype j = 0; j < wanted; ++j)
            points[i + j].setY(isBlock ? double(std::bit_cast<float>(patterns[j])) : 0.0);
        i += wanted;
    }
    return true;
}

// Reading, the fast path

namespace {

/// Bytes that reading one item may touch, from the byte of its first bit: a header of 52 bits,
/// 16 floats, and the load of the last.
constexpr quint64 itemReach = 80;

/// What the header of a float block says.
struct BlockHeader
{
    unsigned size;     // in bits
    unsigned trailing; // bits below the middle ones
    unsigned width;    // of the middle bits; above 32 where the header contradicts itself
    quint32 base;      // the shared bits in place
};

/// Takes a block's header apart, which one load holds: \a bits are those of the block.
Q_ALWAYS_INLINE BlockHeader blockHeader(quint64 bits) noexcept
{
    const unsigned leading = unsigned(bits >> 5) & 7;
    const quint64 prefix = (bits >> 8) & lowMask(leading);
    const quint64 rest = bits >> (8 + leading);
    const unsigned hasTrailing = unsigned(rest) & 1;
    const unsigned trailing = unsigned(rest >> 1) & 31 & (0 - hasTrailing);
    const quint64 low = (rest >> 6) & lowMask(trailing);
    return {8 + leading + 1 + (hasTrailing * 5) + trailing, trailing, 32 - leading - trailing,
            quint32(prefix << (32 - leading)) + quint32(low)};
}

Q_ALWAYS_INLINE double widened(quint32 pattern) noexcept
{
    return double(std::bit_cast<float>(pattern));
}

/// Where reading stands between two items.
struct ItemCursor
{
    quint64 bitPosition;
    qsizetype point = 0;
};

/// Reads items as long as they lie safely inside the bytes and the list; false if one contradicts
/// itself. Inside these limits an item may write all its places, needed or not.
Q_ALWAYS_INLINE bool readItems(const uchar *bytes, quint64 byteCount, ItemCursor &cursor,
                               QPointF *points, qsizetype count) noexcept
{
    if (byteCount < itemReach)
        return true;
    const quint64 lastPosition = 8 * (byteCount - itemReach);
    quint64 position = cursor.bitPosition;
    QPointF *point = points;
    QPointF *const lastPoint = points + count - maxBlockFloats;
    while (point <= lastPoint && position <= lastPosition) {
        const quint64 bits = loadBits(bytes, position);
        if ((bits & 1) == 0) {
            for (int i = 0; i < maxRunItem; ++i)
                point[i].setY(0.0);
            point += (bits >> 1 & 7) + 1;
            position += 4;
            continue;
        }
        const unsigned size = unsigned(bits >> 1 & 15) + 1;
        if (size == 1) {
            point->setY(widened(quint32(bits >> 5)));
            ++point;
            position += 37;
            continue;
        }
        const BlockHeader header = blockHeader(bits);
        if (Q_UNLIKELY(header.width > 32))
            return false;
        position += header.size;
        const quint64 mask = lowMask(header.width);
        for (unsigned begin = 0; begin < size; begin += 4) {
            for (unsigned i = begin; i < begin + 4; ++i) {
                const quint64 middle = loadBits(bytes, position + i * header.width) & mask;
                point[i].setY(widened(quint32(middle << header.trailing) + header.base));
            }
        }
        point += size;
        position += size * header.width;
    }
    cursor = {position, point - points};
    return true;
}

bool readItemsPortable(const uchar *bytes, quint64 byteCount, ItemCursor &cursor, QPointF *points,
                       qsizetype count) noexcept
{
    return readItems(bytes, byteCount, cursor, points, count);
}

KYV_BMI2 bool readItemsBmi2(const uchar *bytes, quint64 byteCount, ItemCursor &cursor,
                            QPointF *points, qsizetype count) noexcept
{
    return readItems(bytes, byteCount, cursor, points, count);
}

} // namespace

bool readFloatBlocks(const uchar *bytes, quint64 byteCount, quint64 bitPosition, QPointF *points,
                     qsizetype count) noexcept
{
    ItemCursor cursor{bitPosition};
    if (count >= maxBlockFloats) {
        const auto readItemsHere = usesBmi2() ? readItemsBmi2 : readItemsPortable;
        if (!readItemsHere(bytes, byteCount, cursor, points, count))
            return false;
    }
    return detail::readFloatBlocksPlain(BitReader(bytes, byteCount, cursor.bitPosition),
                                        points + cursor.point, count - cursor.point);
}

} // namespace kyv::compressor::internal
