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

/// Reads whole words that the device says it holds; returns how many came.
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
    return got / wordSize;
}

} // namespace

qint64 readWords(QDataStream &stream, quint32 *words, qint64 count)
{
    if (readsNothing(stream)) {
        std::fill_n(words, count, 0);
        return 0;
    }
    qint64 delivered = 0;
    for (qint64 done = 0; done < count;) {
        const qint64 run = readAvailable(stream, words + done, count - done);
        delivered += run;
        done += run;
        if (done == count)
            break;
        if (readsNothing(stream) || (!readWord(stream, words + done) && knowsBytesLeft(stream))) {
            std::fill(words + done, words + count, 0);
            break;
        }
        ++done;
    }
    return delivered;
}

void writeWords(QDataStream &stream, quint32 *words, qint64 count)
{
    swapToOrder(stream, words, count);
    stream.writeRawData(reinterpret_cast<const char *>(words), int(count * wordSize));
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
