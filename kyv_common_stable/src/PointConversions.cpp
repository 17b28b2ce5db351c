#include <kyv_common_stable/PointConversions.h>

#include <QtEndian>

#include <cstring>
#include <type_traits>

namespace kyv {

namespace {

constexpr qsizetype pointBytes = 16;

// A point is x then y, both doubles, and nothing else: on a little-endian machine a list of
// points already is the payload.
static_assert(std::is_same_v<qreal, double>);
static_assert(sizeof(QPointF) == pointBytes && std::is_trivially_copyable_v<QPointF>);
constexpr bool memoryIsPayload = Q_BYTE_ORDER == Q_LITTLE_ENDIAN;

} // namespace

Result<QByteArray> interpretAs(const QList<QPointF> &points, To<QByteArray>)
{
    QByteArray bytes(points.size() * pointBytes, Qt::Uninitialized);
    char *to = bytes.data();
    if constexpr (memoryIsPayload) {
        if (!points.isEmpty())
            std::memcpy(to, points.constData(), size_t(bytes.size()));
    } else {
        for (const QPointF &point : points) {
            qToLittleEndian(point.x(), to);
            qToLittleEndian(point.y(), to + 8);
            to += pointBytes;
        }
    }
    return bytes;
}

Result<QList<QPointF>> interpretAs(const QByteArray &bytes, To<QList<QPointF>>)
{
    if (bytes.size() % pointBytes != 0) {
        Error error(ErrorCode::InvalidInput,
                    QStringLiteral("Size of interleaved points is not a multiple of 16 bytes: %1")
                        .arg(bytes.size()));
        error.ecatch(Q_FUNC_INFO, "kyv_common_stable/src/PointConversions", 1);
        return error;
    }
    // In two steps, for the list's constructor would not notice that memory is exhausted.
    QList<QPointF> points;
    points.reserve(bytes.size() / pointBytes);
    points.resize(bytes.size() / pointBytes);
    const char *from = bytes.constData();
    if constexpr (memoryIsPayload) {
        if (!points.isEmpty())
            std::memcpy(static_cast<void *>(points.data()), from, size_t(bytes.size()));
    } else {
        for (QPointF &point : points) {
            point = QPointF(qFromLittleEndian<double>(from), qFromLittleEndian<double>(from + 8));
            from += pointBytes;
        }
    }
    return points;
}

} // namespace kyv
