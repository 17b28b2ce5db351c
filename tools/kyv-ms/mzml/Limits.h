#pragma once

#include <QtGlobal>

/// What the reader accepts at most, so that a small file cannot become gigabytes.
namespace kyv::runs::limits {

/// Elements inside one another; mzML needs about ten.
constexpr int elementDepth = 64;

/// Bytes of one tag, with its attributes.
constexpr qsizetype tagBytes = 4 << 20;

/// Groups of parameters of one run, and bytes that all of them take in memory.
constexpr qsizetype groups = 10000;
constexpr qsizetype groupBytes = 16 << 20;

/// Bytes of parameters that references to groups may stand for when \a xmlBytes of the file are
/// read, unpacked.
constexpr qint64 referencedBytes(qint64 xmlBytes)
{
    return (qint64(64) << 20) + 16 * xmlBytes;
}

/// Values that an array may announce.
constexpr qint64 arrayValues = qint64(1) << 30;

/// Deflate cannot do better than this many bytes out of one.
constexpr qint64 deflateRatio = 1032;

/// Bytes that one array may take, as text and unpacked, when \a fileBytes of the file are read.
///
/// The constant part leaves room for long arrays of zeros, which shrink a thousandfold.
constexpr qint64 arrayBytes(qint64 fileBytes)
{
    return (qint64(64) << 20) + 64 * fileBytes;
}

/// Bytes that \a packedBytes of a .gz file may unpack to. They are streamed; what is held of them
/// has limits of its own.
constexpr qint64 gzipBytes(qint64 packedBytes)
{
    return (qint64(64) << 20) + 256 * packedBytes;
}

/// Bytes of points that a run held in memory may take altogether.
constexpr qint64 loadedRunBytes(qint64 fileBytes)
{
    return (qint64(512) << 20) + 64 * fileBytes;
}

} // namespace kyv::runs::limits
