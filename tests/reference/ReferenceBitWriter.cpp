#include "ReferenceBitCompression.h"
#include "ReferenceBits.h"

#include <QtEndian>

#include <algorithm>
#include <bit>
#include <vector>

// The section numbers are those of docs/formats/points-bit-compressed.md.

namespace kyv::test::reference {

namespace {

// Section 1: bits.

quint64 lowBits(quint64 value, int count)
{
    return value & (shiftLeft(1, count) - 1);
}

/// The number of significant bits of \a value, but 1 for 0.
int significantBits(quint64 value)
{
    int count = 1;
    while (count < 64 && (value >> count) != 0)
        ++count;
    return count;
}

int trailingZeros(quint64 value, int bitCount)
{
    int count = 0;
    while (count < bitCount && !((value >> count) & 1))
        ++count;
    return count;
}

/// Writes fields by addition: every one bit of a value, also one above the field's width, is added
/// at its place, and a carry runs up to the end of its 64-bit word. A value reaches into the next
/// word only where its field does.
class FieldAdder
{
public:
    explicit FieldAdder(quint64 position)
        : m_position(position)
    {}

    void add(quint64 value, int width)
    {
        const quint64 wordEnd = (m_position / 64 + 1) * 64;
        const bool straddles = m_position + quint64(width) > wordEnd;
        m_bits.resize(std::size_t(wordEnd + 64));
        for (quint64 i = 0; i < 64 && (value >> i) != 0; ++i) {
            const quint64 position = m_position + i;
            if (!((value >> i) & 1))
                continue;
            if (position < wordEnd)
                addOne(position, wordEnd);
            else if (straddles)
                addOne(position, wordEnd + 64);
        }
        m_position += quint64(width);
    }

    void padToByte() { m_position = (m_position + 7) / 8 * 8; }
    quint64 position() const { return m_position; }

    /// The bytes that hold the bits up to the write position.
    QByteArray bytes() const
    {
        QByteArray bytes(qsizetype((m_position + 7) / 8), '\0');
        for (quint64 i = 0; i < m_position; ++i) {
            if (i < m_bits.size() && m_bits[std::size_t(i)])
                bytes[qsizetype(i / 8)] = char(quint8(bytes[qsizetype(i / 8)]) | (1 << (i % 8)));
        }
        return bytes;
    }

private:
    void addOne(quint64 position, quint64 wordEnd)
    {
        while (position < wordEnd && m_bits[std::size_t(position)])
            m_bits[std::size_t(position++)] = false;
        if (position < wordEnd)
            m_bits[std::size_t(position)] = true;
    }

    std::vector<bool> m_bits;
    quint64 m_position;
};

// Section 3: what all x have in common.

quint64 patternOf(double x)
{
    return std::bit_cast<quint64>(x);
}

struct Scan
{
    int differingCount = 1; ///< L: bits from the lowest up to the highest that differs.
    int trailingCount = 64; ///< T: bits that never differ, from the lowest up.
};

Scan scan(const QList<QPointF> &points)
{
    Scan result;
    for (qsizetype i = 1; i < points.size(); ++i) {
        const quint64 change = patternOf(points[i].x()) ^ patternOf(points[i - 1].x());
        result.differingCount = std::max(result.differingCount, significantBits(change));
        result.trailingCount = std::min(result.trailingCount, trailingZeros(change, 64));
    }
    return result;
}

void writeCommonBits(FieldAdder &out, const Scan &scanned, quint64 lastPattern)
{
    const int leadingCount = 64 - scanned.differingCount;
    out.add(quint64(leadingCount), 6);
    if (leadingCount != 0)
        out.add(shiftRight(lastPattern, scanned.differingCount), leadingCount);
    // Format: section 3, T = 64 is added unmasked into its six bits.
    out.add(quint64(scanned.trailingCount), 6);
    if (scanned.trailingCount != 0)
        out.add(lowBits(lastPattern, scanned.trailingCount), scanned.trailingCount);
}

// Section 6: the encoder's choice of orders.

class OrderChooser
{
public:
    /// Takes the next value and sets order() and residual().
    void next(quint64 value)
    {
        choose(value, std::min(m_order + 1, 3));
        m_previous = value;
    }

    int order() const { return m_order; }
    quint64 residual() const { return m_residual; }

private:
    static bool isTooLarge(quint64 difference, quint64 limit)
    {
        return difference >= (quint64(1) << 63) || (difference >> 16) >= limit;
    }

    void settle(int order, quint64 residual, quint64 d2)
    {
        m_order = order;
        m_residual = residual;
        m_d2 = d2;
        m_v = residual;
    }

    void choose(quint64 value, int order)
    {
        const quint64 d = value - m_previous;
        if (order == 0 || isTooLarge(d, m_d1)) {
            m_d1 = value;
            return settle(0, value, value);
        }
        const quint64 e = d - m_d1;
        m_d1 = d;
        if (order == 1 || isTooLarge(e, m_d2))
            return settle(1, d, d);
        if (order == 2)
            return settle(2, e, e);
        const quint64 f = e ^ m_d2;
        if (isTooLarge(f, std::max<quint64>(m_v, 1)))
            return settle(2, e, e);
        settle(3, f, e);
    }

    int m_order = -1; // the first point's order is 0
    quint64 m_residual = 0;
    quint64 m_previous = 0;
    quint64 m_d1 = 0;
    quint64 m_d2 = 0;
    quint64 m_v = 0;
};

// Section 4.3: merging widths into groups.

/// The position of the group behind the one at \a position; the list's size behind the last one.
std::size_t behind(const std::vector<WidthGroup> &groups, std::size_t position)
{
    return position + std::size_t(groups[position].count);
}

/// What joining two neighbours saves, from 1 to 10 bits; 0 if they do not qualify.
int gainOf(const WidthGroup &a, const WidthGroup &b)
{
    const int narrowerCount = a.width < b.width ? a.count : b.count;
    const int cost = narrowerCount * std::abs(a.width - b.width);
    return cost < 10 && a.count + b.count < 17 ? 10 - cost : 0;
}

} // namespace

QList<WidthGroup> mergeWidths(const QList<int> &widths)
{
    std::vector<WidthGroup> groups;
    for (const int width : widths)
        groups.push_back({1, width});

    int previousBest = 10;
    std::size_t start = 0;
    while (!groups.empty()) {
        int best = 0;
        std::size_t chosen = 0;
        for (std::size_t a = start; behind(groups, a) < groups.size(); a = behind(groups, a)) {
            const int gain = gainOf(groups[a], groups[behind(groups, a)]);
            if (gain > best) {
                best = gain;
                chosen = a;
            }
            // Format: section 4.3, a gain equal to the last pass's best ends the pass.
            if (gain == previousBest)
                break;
        }
        // Format: section 4.3, a pass that finds nothing ends the merging, wherever it began.
        if (best == 0)
            break;
        WidthGroup &a = groups[chosen];
        WidthGroup &b = groups[behind(groups, chosen)];
        a = {a.count + b.count, std::max(a.width, b.width)};
        b.count = 0;
        previousBest = best;
        start = behind(groups, chosen) < groups.size() ? chosen : 0;
    }

    QList<WidthGroup> merged;
    for (std::size_t a = 0; a < groups.size(); a = behind(groups, a))
        merged.append(groups[a]);
    return merged;
}

namespace {

// Section 4: residuals, inline or in width groups.

constexpr qsizetype pendingLimit = 256;

void writeWidthGroups(FieldAdder &out, QList<quint64> &pending)
{
    QList<int> widths;
    for (const quint64 residual : pending)
        widths.append(significantBits(residual));
    for (const WidthGroup &group : mergeWidths(widths)) {
        out.add(quint64(group.count - 1), 4);
        out.add(quint64(group.width), 6);
        for (int i = 0; i < group.count; ++i)
            out.add(pending.takeFirst(), group.width);
    }
}

void writeInline(FieldAdder &out, quint64 residual)
{
    const int width = significantBits(residual);
    // Format: section 4.1, a width of 64 is added unmasked into its six bits.
    out.add(quint64(width), 6);
    out.add(residual, width);
}

/// Writes the x stream; returns the order codes.
QList<int> writeX(FieldAdder &out, const QList<QPointF> &points)
{
    const Scan scanned = scan(points);
    const quint64 lastPattern = patternOf(points.last().x());
    writeCommonBits(out, scanned, lastPattern);

    const quint64 leading =
        shiftLeft(shiftRight(lastPattern, scanned.differingCount), scanned.differingCount);
    const quint64 base = shiftRight(leading, scanned.trailingCount);
    QList<int> orders;
    QList<quint64> pending;
    OrderChooser chooser;
    for (const QPointF &point : points) {
        chooser.next(shiftRight(patternOf(point.x()), scanned.trailingCount));
        orders.append(chooser.order());
        if (chooser.order() <= 1) {
            writeWidthGroups(out, pending);
            writeInline(out, chooser.residual() - (chooser.order() == 0 ? base : 0));
            continue;
        }
        pending.append(chooser.residual());
        if (pending.size() == pendingLimit)
            writeWidthGroups(out, pending);
    }
    writeWidthGroups(out, pending);
    return orders;
}

// Section 7: the y stream.

void writeZeroRun(FieldAdder &out, qsizetype &length)
{
    for (; length > 0; length -= std::min<qsizetype>(length, 8)) {
        out.add(0, 1);
        out.add(quint64(std::min<qsizetype>(length, 8) - 1), 3);
    }
}

void writeFloatBlock(FieldAdder &out, const QList<quint32> &block)
{
    out.add(1, 1);
    out.add(quint64(block.size() - 1), 4);
    if (block.size() == 1)
        return out.add(block[0], 32);

    int differingCount = 1;
    int trailingCount = 16;
    for (qsizetype i = 1; i < block.size(); ++i) {
        const quint32 change = block[i] ^ block[i - 1];
        differingCount = std::max(differingCount, significantBits(change));
        trailingCount = std::min(trailingCount, trailingZeros(change, 32));
    }
    const int leadingCount = std::min(32 - differingCount, 7);
    out.add(quint64(leadingCount), 3);
    if (leadingCount > 0)
        out.add(block[0] >> (32 - leadingCount), leadingCount);
    out.add(trailingCount > 0 ? 1 : 0, 1);
    if (trailingCount > 0) {
        out.add(quint64(trailingCount), 5);
        out.add(lowBits(block[0], trailingCount), trailingCount);
    }
    const int middleCount = 32 - leadingCount - trailingCount;
    for (const quint32 pattern : block)
        out.add(lowBits(pattern >> trailingCount, middleCount), middleCount);
}

void writeFloats(FieldAdder &out, QList<quint32> &floats)
{
    while (!floats.isEmpty()) {
        const qsizetype count = std::min<qsizetype>(floats.size(), 16);
        writeFloatBlock(out, floats.first(count));
        floats.remove(0, count);
    }
}

void writeY(FieldAdder &out, const QList<QPointF> &points)
{
    qsizetype zeros = 0;
    QList<quint32> floats;
    for (const QPointF &point : points) {
        if (point.y() == 0.0) {
            ++zeros;
            writeFloats(out, floats);
        } else {
            floats.append(std::bit_cast<quint32>(float(point.y())));
            writeZeroRun(out, zeros);
        }
    }
    writeFloats(out, floats);
    writeZeroRun(out, zeros);
}

} // namespace

QByteArray encodeBitCompressed(const QList<QPointF> &points)
{
    if (points.isEmpty())
        return {};
    Header header;
    header.pointCount = quint64(points.size());
    FieldAdder out(header.xPosition());

    const QList<int> orders = writeX(out, points);
    out.padToByte();
    header.yOffset = out.position() / 8;
    writeY(out, points);

    QByteArray payload = out.bytes();
    qToLittleEndian(quint32(header.pointCount), payload.data());
    qToLittleEndian(quint32(header.yOffset), payload.data() + 4);
    for (qsizetype i = 0; i < orders.size(); ++i) {
        char &fourCodes = payload[headerSize + i / 4];
        fourCodes = char(quint8(fourCodes) | (orders[i] << (6 - 2 * (i % 4))));
    }
    return payload;
}

} // namespace kyv::test::reference
