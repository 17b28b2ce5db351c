// The parameters of a packed list of intensities: derived from the data, told to people as text,
// and stored in front of every list (docs/formats/pack-parameters.md).
//
// The record goes through the stream's own operators, so its byte order and the width of its
// floats are the stream's. An application may set either; nothing here changes them.

#include <ms_compressor/PackParameters.h>

#include "internal/ErrorSite.h"
#include "internal/IntensityKernels.h"
#include "internal/IntensityQuantizer.h"
#include "internal/SingleCount.h"

#include <QDataStream>

#include <algorithm>
#include <cmath>

namespace kyv::compressor {

using namespace internal;

namespace {

constexpr qint16 recordVersion = 1;
constexpr quint8 rawBits = 16;
constexpr quint8 quantizedBits = 10;

QString rawDataText()
{
    return QStringLiteral("RawData");
}

QString quantizingText()
{
    return QStringLiteral("Quantizing");
}

/// The smallest and the largest of \a count intensities (at least one), without the NaNs.
///
/// Of zeros with different signs the smallest is the first and the largest the last; if there is
/// no number at all, both are the first element.
IntensityRange findRange(const float *data, std::size_t count)
{
    IntensityRange range = intensityKernels().findRange(data, count);
    if (range.smallest > range.largest)
        return {data[0], data[0]};
    const auto isZero = [](float value) { return value == 0.0F; };
    if (range.smallest == 0.0F)
        range.smallest = *std::find_if(data, data + count, isZero);
    if (range.largest == 0.0F) {
        const auto last = std::make_reverse_iterator(data);
        range.largest = *std::find_if(std::make_reverse_iterator(data + count), last, isZero);
    }
    return range;
}

} // namespace

PackParameters PackParameters::create(const float *data, std::size_t count, PackMethod method)
{
    PackParameters parameters;
    parameters.m_method = method;
    if (method == PackMethod::RawData) {
        // Format: Derived values, "RawData": never written, so it reads back as 32.
        parameters.m_bits = rawBits;
    } else if (method == PackMethod::Quantizing && count > 0) {
        const IntensityRange range = findRange(data, count);
        parameters.m_rawOffset = range.smallest;
        parameters.m_rawMax = range.largest;
        parameters.m_singleCount = estimateSingleCount(data, count);
        parameters.m_power = powerOf(parameters.m_rawMax, parameters.m_singleCount);
        parameters.m_bits = quantizedBits;
    }
    return parameters;
}

PackParameters PackParameters::create(const QList<float> &data, PackMethod method)
{
    return create(data.constData(), std::size_t(data.size()), method);
}

quint16 PackParameters::compressedOffset() const noexcept
{
    // Format: Derived values, "compressed offset": shifts count modulo 32; the bit moved to the
    // sign place stays there.
    return quint16(qint32(1U << (m_bitOffset % 32U)) >> 1);
}

quint32 PackParameters::maxCompressed() const noexcept
{
    return 1U << ((m_bits - 1U + m_bitOffset) % 32U);
}

bool PackParameters::operator==(const PackParameters &other) const noexcept
{
    if (m_method != other.m_method)
        return false;
    if (m_method == PackMethod::RawData)
        return true;
    return m_bits == other.m_bits && m_bitOffset == other.m_bitOffset && m_power == other.m_power
           && m_singleCount == other.m_singleCount && m_rawOffset == other.m_rawOffset
           && m_rawMax == other.m_rawMax;
}

QDataStream &operator<<(QDataStream &stream, const PackParameters &parameters)
{
    stream << recordVersion << qint8(parameters.m_method);
    if (parameters.m_method == PackMethod::Quantizing) {
        stream << qint8(parameters.m_bits) << qint8(parameters.m_bitOffset) << parameters.m_power
               << parameters.m_singleCount << parameters.m_rawOffset << parameters.m_rawMax;
    }
    return stream;
}

Result<PackParameters> PackParameters::read(QDataStream &stream)
{
    quint16 version = 0;
    stream >> version;
    if (version > recordVersion) {
        const QString text =
            QStringLiteral("PackedDataParameters input version is not supported: %1");
        return fail(ErrorCode::InvalidInput, text.arg(version), KYV_SITE(readParametersVersion));
    }
    PackParameters parameters;
    quint8 method = 0;
    stream >> method;
    parameters.m_method = PackMethod(method);
    if (parameters.m_method == PackMethod::Quantizing) {
        stream >> parameters.m_bits >> parameters.m_bitOffset >> parameters.m_power
            >> parameters.m_singleCount >> parameters.m_rawOffset >> parameters.m_rawMax;
    }
    return parameters;
}

QString convert(PackMethod method, To<QString>)
{
    return method == PackMethod::RawData ? rawDataText() : quantizingText();
}

QString stringify(PackMethod method, StringifierState)
{
    return convert(method, To<QString>());
}

Result<PackMethod> interpretAs(const QString &text, To<PackMethod>)
{
    for (const PackMethod method : {PackMethod::RawData, PackMethod::Quantizing}) {
        if (text.compare(convert(method, To<QString>()), Qt::CaseInsensitive) == 0)
            return method;
    }
    return fail(
        ErrorCode::InvalidInput,
        QStringLiteral("Could not find match for converting string to pack method: %1").arg(text),
        KYV_SITE(interpretAsPackMethod));
}

} // namespace kyv::compressor
