#pragma once

#include "Run.h"

#include <QByteArray>

#include <zlib.h>

namespace kyv::runs {

/// The bytes of a file in order, unpacked on the way if it is gzip (told by its first two bytes).
///
/// A gzip file may consist of several members in a row. What stands before damage is given out
/// first; after a failure nothing more comes.
class ByteSource
{
public:
    /// Reads from \a device, which must be open and outlive this object.
    explicit ByteSource(QIODevice &device);
    ~ByteSource();
    ByteSource(const ByteSource &) = delete;
    ByteSource &operator=(const ByteSource &) = delete;

    /// Writes up to \a size unpacked bytes to \a buffer and returns their number; 0 at the end
    /// and after a failure.
    qsizetype read(char *buffer, qsizetype size);

    const std::optional<ReadFailure> &failure() const { return m_failure; }

    /// Bytes taken from the device so far.
    qint64 fileBytes() const { return m_fileBytes; }
    /// Bytes given out so far.
    qint64 unpackedBytes() const { return m_unpackedBytes; }

private:
    bool fill();
    bool startMember();
    qsizetype copyPlain(char *buffer, qsizetype size);
    qsizetype inflateSome(char *buffer, qsizetype size);
    qsizetype fail(ReadFailure::Kind kind, const QString &reason);

    QIODevice &m_device;
    QByteArray m_input; // the piece of the file that is being consumed
    qsizetype m_position = 0;
    qint64 m_fileBytes = 0;
    qint64 m_unpackedBytes = 0;
    bool m_started = false;
    bool m_gzip = false;
    bool m_memberEnded = false;
    z_stream m_inflate = {};
    std::optional<ReadFailure> m_failure;
};

} // namespace kyv::runs
