#pragma once

#include "PatternPredictor.h"

#include <QPointF>
#include <QtEndian>
#include <QtGlobal>

namespace kyv::compressor::internal {

/// A payload whose header holds together.
struct PointsPayload
{
    const uchar *bytes;
    quint64 size;
    quint32 pointCount; // at least 1
    quint32 yOffset;    // behind the order codes, inside the payload

    static constexpr quint64 headerSize = 8;

    static constexpr quint64 orderCodesSize(quint64 pointCount) noexcept
    {
        return pointCount / 4 + (pointCount % 4 != 0 ? 1 : 0);
    }
    static constexpr quint64 xOffset(quint64 pointCount) noexcept
    {
        return headerSize + orderCodesSize(pointCount);
    }

    const uchar *orderCodes() const noexcept { return bytes + headerSize; }

    PredictorOrder order(quint64 point) const noexcept
    {
        return (orderCodes()[point / 4] >> (6 - point % 4 * 2)) & 3;
    }
};

/// Reads the x of all points of \a payload into \a points, whose y it leaves alone.
///
/// Returns false if the stream contradicts the order codes or runs out; the points are then not to
/// be used.
bool readXStream(const PointsPayload &payload, QPointF *points) noexcept;

namespace detail {

/// The same, field by field as the format document words it.
bool readXStreamPlain(const PointsPayload &payload, QPointF *points) noexcept;

} // namespace detail

} // namespace kyv::compressor::internal
