#include "FloatBlocks.h"

#include "BitLength.h"

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

bool readFloatBlocks(BitReader &reader, QPointF *points, qsizetype count) noexcept
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

} // namespace kyv::compressor::internal
