// The frame of `kyv-ms bytes`, docs/formats/bytes-file.md:
//
//   head      "KYVB", version 1, three zeros
//   blocks    u32 original size, u32 stored size, u32 CRC-32, stored bytes
//   end       u32 0, u64 size of everything, u32 CRC-32 of everything
//
// All little-endian. The end stands behind the blocks because a pipe does not tell its length
// beforehand. A block whose stored size equals its original size is stored as it is: the library
// keeps what shrinks and nothing else.

#include "BytesFile.h"

#include <ms_compressor/Compressor.h>

#include <QIODevice>
#include <QtEndian>

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace kyv::tool {

namespace {

using compressor::CompressedData;
using compressor::Compressor;

constexpr char head[] = {'K', 'Y', 'V', 'B', 1, 0, 0, 0};
constexpr qsizetype magicBytes = 4;
constexpr qsizetype headBytes = sizeof(head);
constexpr qsizetype sizeBytes = 4;      // the field that opens a block and the end
constexpr qsizetype blockHeadBytes = 8; // the rest of a block's head
constexpr qsizetype endBytes = 12;      // the rest of the end

quint32 crcOf(const QByteArray &bytes, quint32 before = 0)
{
    return quint32(
        crc32(before, reinterpret_cast<const Bytef *>(bytes.constData()), uInt(bytes.size())));
}

/// The checksum of a block covers the original and, where they differ from it, the stored bytes:
/// the last bits of a coded stream may change without changing what it decodes to.
quint32 blockCrc(const QByteArray &original, const QByteArray &stored)
{
    const quint32 crc = crcOf(original);
    return stored.size() == original.size() ? crc : crcOf(stored, crc);
}

template <typename Number>
QByteArray littleEndian(Number number)
{
    QByteArray bytes(sizeof(Number), Qt::Uninitialized);
    qToLittleEndian(number, bytes.data());
    return bytes;
}

/// Reads from a device that may deliver less than asked for, and knows where it stands.
class Input
{
public:
    explicit Input(QIODevice &device)
        : m_device(device)
    {}

    /// Up to \a size bytes; fewer only at the end. Null on a failure of the device.
    std::optional<QByteArray> read(qsizetype size)
    {
        QByteArray bytes(size, Qt::Uninitialized);
        qsizetype have = 0;
        while (have < size) {
            const qint64 count = m_device.read(bytes.data() + have, size - have);
            if (count < 0)
                return std::nullopt;
            if (count == 0)
                break;
            have += count;
        }
        bytes.resize(have);
        m_position += have;
        return bytes;
    }

    qint64 position() const { return m_position; }
    BytesFailure failure() const { return {IoFailure, m_position, m_device.errorString()}; }

private:
    QIODevice &m_device;
    qint64 m_position = 0;
};

bool put(QIODevice &target, const QByteArray &bytes)
{
    return target.write(bytes) == bytes.size();
}

BytesFailure notWritten(const QIODevice &target)
{
    return {IoFailure, 0, QStringLiteral("cannot write: ") + target.errorString(), true};
}

/// What stands in a block for \a original: coded bytes if they are fewer.
QByteArray stored(Compressor &compressor, const QByteArray &original, bool verify)
{
    const CompressedData compressed = compressor.compress(original);
    const bool shrinks = compressed.data.size() < original.size();
    return shrinks && (!verify || compressor.decompress(compressed) == original) ? compressed.data
                                                                                 : original;
}

QByteArray restored(std::optional<Compressor> &compressor, const QByteArray &bytes,
                    quint32 originalSize)
{
    if (bytes.size() == qsizetype(originalSize))
        return bytes;
    if (!compressor)
        compressor.emplace();
    CompressedData compressed;
    compressed.version = 1;
    compressed.uncompressedSize = qint32(originalSize);
    compressed.data = bytes;
    return compressor->decompress(compressed);
}

/// The reading side, step by step; each step answers with the damage that it finds.
class Reader
{
public:
    Reader(QIODevice &source, QIODevice *target, BytesTotals *totals)
        : m_input(source)
        , m_target(target)
        , m_totals(totals)
    {}

    std::optional<BytesFailure> read(const BytesProgress &progress);

private:
    std::optional<BytesFailure> readHead();
    std::optional<BytesFailure> readBlock(quint32 originalSize);
    std::optional<BytesFailure> readEnd();
    std::optional<BytesFailure> exactly(qsizetype size, QByteArray *bytes);
    BytesFailure damaged(const QString &reason) const { return {Corrupt, m_partOffset, reason}; }

    Input m_input;
    QIODevice *m_target;
    BytesTotals *m_totals;
    std::optional<Compressor> m_compressor; // made for the first block that was shrunk
    quint32 m_crc = 0;                      // of everything so far
    qint64 m_partOffset = 0; // where the head, block or end that is being read begins
};

std::optional<BytesFailure> Reader::exactly(qsizetype size, QByteArray *bytes)
{
    const std::optional<QByteArray> read = m_input.read(size);
    if (!read)
        return m_input.failure();
    if (read->size() < size)
        return BytesFailure{Corrupt, m_input.position(), QStringLiteral("the file ends too early")};
    *bytes = *read;
    return std::nullopt;
}

std::optional<BytesFailure> Reader::read(const BytesProgress &progress)
{
    if (auto failure = readHead())
        return failure;
    for (;;) {
        m_partOffset = m_input.position();
        QByteArray bytes;
        if (auto failure = exactly(sizeBytes, &bytes))
            return failure;
        const auto originalSize = qFromLittleEndian<quint32>(bytes.constData());
        if (originalSize == 0)
            return readEnd();
        if (auto failure = readBlock(originalSize))
            return failure;
        if (progress)
            progress(m_input.position());
    }
}

std::optional<BytesFailure> Reader::readHead()
{
    const std::optional<QByteArray> bytes = m_input.read(headBytes);
    if (!bytes)
        return m_input.failure();
    if (!bytes->startsWith(QByteArrayView(head, magicBytes)))
        return damaged(QStringLiteral("not a file of kyv-ms bytes"));
    if (bytes->size() < headBytes)
        return BytesFailure{Corrupt, m_input.position(), QStringLiteral("the file ends too early")};
    if (*bytes != QByteArrayView(head, headBytes))
        return damaged(QStringLiteral("version %1 of the format is not supported")
                           .arg(quint8(bytes->at(magicBytes))));
    return std::nullopt;
}

std::optional<BytesFailure> Reader::readBlock(quint32 originalSize)
{
    QByteArray bytes;
    if (auto failure = exactly(blockHeadBytes, &bytes))
        return failure;
    const auto storedSize = qFromLittleEndian<quint32>(bytes.constData());
    const auto crc = qFromLittleEndian<quint32>(bytes.constData() + sizeBytes);
    if (originalSize > bytesFileBlock || storedSize == 0 || storedSize > originalSize)
        return damaged(QStringLiteral("block %1 is damaged: %2 bytes stored as %3")
                           .arg(m_totals->blocks)
                           .arg(originalSize)
                           .arg(storedSize));
    if (auto failure = exactly(qsizetype(storedSize), &bytes))
        return failure;
    const QByteArray original = restored(m_compressor, bytes, originalSize);
    if (blockCrc(original, bytes) != crc)
        return damaged(QStringLiteral("block %1 is damaged: its checksum does not agree")
                           .arg(m_totals->blocks));
    if (m_target && !put(*m_target, original))
        return notWritten(*m_target);
    m_crc = crcOf(original, m_crc);
    m_totals->originalBytes += original.size();
    m_totals->storedBlocks += storedSize == originalSize;
    ++m_totals->blocks;
    return std::nullopt;
}

std::optional<BytesFailure> Reader::readEnd()
{
    QByteArray bytes;
    if (auto failure = exactly(endBytes, &bytes))
        return failure;
    const auto size = qFromLittleEndian<quint64>(bytes.constData());
    const auto crc = qFromLittleEndian<quint32>(bytes.constData() + sizeof(quint64));
    if (size != quint64(m_totals->originalBytes))
        return damaged(QStringLiteral("%1 bytes are announced, the blocks hold %2")
                           .arg(size)
                           .arg(m_totals->originalBytes));
    if (crc != m_crc)
        return damaged(QStringLiteral("the checksum of the whole does not agree"));
    m_totals->fileBytes = m_input.position();
    const std::optional<QByteArray> behind = m_input.read(1);
    if (!behind)
        return m_input.failure();
    if (!behind->isEmpty())
        return BytesFailure{Corrupt, m_totals->fileBytes, QStringLiteral("bytes behind the end")};
    return std::nullopt;
}

} // namespace

std::optional<BytesFailure> compressBytes(QIODevice &source, QIODevice &target, bool verify,
                                          const BytesProgress &progress, BytesTotals *totals)
{
    Compressor compressor;
    Input input(source);
    quint32 crc = 0;
    if (!put(target, QByteArray(head, headBytes)))
        return notWritten(target);
    totals->fileBytes = headBytes;
    for (;;) {
        const std::optional<QByteArray> original = input.read(bytesFileBlock);
        if (!original)
            return input.failure();
        if (original->isEmpty())
            break;
        const QByteArray bytes = stored(compressor, *original, verify);
        const QByteArray block = littleEndian(quint32(original->size()))
                                 + littleEndian(quint32(bytes.size()))
                                 + littleEndian(blockCrc(*original, bytes)) + bytes;
        if (!put(target, block))
            return notWritten(target);
        crc = crcOf(*original, crc);
        totals->originalBytes += original->size();
        totals->fileBytes += block.size();
        totals->storedBlocks += bytes.size() == original->size();
        ++totals->blocks;
        if (progress)
            progress(input.position());
    }
    const QByteArray end =
        littleEndian(quint32(0)) + littleEndian(quint64(totals->originalBytes)) + littleEndian(crc);
    totals->fileBytes += end.size();
    if (!put(target, end))
        return notWritten(target);
    return std::nullopt;
}

std::optional<BytesFailure> decompressBytes(QIODevice &source, QIODevice *target,
                                            const BytesProgress &progress, BytesTotals *totals)
{
    return Reader(source, target, totals).read(progress);
}

} // namespace kyv::tool
