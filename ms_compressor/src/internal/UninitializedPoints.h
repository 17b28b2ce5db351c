#pragma once

#include <QList>
#include <QPointF>

namespace kyv::compressor::internal {

/// A list of \a count points (at least 1) that nothing has been written to yet.
///
/// Throws std::bad_alloc where there is no memory for it; the list's own constructor does not ask.
inline QList<QPointF> uninitializedPoints(qsizetype count)
{
    QArrayDataPointer<QPointF> points(QTypedArrayData<QPointF>::allocate(count), count);
    Q_CHECK_PTR(points.data());
    return QList<QPointF>(std::move(points));
}

} // namespace kyv::compressor::internal
