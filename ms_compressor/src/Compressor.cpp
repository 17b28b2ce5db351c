// The byte service's surface: it sizes the buffers, makes sure of the model's memory and runs the
// codec. Parameters are fixed here and stored nowhere.

#include <ms_compressor/Compressor.h>

#include "internal/ModelMemory.h"
#include "internal/PpmdCodec.h"

#include <cstring>

namespace kyv::compressor {

namespace {

constexpr quint32 modelMebibytes = 1024;
constexpr int maxOrder = 2;

const quint8 *bytesOf(const QByteArray &array)
{
    return reinterpret_cast<const quint8 *>(array.constData());
}

quint8 *bytesOf(QByteArray &array)
{
    return reinterpret_cast<quint8 *>(array.data());
}

} // namespace

CompressedData::CompressedData()
{}
CompressedData::CompressedData(const CompressedData &other) = default;
CompressedData::CompressedData(CompressedData &&other) noexcept = default;
CompressedData &CompressedData::operator=(const CompressedData &other) = default;
CompressedData &CompressedData::operator=(CompressedData &&other) noexcept = default;
CompressedData::~CompressedData() = default;

CompressionParameters &
CompressionParameters::operator=(const CompressionParameters &other) = default;
CompressionParameters &
CompressionParameters::operator=(CompressionParameters &&other) noexcept = default;

Compressor::Compressor()
{
    internal::ModelMemory::start(modelMebibytes);
}

Compressor::Compressor(const Compressor &)
    : Compressor()
{}

Compressor &Compressor::operator=(const Compressor &)
{
    return *this;
}

Compressor::~Compressor()
{
    internal::ModelMemory::stop();
}

CompressedData Compressor::compress(const QByteArray &input)
{
    const internal::PpmdCodec codec(internal::ModelMemory::start(modelMebibytes), maxOrder);
    const qint32 length = qint32(input.size());
    CompressedData result;
    result.version = 1;
    result.uncompressedSize = length;
    if (length > 0) {
        result.data = QByteArray(length, Qt::Uninitialized);
        result.data.resize(
            codec.encode(bytesOf(input), length, bytesOf(result.data), length).byteCount);
    }
    return result;
}

QByteArray Compressor::decompress(const CompressedData &compressed)
{
    const internal::PpmdCodec codec(internal::ModelMemory::start(modelMebibytes), maxOrder);
    if (compressed.uncompressedSize <= 0)
        return {};
    QByteArray result(compressed.uncompressedSize, Qt::Uninitialized);
    const qint32 decoded = codec
                               .decode(bytesOf(compressed.data), qint32(compressed.data.size()),
                                       bytesOf(result), compressed.uncompressedSize)
                               .byteCount;
    // The stream may end early; what the allocator left there must not leave the process.
    std::memset(result.data() + decoded, 0, size_t(result.size() - decoded));
    return result;
}

} // namespace kyv::compressor
