// Runs of 32-bit words through a QDataStream, in the stream's byte order.
//
// The stream's operator costs a virtual call and more for every word. Here a run goes to the
// device in one piece, as far as the device says that it holds the bytes; the rest goes word by
// word, as the operator does it, so that a device that runs dry, refuses bytes or delivers them
// later is treated the same.

#include "StreamWords.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>

namespace kyv::compressor::internal {

namespace {

constexpr qint64 wordSize = sizeof(quint32);

/// Turns words between the machine's byte order and that of \a stream, in place.
void swapToOrder(const QDataStream &stream, quint32 *words, qint64 count)
{
    if (int(stream.byteOrder()) != int(QSysInfo::ByteOrder))
        qbswap<sizeof(quint32)>(words, count, words);
}

/// A stream that has failed inside a transaction reads nothing more.
bool readsNothing(const QDataStream &stream)
{
    const QIODevice *const device = stream.device();
    return !device || (stream.status() != QDataStream::Ok && device->isTransactionStarted());
}

/// One word as the stream's operator reads it: 0 if fewer than four bytes come, and these are lost.
bool readWord(QDataStream &stream, quint32 *word)
{
    if (stream.device()->read(reinterpret_cast<char *>(word), wordSize) == wordSize) {
        swapToOrder(stream, word, 1);
        return true;
    }
    *word = 0;
    stream.setStatus(QDataStream::ReadPastEnd);
    return false;
}

/// Reads the words that the device says it holds, at most \a count; returns how many bytes came.
qint64 readAvailable(QDataStream &stream, quint32 *words, qint64 count)
{
    QIODevice *const device = stream.device();
    const qint64 wanted = std::min(count, device->bytesAvailable() / wordSize) * wordSize;
    char *const bytes = reinterpret_cast<char *>(words);
    qint64 got = 0;
    while (got < wanted) {
        const qint64 more = device->read(bytes + got, wanted - got);
        if (more <= 0)
            break;
        got += more;
    }
    swapToOrder(stream, words, got / wordSize);
    return got;
}

} // namespace

qint64 readWords(QDataStream &stream, quint32 *words, qint64 count)
{
    qint64 delivered = 0;
    for (qint64 done = 0; done < count;) {
        if (readsNothing(stream)) {
            std::fill(words + done, words + count, 0);
            break;
        }
        const qint64 bytes = readAvailable(stream, words + done, count - done);
        delivered += bytes / wordSize;
        done += bytes / wordSize;
        if (done == count)
            break;
        if (bytes % wordSize != 0) { // the device had promised the rest of this word
            words[done] = 0;
            stream.setStatus(QDataStream::ReadPastEnd);
        } else if (readWord(stream, words + done)) {
            ++delivered;
        } else if (knowsBytesLeft(stream)) { // at its end, where nothing more will come
            std::fill(words + done, words + count, 0);
            break;
        }
        ++done;
    }
    return delivered;
}

void writeWords(QDataStream &stream, quint32 *words, qint64 count)
{
    QIODevice *const device = stream.device();
    if (!device || stream.status() != QDataStream::Ok)
        return;
    swapToOrder(stream, words, count);
    const qint64 bytes = count * wordSize;
    const qint64 taken =
        std::max<qint64>(device->write(reinterpret_cast<const char *>(words), bytes), 0);
    if (taken == bytes)
        return;
    if (taken % wordSize != 0) {
        stream.setStatus(QDataStream::WriteFailed);
        return;
    }
    // The device may have room for some more words, or for all of them one by one.
    swapToOrder(stream, words + taken / wordSize, count - taken / wordSize);
    for (qint64 i = taken / wordSize; i < count; ++i)
        stream << qint32(words[i]);
}

bool knowsBytesLeft(const QDataStream &stream)
{
    return !stream.device() || !stream.device()->isSequential();
}

qint64 bytesLeft(const QDataStream &stream)
{
    return readsNothing(stream) ? 0 : stream.device()->bytesAvailable();
}

} // namespace kyv::compressor::internal
