#pragma once

#include <kyv_common_stable/Result.h>
#include <kyv_common_stable/To.h>
#include <ms_compressor/ms_compressor_export.h>

#include <QJsonObject>
#include <QtGlobal>

namespace kyv::compressor {

/// How PointsCompressor lays a list of points out as bytes. The numbers are stored beside the
/// payloads and never change.
enum class PointsCompressionMethod : qint32 {
    /// "interleaved_double_double": x and y as doubles, point by point; 16 bytes a point.
    InterleavedDoubleDouble = 0,
    /// "planar_double_float": all x as doubles, then all y as floats; 12 bytes a point.
    PlanarDoubleFloat = 1,
    /// "planar_double_float_bit_compressed_v1": the adaptive bit-level codec.
    PlanarDoubleFloatBitCompressedV1 = 2,
};

/// What PointsCompressor::encode() needs to know: the method.
///
/// A plain value without locks: one thread at a time.
class KYV_MS_COMPRESSOR_EXPORT PointsCompressionParameters
{
public:
    /// Selects PointsCompressionMethod::InterleavedDoubleDouble.
    PointsCompressionParameters();

    /// Stores \a method as given. A number that is no method is not refused here but by
    /// PointsCompressor::encode() and toJson().
    PointsCompressionParameters(PointsCompressionMethod method);

    /// The stored method.
    PointsCompressionMethod method() const noexcept { return m_method; }

    /// Parameters compare as their methods' signed numbers do.
    ///@{
    bool operator==(const PointsCompressionParameters &other) const noexcept;
    bool operator!=(const PointsCompressionParameters &other) const noexcept;
    bool operator<(const PointsCompressionParameters &other) const noexcept;
    ///@}

private:
    PointsCompressionMethod m_method = PointsCompressionMethod::InterleavedDoubleDouble;
};

/// The parameters as a JSON object with the keys "version" (the number 1) and "method" (the
/// method's name).
///
/// Fails with ErrorCode::InvalidInput, "Unhandled compression method: %1", if the method is not
/// one of PointsCompressionMethod. Any thread.
KYV_MS_COMPRESSOR_EXPORT Result<QJsonObject> toJson(const PointsCompressionParameters &parameters);

/// Reads what toJson() wrote. Keys other than "version" and "method" are ignored.
///
/// Fails with ErrorCode::InvalidInput: "Unsupported compression version" if "version" is not the
/// number 1 (checked first), "Unsupported compression method: %1" if "method" is not, letter for
/// letter, the name of a method. Any thread.
KYV_MS_COMPRESSOR_EXPORT Result<PointsCompressionParameters>
fromJson(const QJsonObject &json, To<PointsCompressionParameters> target);

} // namespace kyv::compressor
