#pragma once

#include "../ExitCode.h"

#include <QString>

#include <functional>
#include <optional>

class QIODevice;

/// The file of `kyv-ms bytes`: any bytes in blocks, each compressed or, where that does not make it
/// smaller, as it is; checksums over every block and over all. See docs/formats/bytes-file.md.
namespace kyv::tool {

/// Bytes of the original that one block holds at most.
constexpr qint64 bytesFileBlock = qint64(4) << 20;

/// Why a file could not be written or read.
struct BytesFailure
{
    ExitCode code = Corrupt;
    qint64 byteOffset = 0;   ///< In the file that is read.
    QString reason;          ///< One line, without the file's name.
    bool isOfTarget = false; ///< It is the file to be written that fails.
};

/// What was written or read.
struct BytesTotals
{
    qint64 originalBytes = 0;
    qint64 fileBytes = 0; ///< Of the compressed file.
    qint64 blocks = 0;
    qint64 storedBlocks = 0; ///< Those that are stored as they are.
};

/// Is told how many bytes of the source have been dealt with.
using BytesProgress = std::function<void(qint64 bytesRead)>;

/// Compresses everything that \a source holds into \a target. With \a verify, each block is
/// decompressed and compared before it is written, and stored as it is if it does not come back.
std::optional<BytesFailure> compressBytes(QIODevice &source, QIODevice &target, bool verify,
                                          const BytesProgress &progress, BytesTotals *totals);

/// Restores what compressBytes() made from \a source to \a target; to nowhere if that is null.
/// A block reaches the target only when its checksum agrees. On a failure the target holds the
/// sound blocks before the damage.
std::optional<BytesFailure> decompressBytes(QIODevice &source, QIODevice *target,
                                            const BytesProgress &progress, BytesTotals *totals);

} // namespace kyv::tool
