// The points service: dispatches on the method and owns the planar layout,
// docs/formats/points-planar.md. The interleaved layout is the conversion of the base library,
// the bit-compressed payload is internal::BitCompression's.
//
// The planar payload of N points is the memory of N doubles, then of N floats, both little-endian
// on every machine, with no header: one pass, as fast as memory allows.

#include <ms_compressor/PointsCompressor.h>

#include "Logging.h"
#include "internal/BitCompression.h"
#include "internal/ErrorSite.h"
#include "internal/UninitializedPoints.h"

#include <kyv_common_stable/PointConversions.h>

#include <QtEndian>

#include <utility>

namespace kyv::compressor {

namespace {

[[maybe_unused]] const QLoggingCategory &genericCategory =
    loggingCategory("kyv.generic", QtDebugMsg, true);

constexpr qsizetype xBytes = 8;
constexpr qsizetype yBytes = 4;

QByteArray encodePlanar(const QList<QPointF> &points)
{
    const qsizetype count = points.size();
    QByteArray payload(count * (xBytes + yBytes), Qt::Uninitialized);
    char *x = payload.data();
    char *y = x + count * xBytes;
    for (const QPointF &point : points) {
        qToLittleEndian(point.x(), x);
        qToLittleEndian(float(point.y()), y);
        x += xBytes;
        y += yBytes;
    }
    return payload;
}

/// Format: bytes behind the last whole point are ignored (points-planar.md, "Decoding").
QList<QPointF> decodePlanar(const QByteArray &payload)
{
    const qsizetype count = payload.size() / (xBytes + yBytes);
    if (count == 0)
        return {};
    QList<QPointF> points = internal::uninitializedPoints(count);
    const char *x = payload.constData();
    const char *y = x + count * xBytes;
    for (QPointF &point : points) {
        point = QPointF(qFromLittleEndian<double>(x), double(qFromLittleEndian<float>(y)));
        x += xBytes;
        y += yBytes;
    }
    return points;
}

/// The record of \a method around \a payload, or the payload's error.
Result<CompressedPointsData> record(PointsCompressionMethod method, Result<QByteArray> payload)
{
    if (!payload.hasValue())
        return payload.error();
    CompressedPointsData compressed;
    compressed.method = method;
    compressed.data = std::move(payload).value();
    return compressed;
}

} // namespace

CompressedPointsData::CompressedPointsData() = default;
CompressedPointsData::CompressedPointsData(const CompressedPointsData &other) = default;
CompressedPointsData::CompressedPointsData(CompressedPointsData &&other) noexcept = default;
CompressedPointsData &CompressedPointsData::operator=(const CompressedPointsData &other) = default;
CompressedPointsData &
CompressedPointsData::operator=(CompressedPointsData &&other) noexcept = default;
CompressedPointsData::~CompressedPointsData() = default;

PointsCompressor::PointsCompressor() = default;
PointsCompressor::PointsCompressor(const PointsCompressor &other) = default;
PointsCompressor &PointsCompressor::operator=(const PointsCompressor &other) = default;
PointsCompressor::~PointsCompressor() = default;

Result<CompressedPointsData> PointsCompressor::encode(const QList<QPointF> &points,
                                                      const PointsCompressionParameters &parameters)
{
    using internal::passOn;
    const PointsCompressionMethod method = parameters.method();
    switch (method) {
    case PointsCompressionMethod::InterleavedDoubleDouble:
        return record(method,
                      passOn(interpretAs(points, To<QByteArray>()), KYV_SITE(encodeInterleaved)));
    case PointsCompressionMethod::PlanarDoubleFloat:
        return record(method, encodePlanar(points));
    case PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1:
        return record(method, passOn(internal::BitCompression().encode(points),
                                     KYV_SITE(encodeBitCompressed)));
    }
    return internal::fail(ErrorCode::InvalidInput,
                          QStringLiteral("Unhandled compression method: %1").arg(qint32(method)),
                          KYV_SITE(encodeUnknownMethod));
}

Result<QList<QPointF>> PointsCompressor::decode(const CompressedPointsData &compressed)
{
    using internal::passOn;
    switch (compressed.method) {
    case PointsCompressionMethod::InterleavedDoubleDouble:
        return passOn(interpretAs(compressed.data, To<QList<QPointF>>()),
                      KYV_SITE(decodeInterleaved));
    case PointsCompressionMethod::PlanarDoubleFloat:
        return decodePlanar(compressed.data);
    case PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1:
        return passOn(internal::BitCompression().decode(compressed.data),
                      KYV_SITE(decodeBitCompressed));
    }
    return internal::fail(
        ErrorCode::InvalidInput,
        QStringLiteral("Unsupported compression method: %1").arg(qint32(compressed.method)),
        KYV_SITE(decodeUnknownMethod));
}

} // namespace kyv::compressor
