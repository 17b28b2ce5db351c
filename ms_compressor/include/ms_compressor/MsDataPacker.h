#pragma once

#include <ms_compressor/PackParameters.h>
#include <ms_compressor/ms_compressor_export.h>

#include <kyv_common_stable/Error.h>
#include <kyv_common_stable/Result.h>

#include <QList>
#include <QtGlobal>

#include <cstddef>

QT_BEGIN_NAMESPACE
class QByteArray;
class QDataStream;
QT_END_NAMESPACE

namespace kyv::compressor {

/// Packs lists of intensities and of unsigned integers into a QDataStream, and unpacks them.
///
/// A packed list of intensities is the record of its PackParameters followed by either the raw
/// floats, which come back bit for bit, or the levels of a power-law scale as an integer list,
/// about ten bits each or fewer (see PackParameters for what is lost).
///
/// Everything goes through the stream as the caller set it up: its byte order and floating-point
/// precision hold for reading as for writing and are never changed. The overloads for byte arrays
/// use a stream with Qt's defaults; packing overwrites the array from its start and leaves what
/// lies behind the packed list in place, so hand over an empty one.
///
/// The stream's status is never examined: where data end too early, missing integers read as 0
/// and a raw list that is cut short reads as empty. Ask QDataStream::status() afterwards. Lists
/// that contradict themselves, or announce far more than is there, fail with
/// ErrorCode::InconsistentData before memory is taken for them, and so do lists that there is no
/// memory for. Two kinds of short record are served whatever they announce: a list of zeros, any
/// length of which takes eight bytes, and one of which up to 64 MiB of words are missing.
///
/// Nothing is thrown, unless the device behind a stream of the caller's throws.
///
/// All operations are static and keep no state: calls on different streams and lists may run on
/// any threads at once. A call takes at most the memory of its output, of the list of quantized
/// levels, and 64 KiB.
///
/// \code
/// const PackParameters parameters = PackParameters::create(intensities, PackMethod::Quantizing);
/// QByteArray packed;
/// Error error = MsDataPacker::pack(&packed, intensities, parameters);
/// QList<float> restored;
/// if (!error.hasError())
///     error = MsDataPacker::unpack(&restored, packed);
/// \endcode
class KYV_MS_COMPRESSOR_EXPORT MsDataPacker
{
public:
    /// A quantized list before its levels are turned into intensities.
    struct RawIntensities
    {
        PackParameters parameters;  ///< The record that stood before the list.
        QList<quint32> intensities; ///< The level of each intensity, as stored.
    };

    /// There is nothing to set up or copy: all operations are static.
    ///@{
    MsDataPacker() = default;
    MsDataPacker(const MsDataPacker &) = default;
    MsDataPacker(MsDataPacker &&) = default;
    MsDataPacker &operator=(const MsDataPacker &) noexcept { return *this; }
    MsDataPacker &operator=(MsDataPacker &&) noexcept { return *this; }
    ///@}

    /// PackParameters::create() of \a count intensities.
    static PackParameters calculateParameters(const float *data, unsigned int count,
                                              PackMethod method);
    /// The same for the elements of \a data, their number cut to 32 bits.
    static PackParameters calculateParameters(const QList<float> &data, PackMethod method);

    /// Packs \a count intensities at \a data, with \a parameters that need not be derived from
    /// them: an intensity above PackParameters::rawMax() takes a level above the scale.
    ///
    /// A method that is none of PackMethod writes the record of the parameters alone. Fails with
    /// ErrorCode::InvalidInput, the record being written, if there are too many intensities: from
    /// 2^29 on (raw), from 2,147,450,880 on, or more levels than there is memory for (quantized).
    static Error pack(QDataStream &stream, const float *data, unsigned int count,
                      const PackParameters &parameters);
    /// The same for the elements of \a data, their number cut to 32 bits.
    static Error pack(QDataStream &stream, const QList<float> &data,
                      const PackParameters &parameters);
    /// The same into \a target, from its start. Fails with ErrorCode::InvalidInput, too, if there
    /// is no memory for it to grow; it then holds a part of the list.
    static Error pack(QByteArray *target, const float *data, unsigned int count,
                      const PackParameters &parameters);
    /// \copydoc pack(QByteArray *, const float *, unsigned int, const PackParameters &)
    static Error pack(QByteArray *target, const QList<float> &data,
                      const PackParameters &parameters);

    /// Unpacks a list of intensities into \a output, which is emptied first.
    ///
    /// Any method but PackMethod::RawData is read as PackMethod::Quantizing. Fails with
    /// ErrorCode::InvalidInput if the version of the record is unknown, with
    /// ErrorCode::InconsistentData as described above; \a output then holds what was read so far.
    static Error unpack(QList<float> *output, QDataStream &stream);
    /// The same from \a source.
    static Error unpack(QList<float> *output, const QByteArray &source);

    /// Packs \a count integers at \a data, in blocks of 32 or more that are each as wide as
    /// their largest value needs.
    ///
    /// Fails with ErrorCode::InvalidInput, nothing being written, from 2,147,450,880 integers on.
    static Error pack(QDataStream &stream, const unsigned int *data, unsigned int count);
    /// The same into \a target, from its start. Fails with ErrorCode::InvalidInput, too, if there
    /// is no memory for it to grow; it then holds a part of the list.
    static Error pack(QByteArray *target, const unsigned int *data, unsigned int count);

    /// Unpacks a list of integers into \a output, which is emptied first.
    ///
    /// Fails with ErrorCode::InconsistentData as described above; \a output then holds what was
    /// read so far.
    static Error unpack(QList<unsigned int> *output, QDataStream &stream);
    /// The same from \a source.
    static Error unpack(QList<unsigned int> *output, const QByteArray &source);

    /// Reads a quantized list of intensities with its parameters and stops at the levels.
    ///
    /// Fails like unpack(), and with ErrorCode::InvalidInput if the list is raw.
    static Result<RawIntensities> unpackRaw(QDataStream &stream);
    /// The same from \a source.
    static Result<RawIntensities> unpackRaw(const QByteArray &source);

private:
    static Error quantize(QDataStream &stream, const float *data, std::size_t count,
                          const PackParameters &parameters);
    static Error dequantize(QList<float> *output, QDataStream &stream,
                            const PackParameters &parameters);
};

} // namespace kyv::compressor
