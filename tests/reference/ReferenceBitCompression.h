#pragma once

#include <QByteArray>
#include <QList>
#include <QPointF>

#include <optional>

// A slow, literal reader and writer of the bit-compressed point payload: one bit at a time, one
// function for each numbered section of docs/formats/points-bit-compressed.md, in its order. The
// production codec is measured against these two, so nothing here is shared with it.

namespace kyv::test::reference {

/// What reading a payload gives.
struct DecodedPoints
{
    std::optional<QList<QPointF>> points; ///< Empty where the payload is inconsistent.
    quint64 bitsPastEnd = 0; ///< Zero bits that the x stream took from behind the payload's end.
};

DecodedPoints decodeBitCompressed(const QByteArray &payload);

QByteArray encodeBitCompressed(const QList<QPointF> &points);

/// A group of neighbouring residuals that are stored with the same width.
struct WidthGroup
{
    int count = 0;
    int width = 0;

    bool operator==(const WidthGroup &) const = default;
};

/// The groups that the format makes of residuals of these \a widths (section 4.3), in order.
QList<WidthGroup> mergeWidths(const QList<int> &widths);

} // namespace kyv::test::reference
