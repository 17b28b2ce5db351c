#pragma once

#include <QDataStream>
#include <QtGlobal>

namespace kyv::compressor::internal {

// Runs of 32-bit words through a QDataStream. Bytes, stream status and what a failing stream
// delivers are those of the stream's own operators for qint32, called once a word; only the time
// differs. See docs/formats/integer-list.md, "A stream cut short".

/// Reads \a count words. Those that the stream does not deliver are 0; returns how many it did
/// deliver.
qint64 readWords(QDataStream &stream, quint32 *words, qint64 count);

/// Writes \a count words. \a words serves as working space: its content is lost.
void writeWords(QDataStream &stream, quint32 *words, qint64 count);

/// Whether the stream can tell how many bytes it still holds: it reads a file or a buffer, not a
/// pipe or a socket.
bool knowsBytesLeft(const QDataStream &stream);

/// The bytes that reading can still deliver, as far as the stream knows.
qint64 bytesLeft(const QDataStream &stream);

} // namespace kyv::compressor::internal
