#pragma once

#include <ms_compressor/MsDataPacker.h>

#include "../tests/reference/ReferenceIntensities.h"

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// What the fuzz targets of the packer share.

namespace kyv::fuzz {

/// Stops the run if \a condition, which the target promises, does not hold.
inline void require(bool condition, const char *promise)
{
    if (condition)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

/// What the head of an integer list announces.
struct AnnouncedList
{
    quint64 blocks = 0;
    quint64 values = 0;
    quint32 checksum = 0; ///< of all that follows

    explicit AnnouncedList(reference::FieldReader head)
    {
        const QByteArray bytes = reference::FieldReader(head).take(head.remaining());
        for (const char byte : bytes)
            checksum = (checksum ^ quint8(byte)) * 0x01000193U;
        blocks = head.integer(2);
        if (blocks == 0)
            return;
        const quint64 blockSize = head.integer(2);
        const quint64 lastBlockSize = head.integer(2);
        values = (blocks - 1) * blockSize + lastBlockSize;
    }

    /// Whether the slow reference readers are through with it soon.
    bool isShort() const { return blocks <= 256 && values <= 512; }
};

/// Lists of zeros announce any length in eight bytes and are served; a target that made them all
/// would do little else. It skips those above 2^22 values, serves one in 64 of those above 1024
/// values or blocks (chosen by their bytes, so that an input always takes the same way), and
/// tells how many it left out.
class SkippedRecords
{
public:
    ~SkippedRecords()
    {
        std::fprintf(stderr, "%lld records above 2^22 values skipped, %lld above 1024 left out\n",
                     m_skipped, m_leftOut);
    }

    /// True, and counted, if \a list is not to be made.
    bool skips(const AnnouncedList &list)
    {
        if (list.values <= 1024 && list.blocks <= 1024)
            return false;
        if (list.values > quint64(1) << 22) {
            ++m_skipped;
            return true;
        }
        if (list.checksum % 64 == 0)
            return false;
        ++m_leftOut;
        return true;
    }

private:
    long long m_skipped = 0;
    long long m_leftOut = 0;
};

/// The setting that an input's first byte chooses, of the stream and of the reference reader.
inline reference::StreamKind streamKind(std::uint8_t choice)
{
    return {(choice & 1) != 0, (choice & 2) != 0};
}

inline void apply(reference::StreamKind kind, QDataStream &stream)
{
    stream.setByteOrder(kind.littleEndian ? QDataStream::LittleEndian : QDataStream::BigEndian);
    stream.setFloatingPointPrecision(kind.singlePrecision ? QDataStream::SinglePrecision
                                                          : QDataStream::DoublePrecision);
}

/// Whether two floats are equal bit for bit, any NaN being equal to any other.
inline bool sameFloat(float a, float b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
}

} // namespace kyv::fuzz
