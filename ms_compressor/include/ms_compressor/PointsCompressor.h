#pragma once

#include <kyv_common_stable/Result.h>
#include <ms_compressor/PointsCompressionParameters.h>
#include <ms_compressor/ms_compressor_export.h>

#include <QByteArray>
#include <QList>
#include <QPointF>

namespace kyv::compressor {

/// An encoded list of points: the payload, and beside it the method that made it.
///
/// The payload alone does not tell its method: store both.
struct KYV_MS_COMPRESSOR_EXPORT CompressedPointsData
{
    /// An empty interleaved payload.
    CompressedPointsData();
    /// Copies share the payload; moves take it.
    ///@{
    CompressedPointsData(const CompressedPointsData &other);
    CompressedPointsData(CompressedPointsData &&other) noexcept;
    CompressedPointsData &operator=(const CompressedPointsData &other);
    CompressedPointsData &operator=(CompressedPointsData &&other) noexcept;
    ~CompressedPointsData();
    ///@}

    /// The method that produced #data.
    PointsCompressionMethod method = PointsCompressionMethod::InterleavedDoubleDouble;
    /// The payload; its layout is described in docs/formats.
    QByteArray data;
};

/// Encodes spectra, given as lists of points (x a position such as m/z, y an intensity), into
/// compact payloads, and decodes them.
///
/// \code
/// using namespace kyv::compressor;
/// PointsCompressor compressor;
/// const auto encoded = compressor.encode(
///     spectrum, PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1);
/// if (!encoded.hasValue())
///     return report(encoded.error());
/// store(qint32(encoded.value().method), encoded.value().data);
/// \endcode
///
/// What each method gives back:
///
/// | method | x | y |
/// |---|---|---|
/// | InterleavedDoubleDouble | every bit | every bit |
/// | PlanarDoubleFloat | every bit | rounded to the nearest float; beyond float range an infinity |
/// | PlanarDoubleFloatBitCompressedV1 | see below | as above, and -0.0 comes back as 0.0 |
///
/// **PlanarDoubleFloatBitCompressedV1 restores x exactly for every list whose x values have the
/// same sign bit and are not all equal.** That is every ordinary spectrum; the points need not be
/// in ascending order. Two kinds of lists are outside that promise, because the stored format is
/// what it is: lists whose x are all equal, single points included ([0.3] comes back as
/// 0.29999999999999993), and lists with x of unlike sign bits, -0.0 being negative ([-1.0, 2.0]
/// does not come back). For such lists decode() gives what the format's rules give, which may be
/// other x values or ErrorCode::InconsistentData. Choose another method for them.
///
/// The class has no state: an object may be used for any number of calls, and any number of
/// threads may call at once.
class KYV_MS_COMPRESSOR_EXPORT PointsCompressor
{
public:
    /// There is nothing to set up, copy or release.
    ///@{
    PointsCompressor();
    PointsCompressor(const PointsCompressor &other);
    PointsCompressor &operator=(const PointsCompressor &other);
    ~PointsCompressor();
    ///@}

    /// Encodes \a points (any number; the stored count of the bit codec wraps at 2^32) by the
    /// method that \a parameters select.
    ///
    /// Fails with ErrorCode::InvalidInput, "Unhandled compression method: %1", if the parameters'
    /// method is not one of PointsCompressionMethod.
    Result<CompressedPointsData> encode(const QList<QPointF> &points,
                                        const PointsCompressionParameters &parameters);

    /// Decodes what encode() made.
    ///
    /// Fails with ErrorCode::InvalidInput, "Unsupported compression method: %1", if the record's
    /// method is not one of PointsCompressionMethod, and if an interleaved payload's size is not a
    /// multiple of 16; with ErrorCode::InconsistentData, "Inconsistent data.", if a bit-compressed
    /// payload contradicts itself or ends too early. Of a planar payload the last size % 12 bytes
    /// are ignored. Damaged payloads that go unnoticed decode to other points; none makes the call
    /// crash, hang or take memory out of proportion to the payload.
    Result<QList<QPointF>> decode(const CompressedPointsData &compressed);
};

} // namespace kyv::compressor
