#pragma once

#include <kyv_common_stable/Result.h>

#include <QByteArray>
#include <QList>
#include <QPointF>

namespace kyv::compressor::internal {

/// The codec of the method "planar_double_float_bit_compressed_v1": x as patterns of doubles behind
/// an adaptive forecast, y as floats in blocks and zero runs. See
/// docs/formats/points-bit-compressed.md.
///
/// Holds no state between calls; separate objects serve separate threads.
class BitCompression
{
public:
    /// The payload of \a points; empty for an empty list. Cannot fail.
    Result<QByteArray> encode(const QList<QPointF> &points);

    /// The list that \a data holds; empty for an empty payload.
    ///
    /// Every payload of encode() decodes as the format rules say, and any other input gives a list
    /// or fails with ErrorCode::InconsistentData: where it contradicts itself, or ends where no
    /// payload of encode() could.
    Result<QList<QPointF>> decode(const QByteArray &data);
};

} // namespace kyv::compressor::internal
