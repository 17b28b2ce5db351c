#include "BinaryArray.h"

#include "Limits.h"

#include <QtEndian>

#include <libdeflate.h>

namespace kyv::runs {

namespace {

ArrayOutcome damaged(const QString &reason)
{
    return {ArrayOutcome::Kind::Damaged, reason};
}

ArrayOutcome wrongLength(qint64 bytes, int width, qint64 declared)
{
    if (bytes % width != 0)
        return damaged(QStringLiteral("%1 bytes are no whole number of values").arg(bytes));
    return {
        ArrayOutcome::Kind::WrongLength,
        QStringLiteral("holds %1 values where %2 are declared").arg(bytes / width).arg(declared)};
}

template <typename Value>
void widen(const QByteArray &bytes, qint64 length, std::vector<double> *values)
{
    const char *source = bytes.constData();
    for (qint64 i = 0; i < length; ++i, source += sizeof(Value))
        (*values)[std::size_t(i)] = double(qFromLittleEndian<Value>(source));
}

} // namespace

BinaryArrayDecoder::BinaryArrayDecoder()
    : m_decompressor(libdeflate_alloc_decompressor())
{
    Q_CHECK_PTR(m_decompressor.get());
}

BinaryArrayDecoder::~BinaryArrayDecoder() = default;

void BinaryArrayDecoder::FreeDecompressor::operator()(libdeflate_decompressor *decompressor) const
{
    libdeflate_free_decompressor(decompressor);
}

ArrayOutcome BinaryArrayDecoder::decode(const QByteArray &text, ArrayFormat format, qint64 length,
                                        qint64 maxBytes, std::vector<double> *values)
{
    const int width = bytesPerValue(format.type);
    Q_ASSERT(width > 0 && length >= 0 && length <= limits::arrayValues);
    values->clear();
    const auto packed =
        QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    if (!packed)
        return damaged(QStringLiteral("not base64"));

    const qint64 expected = length * width;
    if (format.compression == ArrayCompression::Zlib && !packed.decoded.isEmpty()) {
        const ArrayOutcome outcome = unpack(packed.decoded, expected, maxBytes);
        if (outcome.kind != ArrayOutcome::Kind::Decoded)
            return outcome;
    } else {
        m_bytes = packed.decoded;
    }
    if (m_bytes.size() != expected)
        return wrongLength(m_bytes.size(), width, length);

    values->resize(std::size_t(length));
    switch (format.type) {
    case NumberType::Float32:
        widen<float>(m_bytes, length, values);
        break;
    case NumberType::Float64:
        widen<double>(m_bytes, length, values);
        break;
    case NumberType::Int32:
        widen<qint32>(m_bytes, length, values);
        break;
    case NumberType::Int64:
        widen<qint64>(m_bytes, length, values);
        break;
    case NumberType::Undeclared:
    case NumberType::Unknown:
        break;
    }
    return {};
}

/// Unpacks a zlib stream of \a expected bytes into m_bytes.
ArrayOutcome BinaryArrayDecoder::unpack(const QByteArray &packed, qint64 expected, qint64 maxBytes)
{
    if (expected > limits::deflateRatio * (packed.size() + 1))
        return damaged(QStringLiteral("%1 bytes of zlib data cannot hold the %2 bytes declared")
                           .arg(packed.size())
                           .arg(expected));
    if (expected > maxBytes)
        return damaged(QStringLiteral("%1 bytes of zlib data announce %2 bytes, more than accepted")
                           .arg(packed.size())
                           .arg(expected));
    m_bytes.resize(expected);
    std::size_t unpacked = 0;
    const libdeflate_result result = libdeflate_zlib_decompress(
        m_decompressor.get(), packed.constData(), std::size_t(packed.size()), m_bytes.data(),
        std::size_t(expected), &unpacked);
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE)
        return {ArrayOutcome::Kind::WrongLength,
                QStringLiteral("unpacks to more than the %1 bytes declared").arg(expected)};
    if (result != LIBDEFLATE_SUCCESS)
        return damaged(QStringLiteral("damaged zlib data"));
    m_bytes.resize(qsizetype(unpacked));
    return {};
}

int bytesPerValue(NumberType type)
{
    switch (type) {
    case NumberType::Float32:
    case NumberType::Int32:
        return 4;
    case NumberType::Float64:
    case NumberType::Int64:
        return 8;
    case NumberType::Undeclared:
    case NumberType::Unknown:
        break;
    }
    return 0;
}

} // namespace kyv::runs
