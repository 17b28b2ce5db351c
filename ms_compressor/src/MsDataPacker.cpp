// Packed lists of intensities and integers in a QDataStream (docs/formats/intensities.md).
//
// A list of intensities is the parameter record, then either the memory of the floats or an
// integer list of quantized levels. This file decides which, translates what the parts below
// answer into errors, and records where they pass. The power law is in IntensityQuantizer, the
// integer list in IntegerList.
//
// The subtle thing: the raw floats lie in a byte array and ignore the stream's byte order, while
// everything around them obeys it.

#include <ms_compressor/MsDataPacker.h>

#include "Logging.h"
#include "internal/ErrorSite.h"
#include "internal/IntegerList.h"
#include "internal/IntensityKernels.h"
#include "internal/IntensityQuantizer.h"
#include "internal/LevelMemo.h"
#include "internal/StreamWords.h"

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <QLoggingCategory>
#include <QtEndian>

#include <algorithm>
#include <memory>
#include <new>

namespace kyv::compressor {

using namespace internal;

namespace {

// Found at load time, when one thread runs.
[[maybe_unused]] const QLoggingCategory &genericCategory =
    loggingCategory("kyv.generic", QtDebugMsg, true);

constexpr qsizetype floatBytes = 4;
static_assert(sizeof(float) == floatBytes);
constexpr bool memoryIsPayload = Q_BYTE_ORDER == Q_LITTLE_ENDIAN;

/// A byte array in a stream ends below 2 GiB.
constexpr quint32 longestRawList = 0x7FFFFFFF / floatBytes;
constexpr quint32 nullByteArray = 0xFFFFFFFF; // the length that a null byte array is stored with

Error tooMany(const QString &text, std::size_t count, const ErrorSite &site)
{
    return fail(ErrorCode::InvalidInput, text.arg(count), site);
}

// ---- raw floats ----------------------------------------------------------------------------

/// The memory of \a count floats as a byte array, which is null if \a data is.
Result<QByteArray> memoryOf(const float *data, unsigned int count)
{
    if (count > longestRawList) {
        return tooMany(QStringLiteral("Too many intensities for a raw list: %1"), count,
                       KYV_SITE(rawConversionTooMany));
    }
    const auto *bytes = reinterpret_cast<const char *>(data);
    const qsizetype size = qsizetype(count) * floatBytes;
    if constexpr (memoryIsPayload) {
        // Not copied: the array lives as long as this call of pack().
        return QByteArray::fromRawData(bytes, size);
    } else {
        QByteArray swapped(bytes, size);
        qToLittleEndian<quint32>(bytes, qsizetype(count), swapped.data());
        return swapped;
    }
}

/// Reads \a count floats to the end of \a list; false if the stream holds fewer.
bool appendFloats(QDataStream &stream, QList<float> *list, qsizetype count)
{
    constexpr qsizetype floatsAtOnce = 32768;
    while (count > 0) {
        const qsizetype n = std::min(count, floatsAtOnce);
        const qsizetype done = list->size();
        list->resize(done + n);
        auto *const bytes = reinterpret_cast<char *>(list->data() + done);
        if (stream.readRawData(bytes, int(n * floatBytes)) != n * floatBytes)
            return false;
        if constexpr (!memoryIsPayload)
            qFromLittleEndian<quint32>(bytes, n, bytes);
        count -= n;
    }
    return true;
}

/// Reads a byte array as a list of floats, which is empty if the array is cut short.
///
/// What is read, and what a failing stream delivers, is what the stream's operator for byte
/// arrays gives; but the bytes go straight into the list, and no memory is taken for an announced
/// length before data vouch for it.
Result<QList<float>> readFloats(QDataStream &stream)
try {
    QList<float> list;
    quint32 byteCount = 0;
    stream >> byteCount;
    if (byteCount == nullByteArray)
        return list;
    const qsizetype count = qsizetype(byteCount) / floatBytes;
    if (knowsBytesLeft(stream) && qsizetype(byteCount) <= bytesLeft(stream))
        list.reserve(count);
    std::array<char, floatBytes> rest;
    const int restBytes = int(byteCount % floatBytes);
    if (!appendFloats(stream, &list, count)
        || stream.readRawData(rest.data(), restBytes) != restBytes)
        list = {};
    return list;
} catch (const std::bad_alloc &) {
    return fail(ErrorCode::InconsistentData, QStringLiteral("Inconsistent data."),
                KYV_SITE(rawConversionNoMemory));
}

// ---- integers ------------------------------------------------------------------------------

/// Reads an integer list record; \a convert(levels, elements, n) makes elements of its values.
template <typename T, typename Convert>
Error unpackIntegers(QList<T> *output, QDataStream &stream, Convert convert)
{
    if (readIntegerListAs(stream, output, convert) == IntegerListStatus::Ok)
        return ErrorCode::NoError;
    return fail(ErrorCode::InconsistentData, QStringLiteral("Inconsistent data."),
                KYV_SITE(unpackIntegersInconsistent));
}

} // namespace

PackParameters MsDataPacker::calculateParameters(const float *data, unsigned int count,
                                                 PackMethod method)
{
    return PackParameters::create(data, count, method);
}

PackParameters MsDataPacker::calculateParameters(const QList<float> &data, PackMethod method)
{
    return calculateParameters(data.constData(), quint32(data.size()), method);
}

// ---- packing intensities -------------------------------------------------------------------

Error MsDataPacker::pack(QDataStream &stream, const float *data, unsigned int count,
                         const PackParameters &parameters)
{
    stream << parameters;
    if (parameters.method() == PackMethod::RawData) {
        const Result<QByteArray> memory = memoryOf(data, count);
        if (!memory.hasValue())
            return passOn(memory.error(), KYV_SITE(packRawConversion));
        stream << memory.value();
    } else if (parameters.method() == PackMethod::Quantizing) {
        return passOn(quantize(stream, data, count, parameters), KYV_SITE(packQuantize));
    }
    // Format: Layout, "other methods": the record stands alone.
    return ErrorCode::NoError;
}

Error MsDataPacker::pack(QDataStream &stream, const QList<float> &data,
                         const PackParameters &parameters)
{
    return pack(stream, data.constData(), quint32(data.size()), parameters);
}

Error MsDataPacker::pack(QByteArray *target, const float *data, unsigned int count,
                         const PackParameters &parameters)
try {
    QDataStream stream(target, QIODevice::WriteOnly);
    return passOn(pack(stream, data, count, parameters), KYV_SITE(packFloatsToByteArray));
} catch (const std::bad_alloc &) {
    return tooMany(QStringLiteral("Too many intensities to pack: %1"), count,
                   KYV_SITE(packFloatsNoMemory));
}

Error MsDataPacker::pack(QByteArray *target, const QList<float> &data,
                         const PackParameters &parameters)
{
    return pack(target, data.constData(), quint32(data.size()), parameters);
}

Error MsDataPacker::quantize(QDataStream &stream, const float *data, std::size_t count,
                             const PackParameters &parameters)
{
    const QString text = QStringLiteral("Too many intensities to quantize: %1");
    if (count > longestIntegerList)
        return tooMany(text, count, KYV_SITE(quantizeTooMany));
    const std::unique_ptr<quint32[]> levels(new (std::nothrow) quint32[count]);
    if (!levels)
        return tooMany(text, count, KYV_SITE(quantizeTooMany));
    intensityKernels().quantize(IntensityQuantizer(parameters), data, count, levels.get());
    return pack(stream, levels.get(), quint32(count));
}

// ---- unpacking intensities -----------------------------------------------------------------

Error MsDataPacker::unpack(QList<float> *output, QDataStream &stream)
{
    output->clear();
    const Result<PackParameters> parameters = PackParameters::read(stream);
    if (!parameters.hasValue())
        return passOn(parameters.error(), KYV_SITE(unpackParameters));
    // Format: Layout, "other methods": everything that is not raw reads as quantized.
    if (parameters.value().method() != PackMethod::RawData)
        return passOn(dequantize(output, stream, parameters.value()), KYV_SITE(unpackDequantize));
    Result<QList<float>> list = readFloats(stream);
    if (!list.hasValue())
        return passOn(list.error(), KYV_SITE(unpackRawConversion));
    *output = std::move(list).value();
    return ErrorCode::NoError;
}

Error MsDataPacker::unpack(QList<float> *output, const QByteArray &source)
{
    QDataStream stream(source);
    return unpack(output, stream);
}

Error MsDataPacker::dequantize(QList<float> *output, QDataStream &stream,
                               const PackParameters &parameters)
{
    const IntensityQuantizer quantizer(parameters);
    LevelMemo memo(quantizer);
    const auto restore = [&memo](const quint32 *levels, float *intensities, quint32 count) {
        memo.restore(levels, count, intensities);
    };
    return passOn(unpackIntegers(output, stream, restore), KYV_SITE(dequantizeIntegers));
}

// ---- integers and levels -------------------------------------------------------------------

Error MsDataPacker::pack(QDataStream &stream, const unsigned int *data, unsigned int count)
{
    if (writeIntegerList(stream, data, count) == IntegerListStatus::Ok)
        return ErrorCode::NoError;
    return tooMany(QStringLiteral("Too many integers to pack: %1"), count,
                   KYV_SITE(packIntegersTooMany));
}

Error MsDataPacker::pack(QByteArray *target, const unsigned int *data, unsigned int count)
try {
    QDataStream stream(target, QIODevice::WriteOnly);
    return passOn(pack(stream, data, count), KYV_SITE(packIntegersToByteArray));
} catch (const std::bad_alloc &) {
    return tooMany(QStringLiteral("Too many integers to pack: %1"), count,
                   KYV_SITE(packIntegersNoMemory));
}

Error MsDataPacker::unpack(QList<unsigned int> *output, QDataStream &stream)
{
    output->clear();
    return unpackIntegers(output, stream,
                          [](const quint32 *values, quint32 *elements, quint32 count) {
                              std::copy_n(values, count, elements);
                          });
}

Error MsDataPacker::unpack(QList<unsigned int> *output, const QByteArray &source)
{
    QDataStream stream(source);
    return unpack(output, stream);
}

Result<MsDataPacker::RawIntensities> MsDataPacker::unpackRaw(QDataStream &stream)
{
    const Result<PackParameters> parameters = PackParameters::read(stream);
    if (!parameters.hasValue())
        return passOn(parameters.error(), KYV_SITE(unpackRawParameters));
    RawIntensities raw{parameters.value(), {}};
    if (raw.parameters.method() == PackMethod::RawData) {
        // Format: Reading levels, "spelling": the text is part of the interface as it stands.
        const QString text =
            QStringLiteral("Raw intensities extraction is supported for Qauntizing method only");
        return fail(ErrorCode::InvalidInput, text, KYV_SITE(unpackRawMethod));
    }
    const Error error = unpack(&raw.intensities, stream);
    if (error.hasError())
        return passOn(error, KYV_SITE(unpackRawIntegers));
    return raw;
}

Result<MsDataPacker::RawIntensities> MsDataPacker::unpackRaw(const QByteArray &source)
{
    QDataStream stream(source);
    return unpackRaw(stream);
}

} // namespace kyv::compressor
