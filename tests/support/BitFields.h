#pragma once

#include <QByteArray>
#include <QList>

namespace kyv::test {

/// A field of a bit string, for payloads that a test writes down by hand.
struct BitField
{
    quint64 value = 0;
    int width = 0;
};

/// The fields back to back, the lowest bit of each first, padded with zero bits to whole bytes.
inline QByteArray bitString(const QList<BitField> &fields)
{
    QByteArray bytes;
    qsizetype position = 0;
    for (const BitField &field : fields) {
        for (int i = 0; i < field.width; ++i, ++position) {
            if (position % 8 == 0)
                bytes.append('\0');
            if ((field.value >> i) & 1)
                bytes.back() = char(quint8(bytes.back()) | (1 << (position % 8)));
        }
    }
    return bytes;
}

/// The field of \a width bits at bit \a position.
inline quint64 bitField(const QByteArray &bytes, qsizetype position, int width)
{
    quint64 value = 0;
    for (int i = 0; i < width; ++i) {
        const qsizetype bit = position + i;
        value |= quint64((quint8(bytes[bit / 8]) >> (bit % 8)) & 1) << i;
    }
    return value;
}

} // namespace kyv::test
