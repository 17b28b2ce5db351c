#pragma once

#include "internal/ModelMemory.h"
#include "internal/PpmdCodec.h"
#include "internal/PpmdPaths.h"

#include <QByteArray>

#include <algorithm>
#include <array>
#include <vector>

namespace kyv::test {

/// The byte codec on byte arrays, in a block of its own size and on a path of its own.
///
/// Blocks of whole MiB are the calling thread's, as in the service. A smaller block belongs to
/// the object; in 32 KiB the model is exhausted after a few thousand symbols.
class ByteCoder
{
public:
    using Path = compressor::internal::PpmdCodec::Path;

    explicit ByteCoder(quint32 blockBytes, int order = 2,
                       Path path = compressor::internal::PpmdCodec::fastestPath())
        : m_blockBytes(blockBytes)
        , m_order(order)
        , m_path(path)
    {
        constexpr quint32 guard = compressor::internal::ModelMemory::guardBytes;
        if (blockBytes % Mebibyte != 0)
            m_own.resize(blockBytes + 2 * guard + Alignment);
    }

    QByteArray encode(const QByteArray &input, qsizetype capacity)
    {
        QByteArray output(capacity, Qt::Uninitialized);
        const auto result =
            codec().encode(bytes(input), qint32(input.size()), bytes(output), qint32(capacity));
        m_events = result.events;
        output.truncate(result.byteCount);
        return output;
    }

    QByteArray decode(const QByteArray &stream, qsizetype capacity)
    {
        QByteArray output(capacity, Qt::Uninitialized);
        const auto result =
            codec().decode(bytes(stream), qint32(stream.size()), bytes(output), qint32(capacity));
        m_events = result.events;
        output.truncate(result.byteCount);
        return output;
    }

    /// Restarts, gluing passes, carves, rescales to binary, rescales of the last call.
    std::array<quint64, 5> rarePaths() const
    {
        return {quint64(m_events.restarts), quint64(m_events.gluings), quint64(m_events.carves),
                quint64(m_events.rescalesToBinary), quint64(m_events.rescales)};
    }

    static constexpr quint32 Mebibyte = 1 << 20;

private:
    static constexpr quint32 Alignment = 64;

    compressor::internal::PpmdCodec codec()
    {
        using compressor::internal::ModelMemory;
        ModelMemory::Block block;
        if (m_own.empty()) {
            block = ModelMemory::start(m_blockBytes / Mebibyte);
        } else {
            const auto start = reinterpret_cast<quintptr>(m_own.data()) + ModelMemory::guardBytes;
            const quintptr aligned = (start + Alignment - 1) / Alignment * Alignment;
            block = {m_own.data() + ModelMemory::guardBytes + (aligned - start), m_blockBytes};
        }
        return compressor::internal::PpmdCodec(block, m_order, m_path);
    }

    static const quint8 *bytes(const QByteArray &array)
    {
        return reinterpret_cast<const quint8 *>(array.constData());
    }
    static quint8 *bytes(QByteArray &array) { return reinterpret_cast<quint8 *>(array.data()); }

    quint32 m_blockBytes;
    int m_order;
    Path m_path;
    std::vector<quint8> m_own;
    compressor::internal::PpmdEvents m_events;
};

/// Every path that this processor runs.
inline std::vector<ByteCoder::Path> bytePaths()
{
    std::vector<ByteCoder::Path> paths;
    for (const auto path : {ByteCoder::Path::Portable, ByteCoder::Path::Sse41,
                            ByteCoder::Path::Avx2, ByteCoder::Path::Avx512}) {
        if (compressor::internal::ppmd::isUsable(path))
            paths.push_back(path);
    }
    return paths;
}

} // namespace kyv::test
