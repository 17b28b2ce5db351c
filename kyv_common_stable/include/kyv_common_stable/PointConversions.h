#pragma once

#include <kyv_common_stable/Result.h>
#include <kyv_common_stable/To.h>
#include <kyv_common_stable/kyv_common_stable_export.h>

#include <QByteArray>
#include <QList>
#include <QPointF>

namespace kyv {

/// The points as bytes: for each point in list order x, then y, each an IEEE 754 binary64 in
/// little-endian order; 16 bytes a point, no header. Cannot fail.
KYV_COMMON_STABLE_EXPORT Result<QByteArray> interpretAs(const QList<QPointF> &points,
                                                        To<QByteArray> target);

/// The inverse of the conversion above, bit for bit.
///
/// Fails with ErrorCode::InvalidInput if the size of \a bytes is not a multiple of 16.
KYV_COMMON_STABLE_EXPORT Result<QList<QPointF>> interpretAs(const QByteArray &bytes,
                                                            To<QList<QPointF>> target);

} // namespace kyv
