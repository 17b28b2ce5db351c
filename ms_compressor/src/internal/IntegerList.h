#pragma once

#include <QDataStream>
#include <QList>
#include <QtGlobal>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace kyv::compressor::internal {

/// The answer of writing or reading an integer list; who calls makes an Error of it.
enum class IntegerListStatus {
    Ok,
    Inconsistent, ///< reading: no writer makes such a record, or there is no memory for its list
    TooLong       ///< writing: more values than a record can hold
};

/// The longest list that a record can hold.
inline constexpr quint32 longestIntegerList = 2147450879;

/// Writes \a count values as an integer list record through \a stream, in its byte order.
/// Nothing is written if the list is too long.
IntegerListStatus writeIntegerList(QDataStream &stream, const quint32 *values, quint32 count);

/// Reads an integer list record into \a output, which it empties first.
///
/// Where the stream is cut short the values are 0, without an error. Takes no memory for a record
/// that is refused. On failure \a output holds what was read so far.
IntegerListStatus readIntegerList(QDataStream &stream, QList<quint32> *output);

/// The same for a list of another type: \a convert(const quint32 *levels, T *elements, quint32 n)
/// makes \a n elements out of \a n values, run by run and in order, while both are in the cache.
template <typename T, typename Convert>
IntegerListStatus readIntegerListAs(QDataStream &stream, QList<T> *output, Convert convert);

/// Reads an integer list record run by run: open(), then read() until it gives 0.
class IntegerListReader
{
public:
    /// Values that a run has at most.
    static constexpr quint32 runLength = 2048;

    explicit IntegerListReader(QDataStream &stream) noexcept;

    /// Reads the head of the record and decides whether its list may be served.
    IntegerListStatus open();

    /// Values of the list, at most longestIntegerList; known after open().
    quint32 size() const noexcept { return m_size; }

    /// The values that memory may be taken for at once: the whole list where the stream vouches
    /// for its words, fewer where it cannot tell (a pipe, a socket).
    quint32 vouchedSize() const noexcept { return m_vouchedSize; }

    /// Reads the next values, at most runLength of them; returns how many. 0 at the end of the
    /// list, or if too much of it is missing: status() tells which.
    quint32 read(quint32 *values);

    IntegerListStatus status() const noexcept { return m_status; }

private:
    /// Where reading stands: the block, and the values of it that are done.
    struct Cursor
    {
        quint32 block = 0;
        quint32 done = 0;
    };
    /// Values of one block that are read together: to its end, or whole cycles.
    struct Piece
    {
        quint32 width;
        quint32 count;
    };

    bool readWidths(quint32 widthBits);
    bool missesTooMuch() const;
    quint32 width(quint32 block) const noexcept;
    quint32 blockLength(quint32 block) const noexcept;
    quint64 announcedWords() const noexcept;
    Piece nextPiece(Cursor *cursor, quint32 room) const noexcept;
    void unpackPieces(quint32 *values, quint32 n);

    /// Words past the piece that a vector path may read.
    static constexpr quint32 slackWords = 16;

    QDataStream &m_stream;
    IntegerListStatus m_status = IntegerListStatus::Ok;
    quint32 m_blockCount = 0;
    quint32 m_blockSize = 0;
    quint32 m_lastBlockSize = 0;
    quint32 m_smallestWidth = 0;
    quint32 m_size = 0;
    quint32 m_vouchedSize = 0;
    quint64 m_missingWords = 0;
    Cursor m_cursor;
    std::unique_ptr<quint8[]> m_widths; ///< one a block; null if all blocks have the smallest width
    std::array<quint32, runLength + slackWords> m_words;
};

template <typename T, typename Convert>
IntegerListStatus readIntegerListAs(QDataStream &stream, QList<T> *output, Convert convert)
try {
    IntegerListReader reader(stream);
    const IntegerListStatus opened = reader.open();
    output->clear();
    if (opened != IntegerListStatus::Ok)
        return opened;
    output->reserve(qsizetype(reader.vouchedSize()));
    if (output->capacity() < qsizetype(reader.vouchedSize()))
        return IntegerListStatus::Inconsistent;
    std::array<quint32, IntegerListReader::runLength> levels;
    while (const quint32 n = reader.read(levels.data())) {
        const qsizetype done = output->size();
        output->resize(done + qsizetype(n));
        convert(levels.data(), output->data() + done, n);
    }
    return reader.status();
} catch (const std::bad_alloc &) {
    return IntegerListStatus::Inconsistent;
}

} // namespace kyv::compressor::internal
