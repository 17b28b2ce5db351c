#pragma once

#include <ms_compressor/ms_compressor_export.h>

#include <QByteArray>
#include <QtGlobal>

namespace kyv::compressor {

/// What Compressor::compress() stores: the coded bytes and the length of the input.
struct KYV_MS_COMPRESSOR_EXPORT CompressedData
{
    /// Leaves version and uncompressedSize unset, and data empty.
    CompressedData();
    /// Copies share the coded bytes; moves take them.
    ///@{
    CompressedData(const CompressedData &other);
    CompressedData(CompressedData &&other) noexcept;
    CompressedData &operator=(const CompressedData &other);
    CompressedData &operator=(CompressedData &&other) noexcept;
    ~CompressedData();
    ///@}

    qint32 version;          ///< Always 1 from compress(); decompress() does not look at it.
    qint32 uncompressedSize; ///< Bytes of the input, its length modulo 2^32.
    QByteArray data;         ///< The coded bytes, without header or trailer.
};

/// Reserved: no operation takes or reads it.
struct KYV_MS_COMPRESSOR_EXPORT CompressionParameters
{
    /// Copies the number.
    ///@{
    CompressionParameters &operator=(const CompressionParameters &other);
    CompressionParameters &operator=(CompressionParameters &&other) noexcept;
    ///@}

    qint32 reserved; ///< Has no meaning.
};

/// Makes byte arrays small and brings them back: a context model of order 2 (PPM, after Cleary and
/// Witten, "Data Compression Using Adaptive Coding and Partial String Matching", IEEE Trans.
/// Commun. 32, 1984) with secondary escape estimation, and a carry-less range coder.
///
/// **Data that does not shrink may not come back.** compress() cuts its output at the length of
/// the input and reports nothing. If `data` is shorter than the input it is whole, and
/// decompress() gives back the input. If it is as long as the input it may have been cut: store
/// the input itself instead, or decompress and compare before the input is let go. Empty input
/// always comes back.
///
/// \code
/// Compressor compressor;
/// const CompressedData compressed = compressor.compress(bytes);
/// if (!bytes.isEmpty() && compressed.data.size() >= bytes.size())
///     storePlain(bytes);
/// else
///     store(compressed);
/// \endcode
///
/// **Threads and memory.** The model works in a block of 1 GiB that belongs to the calling
/// thread and is shared by all objects on it. It is address space: memory is used as the model
/// grows, in proportion to how varied the input is. The constructor allocates the block unless the
/// thread has one, and throws std::bad_alloc where it cannot. Destroying any object releases the
/// block of the thread on which that happens, at the latest the thread's end does. A call on a
/// thread without a block (after another object was destroyed there, or with an object made
/// elsewhere) allocates it anew, and throws std::bad_alloc where it cannot.
///
/// Objects hold no data. Different threads work in parallel without locks; calls do not influence
/// one another.
class KYV_MS_COMPRESSOR_EXPORT Compressor
{
public:
    /// Makes sure of the calling thread's block. Throws std::bad_alloc.
    Compressor();
    /// Makes sure of the calling thread's block, too. Throws std::bad_alloc.
    Compressor(const Compressor &other);
    /// Does nothing.
    Compressor &operator=(const Compressor &other);
    /// Releases the calling thread's block, whatever other objects exist.
    ~Compressor();

    /// Codes \a input, of any length below 2 GiB; see above for what does not shrink.
    ///
    /// Lengths are stored in 32 bits. Of a longer input only the first (length modulo 2^32) bytes
    /// are coded; where that count is 2^31 or more, nothing is, uncompressedSize is negative and
    /// data is empty. Split such input.
    CompressedData compress(const QByteArray &input);

    /// Gives back what compress() coded, always `uncompressedSize` bytes; none if that is negative.
    ///
    /// Damage is not detected: a damaged or short stream gives some bytes, and zeros from where
    /// it ends early. Any input ends, in time and memory in proportion to uncompressedSize. Throws
    /// std::bad_alloc if there is no memory for that many bytes.
    QByteArray decompress(const CompressedData &compressed);
};

} // namespace kyv::compressor
