#pragma once

#include <QByteArray>
#include <QList>
#include <QPointF>
#include <QtEndian>

namespace kyv::runs {

/// One coordinate of all \a points, back to back as little-endian numbers of type \a Value:
/// plane<double>(points, &QPointF::x), plane<float>(points, &QPointF::y).
template <typename Value>
QByteArray plane(const QList<QPointF> &points, qreal (QPointF::*coordinate)() const)
{
    QByteArray bytes(points.size() * qsizetype(sizeof(Value)), Qt::Uninitialized);
    char *target = bytes.data();
    for (const QPointF &point : points) {
        qToLittleEndian(Value((point.*coordinate)()), target);
        target += sizeof(Value);
    }
    return bytes;
}

} // namespace kyv::runs
