#pragma once

#include <ms_compressor/ms_compressor_export.h>

#include <kyv_common_stable/Result.h>
#include <kyv_common_stable/StringifierState.h>
#include <kyv_common_stable/To.h>

#include <QList>
#include <QString>
#include <QtGlobal>

#include <cstddef>

QT_BEGIN_NAMESPACE
class QDataStream;
QT_END_NAMESPACE

namespace kyv::compressor {

/// How a list of intensities is stored. The numbers are part of the stored format.
enum class PackMethod : quint8 {
    RawData = 0,    ///< The floats as they are: four bytes each, every bit kept.
    Quantizing = 1, ///< Levels of a power-law scale: about ten bits each or fewer, rounded.
};

/// What a packed list of intensities needs to be read back: the method and, for
/// PackMethod::Quantizing, the scale that was derived from the data.
///
/// An intensity x above 0 becomes the level round(((x - rawOffset) / singleCount) ^ power * s)
/// with s chosen so that rawMax becomes level maxCompressed(); the step between two levels
/// thus grows with the intensity, like the noise of a counting detector. Intensities of 0 and
/// below become level 0 and come back as exactly 0, as does NaN.
///
/// \warning Spectra whose neighbouring intensities never differ by more than 0.5 (every
/// spectrum normalised to a maximum of 1, for instance) show no step of one count, and
/// quantizing them **loses all their intensities**: every positive one comes back as rawOffset,
/// the smallest of the list. Such parameters are easy to see, `singleCount()` is 0 where the
/// list is not empty. Store such a spectrum with PackMethod::RawData, or multiply its
/// intensities first (by 1e6, say) so that neighbours differ by more than 0.5, and divide
/// them after unpacking.
///
/// \code
/// PackParameters parameters = PackParameters::create(intensities, PackMethod::Quantizing);
/// if (!intensities.isEmpty() && parameters.singleCount() == 0)
///     parameters = PackParameters::create(intensities, PackMethod::RawData);
/// \endcode
///
/// A plain value: copies are member by member, distinct values belong to any threads.
class KYV_MS_COMPRESSOR_EXPORT PackParameters
{
public:
    /// Derives parameters from \a count intensities at \a data; cannot fail.
    ///
    /// For PackMethod::RawData nothing is derived (bits() is 16). For PackMethod::Quantizing
    /// and at least one intensity, bits() is 10 and the scale spreads the range from one count
    /// to the largest intensity over 1023 levels, with an exponent of about 0.8 at most, or
    /// more where the largest is hardly above one count (docs/formats/pack-parameters.md). NaN
    /// intensities are skipped. Takes linear time and allocates nothing.
    static PackParameters create(const float *data, std::size_t count, PackMethod method);
    /// The same for the elements of \a data.
    static PackParameters create(const QList<float> &data, PackMethod method);

    /// Reads the record that operator<<() wrote; it goes through the stream's own operators.
    ///
    /// Fails with ErrorCode::InvalidInput if the record's version is above 1. The method is
    /// kept as it stands, even if it is none of PackMethod. The stream's status is not
    /// examined: a record cut short reads as zeros where fields are missing.
    static Result<PackParameters> read(QDataStream &stream);

    /// How the list is stored.
    PackMethod method() const noexcept { return m_method; }
    /// The width of a level in bits, of which maxCompressed() follows.
    quint8 bits() const noexcept { return m_bits; }
    /// An extra exponent of the scale; 0 in all parameters that create() makes.
    quint8 bitOffset() const noexcept { return m_bitOffset; }
    /// The exponent of the power law.
    double power() const noexcept { return m_power; }
    /// The intensity of one count: the smallest step between neighbours, above 0.5, that the
    /// data show often enough; 0 if they show none, see the warning above.
    float singleCount() const noexcept { return m_singleCount; }
    /// The smallest intensity, which is subtracted before scaling.
    float rawOffset() const noexcept { return m_rawOffset; }
    /// The largest intensity.
    float rawMax() const noexcept { return m_rawMax; }

    /// What is subtracted from a scaled intensity to give its level: 0 for bitOffset() 0,
    /// 2 ^ (bitOffset() - 1) for 1 to 15.
    quint16 compressedOffset() const noexcept;
    /// The level of the largest intensity, 2 ^ (bits() - 1 + bitOffset()) with the exponent
    /// modulo 32: 512 for the parameters that create() makes.
    quint32 maxCompressed() const noexcept;

    /// True if both are PackMethod::RawData, whatever else they hold, or if all members are
    /// equal as numbers (a NaN equals nothing).
    ///@{
    bool operator==(const PackParameters &other) const noexcept;
    bool operator!=(const PackParameters &other) const noexcept { return !(*this == other); }
    ///@}

private:
    friend KYV_MS_COMPRESSOR_EXPORT QDataStream &operator<<(QDataStream &stream,
                                                            const PackParameters &parameters);

    PackParameters() = default;

    PackMethod m_method = PackMethod::RawData;
    quint8 m_bits = 32;
    quint8 m_bitOffset = 0;
    double m_power = 0.0;
    float m_singleCount = 0.0F;
    float m_rawOffset = 0.0F;
    float m_rawMax = 0.0F;
};

/// Writes the record of \a parameters, through the stream's own operators: 3 bytes, or 37 for
/// PackMethod::Quantizing (21 in a stream set to single precision).
KYV_MS_COMPRESSOR_EXPORT QDataStream &operator<<(QDataStream &stream,
                                                 const PackParameters &parameters);

/// "RawData" for PackMethod::RawData, "Quantizing" for every other value.
KYV_MS_COMPRESSOR_EXPORT QString convert(PackMethod method, To<QString>);

/// The text of convert(); \a state is not used.
KYV_MS_COMPRESSOR_EXPORT QString stringify(PackMethod method, StringifierState state);

/// The method that \a text names, in any case of letters but without blanks around it.
///
/// Fails with ErrorCode::InvalidInput if it names none.
KYV_MS_COMPRESSOR_EXPORT Result<PackMethod> interpretAs(const QString &text, To<PackMethod>);

} // namespace kyv::compressor
