#pragma once

// The packed bit array and the integer list once more, a bit at a time: slow, and written from
// docs/formats/packed-bit-array.md and docs/formats/integer-list.md alone, section by section.

#include <QByteArray>
#include <QList>
#include <QtGlobal>

#include <algorithm>
#include <optional>

namespace kyv::test::reference {

// ---- packed-bit-array.md: layout -----------------------------------------------------------

/// Bit b of the string is bit b % 32 of word b / 32.
inline bool bitAt(const quint32 *words, quint64 bit)
{
    return (words[bit / 32] >> bit % 32 & 1) != 0;
}

inline void setBitAt(quint32 *words, quint64 bit, bool on)
{
    const quint32 mask = quint32(1) << bit % 32;
    words[bit / 32] = on ? words[bit / 32] | mask : words[bit / 32] & ~mask;
}

/// Item i occupies bits i * width and up, lowest bit first.
inline quint32 item(const quint32 *words, quint32 width, quint32 index)
{
    quint32 value = 0;
    for (quint32 k = 0; k < width; ++k)
        value |= quint32(bitAt(words, quint64(width) * index + k)) << k;
    return value;
}

inline void setItem(quint32 *words, quint32 width, quint32 index, quint32 value)
{
    for (quint32 k = 0; k < width; ++k)
        setBitAt(words, quint64(width) * index + k, (value >> k & 1) != 0);
}

/// Significant bits of the largest value.
inline quint32 widthOf(const QList<quint32> &values)
{
    quint32 width = 0;
    for (const quint32 value : values) {
        while (width < 32 && quint64(value) >> width != 0)
            ++width;
    }
    return width;
}

// ---- integer-list.md: layout ---------------------------------------------------------------

/// The bytes of a record, and integers out of them; 0 where fewer bytes are left than one takes,
/// and those are lost.
class RecordReader
{
public:
    RecordReader(const QByteArray &bytes, bool bigEndian)
        : m_bytes(bytes)
        , m_bigEndian(bigEndian)
    {}

    quint32 integer(int size)
    {
        const qsizetype begin = m_position;
        m_position = std::min(m_bytes.size(), begin + size);
        if (m_position - begin < size)
            return 0;
        quint32 value = 0;
        for (int k = 0; k < size; ++k) {
            const int place = m_bigEndian ? size - 1 - k : k;
            value |= quint32(quint8(m_bytes[begin + k])) << 8 * place;
        }
        return value;
    }

    QList<quint32> packedItems(quint32 width, quint32 count)
    {
        QList<quint32> words(qsizetype((quint64(width) * count + 31) / 32));
        for (quint32 &word : words)
            word = integer(4);
        QList<quint32> items(count);
        for (quint32 i = 0; i < count; ++i)
            items[i] = item(words.constData(), width, i);
        return items;
    }

    qsizetype bytesLeft() const { return m_bytes.size() - m_position; }

private:
    QByteArray m_bytes;
    bool m_bigEndian;
    qsizetype m_position = 0;
};

/// The list of a record; nothing if the rules refuse it.
inline std::optional<QList<quint32>> readIntegerList(const QByteArray &record, bool bigEndian)
{
    RecordReader reader(record, bigEndian);
    const quint32 blockCount = reader.integer(2);
    if (blockCount == 0)
        return QList<quint32>();
    const quint32 blockSize = reader.integer(2);
    const quint32 lastBlockSize = reader.integer(2);
    const quint32 smallestWidth = reader.integer(1);
    const quint32 widthBits = reader.integer(1);
    if (smallestWidth > 32 || widthBits > 32)
        return std::nullopt;

    const auto lengthOf = [&](quint32 block) {
        return block + 1 < blockCount ? blockSize : lastBlockSize;
    };
    const QList<quint32> relative = reader.packedItems(widthBits, blockCount);
    quint64 size = 0;
    quint64 words = 0;
    for (quint32 block = 0; block < blockCount; ++block) {
        const quint64 width = quint64(smallestWidth) + relative[block];
        if (width > 32)
            return std::nullopt;
        size += lengthOf(block);
        words += (width * lengthOf(block) + 31) / 32;
    }
    const quint64 present = quint64(reader.bytesLeft()) / 4;
    if (size > 2147450879 || words > present + (quint64(64) << 20) / 4)
        return std::nullopt;

    QList<quint32> values;
    for (quint32 block = 0; block < blockCount; ++block)
        values += reader.packedItems(smallestWidth + relative[block], lengthOf(block));
    return values;
}

/// The record of a list, of fewer than 2,147,450,880 values.
inline QByteArray writeIntegerList(const QList<quint32> &values, bool bigEndian)
{
    QByteArray record;
    const auto put = [&](quint32 value, int size) {
        for (int k = 0; k < size; ++k) {
            const int place = bigEndian ? size - 1 - k : k;
            record.append(char(value >> 8 * place & 0xFF));
        }
    };
    const auto putPacked = [&](quint32 width, const QList<quint32> &items) {
        QList<quint32> words((qsizetype(width) * items.size() + 31) / 32);
        for (qsizetype i = 0; i < items.size(); ++i)
            setItem(words.data(), width, quint32(i), items[i]);
        for (const quint32 word : words)
            put(word, 4);
    };

    const qsizetype count = values.size();
    if (count == 0) {
        put(0, 2);
        return record;
    }
    qsizetype blockSize = 32;
    while (count / blockSize >= 65535)
        blockSize *= 2;
    const qsizetype blockCount = std::max<qsizetype>(count / blockSize, 1);
    const qsizetype lastBlockSize = count - (blockCount - 1) * blockSize;

    QList<QList<quint32>> blocks;
    QList<quint32> widths;
    for (qsizetype block = 0; block < blockCount; ++block) {
        const bool last = block + 1 == blockCount;
        blocks.append(values.mid(block * blockSize, last ? lastBlockSize : blockSize));
        widths.append(widthOf(blocks.last()));
    }
    const quint32 smallest = *std::min_element(widths.cbegin(), widths.cend());
    QList<quint32> relative = widths;
    for (quint32 &width : relative)
        width -= smallest;
    const quint32 widthBits = widthOf(relative);

    put(quint32(blockCount), 2);
    put(quint32(blockSize), 2);
    put(quint32(lastBlockSize), 2);
    put(smallest, 1);
    put(widthBits, 1);
    putPacked(widthBits, relative);
    for (qsizetype block = 0; block < blockCount; ++block)
        putPacked(widths[block], blocks[block]);
    return record;
}

} // namespace kyv::test::reference
