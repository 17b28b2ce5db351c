#include "ByteSource.h"

#include "Limits.h"

#include <QIODevice>

#include <algorithm>
#include <cstring>

namespace kyv::runs {

namespace {

constexpr qsizetype pieceSize = 256 << 10;
constexpr int gzipOnly = 15 + 16; // zlib: largest window, gzip header required

} // namespace

ByteSource::ByteSource(QIODevice &device)
    : m_device(device)
{}

ByteSource::~ByteSource()
{
    if (m_gzip)
        inflateEnd(&m_inflate);
}

qsizetype ByteSource::read(char *buffer, qsizetype size)
{
    if (m_failure)
        return 0;
    if (!m_started) {
        m_started = true;
        fill();
        m_gzip = m_input.startsWith("\x1f\x8b") && inflateInit2(&m_inflate, gzipOnly) == Z_OK;
    }
    const qsizetype count = m_gzip ? inflateSome(buffer, size) : copyPlain(buffer, size);
    m_unpackedBytes += count;
    return count;
}

/// Takes the next piece of the file if the last one is used up; false at the end.
bool ByteSource::fill()
{
    if (m_position < m_input.size())
        return true;
    m_input.resize(pieceSize);
    const qint64 count = m_device.read(m_input.data(), m_input.size());
    m_position = 0;
    m_input.resize(qsizetype(std::max<qint64>(count, 0)));
    m_fileBytes += m_input.size();
    if (count < 0)
        fail(ReadFailure::Kind::Io, m_device.errorString());
    return count > 0;
}

qsizetype ByteSource::copyPlain(char *buffer, qsizetype size)
{
    if (!fill())
        return 0;
    const qsizetype count = std::min(size, m_input.size() - m_position);
    std::memcpy(buffer, m_input.constData() + m_position, std::size_t(count));
    m_position += count;
    return count;
}

/// Begins the next gzip member, if there is one. Zeros behind the last one are padding.
bool ByteSource::startMember()
{
    while (fill() && m_input.at(m_position) == '\0')
        ++m_position;
    if (m_failure || m_position == m_input.size())
        return false;
    m_memberEnded = false;
    inflateReset(&m_inflate);
    return true;
}

qsizetype ByteSource::inflateSome(char *buffer, qsizetype size)
{
    m_inflate.next_out = reinterpret_cast<Bytef *>(buffer);
    m_inflate.avail_out = uInt(size);
    while (qsizetype(m_inflate.avail_out) == size) {
        if (m_memberEnded && !startMember())
            return 0;
        if (!fill())
            return m_failure ? 0
                             : fail(ReadFailure::Kind::Corrupt,
                                    QStringLiteral("the gzip data end too early"));
        m_inflate.next_in = reinterpret_cast<Bytef *>(m_input.data() + m_position);
        m_inflate.avail_in = uInt(m_input.size() - m_position);
        const int status = inflate(&m_inflate, Z_NO_FLUSH);
        m_position = m_input.size() - qsizetype(m_inflate.avail_in);
        m_memberEnded = status == Z_STREAM_END;
        if (status == Z_OK || status == Z_STREAM_END || status == Z_BUF_ERROR)
            continue;
        if (qsizetype(m_inflate.avail_out) == size) // else the next call meets the damage again
            return fail(ReadFailure::Kind::Corrupt,
                        QStringLiteral("damaged gzip data (%1)")
                            .arg(QLatin1String(m_inflate.msg ? m_inflate.msg : "checksum")));
    }
    const qsizetype count = size - qsizetype(m_inflate.avail_out);
    // The piece counts with what is consumed of it, so that a short file gets no more than its due.
    const qint64 packed = m_fileBytes - (m_input.size() - m_position);
    if (m_unpackedBytes + count > limits::gzipBytes(packed))
        return fail(ReadFailure::Kind::Corrupt,
                    QStringLiteral("the gzip data unpack to more than %1 times their size")
                        .arg((m_unpackedBytes + count) / std::max<qint64>(packed, 1)));
    return count;
}

qsizetype ByteSource::fail(ReadFailure::Kind kind, const QString &reason)
{
    m_failure = ReadFailure{kind, m_unpackedBytes, reason};
    return 0;
}

} // namespace kyv::runs
