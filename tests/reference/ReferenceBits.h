#pragma once

#include <QtGlobal>

// What the literal reader and the literal writer of the bit-compressed payload share.
// The section numbers are those of docs/formats/points-bit-compressed.md.

namespace kyv::test::reference {

/// Shift counts are taken modulo 64 (section 1).
inline quint64 shiftLeft(quint64 value, int count)
{
    return value << (count % 64);
}

inline quint64 shiftRight(quint64 value, int count)
{
    return value >> (count % 64);
}

constexpr qsizetype headerSize = 8;
constexpr quint64 headerBits = 64;

/// The header and what follows from it (section 2).
struct Header
{
    quint64 pointCount = 0;
    quint64 yOffset = 0;

    quint64 orderCodeBytes() const { return (pointCount + 3) / 4; }
    quint64 xPosition() const { return headerBits + 8 * orderCodeBytes(); }
};

} // namespace kyv::test::reference
