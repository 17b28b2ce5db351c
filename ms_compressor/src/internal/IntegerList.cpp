// The integer list record: a list cut into blocks, each stored at the width of its largest value.
//
// The record is a head (block count, block size, last block size, smallest width, width bits), the
// packed widths of the blocks less the smallest one, and the packed words of every block whose
// width is not 0. See docs/formats/integer-list.md.
//
// What decides speed: blocks follow one another without gaps, so many of them are read, swapped to
// the machine's byte order and unpacked together, in runs that stay in the cache. The subtle
// thing: a block may have no values but a width (a damaged record); it has no words, and it must
// not reach the kernels, which take one item before they look.

#include "IntegerList.h"

#include "BitsRequired.h"
#include "PackedBitKernels.h"
#include "StreamWords.h"

#include <bit>
#include <cstring>

namespace kyv::compressor::internal {

namespace {

constexpr quint32 smallestBlockSize = 32;
constexpr quint32 blockCountEnd = 65535;      // block counts stay below
constexpr quint32 tooManyValues = 2147450880; // the block size would leave its 16 bits
constexpr quint64 missingWordsAllowed = (quint64(64) << 20) / sizeof(quint32);

static_assert(tooManyValues == blockCountEnd * 32768);
static_assert(longestIntegerList == tooManyValues - 1);

/// How a list is cut into blocks.
struct Cut
{
    quint32 blockSize;
    quint32 blockCount;
    quint32 lastBlockSize;
};

Cut cutIntoBlocks(quint32 count) noexcept
{
    quint32 size = smallestBlockSize;
    while (count / size >= blockCountEnd)
        size *= 2;
    const quint32 blocks = std::max(count / size, 1u);
    return {size, blocks, count - (blocks - 1) * size};
}

// ---- writing -------------------------------------------------------------------------------

/// Packs runs into words that go to the stream many at a time.
class WordWriter
{
public:
    explicit WordWriter(QDataStream &stream)
        : m_stream(stream)
    {}

    /// Appends the words of one packed bit array: \a n items of \a width bits, both at least 1.
    void append(quint32 width, const quint32 *items, quint32 n)
    {
        while (n > 0) {
            const quint32 run = std::min(n, runLength);
            const quint32 wordsNeeded = quint32(packedWordCount(width, run));
            if (m_used + wordsNeeded > runLength)
                flush();
            quint32 *const words = m_words.data() + m_used;
            packFresh(int(width), words, m_words.data() + m_words.size(), items, run);
            m_used += wordsNeeded;
            items += run;
            n -= run;
        }
    }

    void flush()
    {
        if (m_used > 0)
            writeWords(m_stream, m_words.data(), m_used);
        m_used = 0;
    }

private:
    static constexpr quint32 runLength = IntegerListReader::runLength;
    static constexpr quint32 slackWords = 16;

    QDataStream &m_stream;
    quint32 m_used = 0;
    std::array<quint32, runLength + slackWords> m_words;
};

} // namespace

IntegerListStatus writeIntegerList(QDataStream &stream, const quint32 *values, quint32 count)
{
    if (count >= tooManyValues)
        return IntegerListStatus::TooLong;
    if (count == 0) {
        stream << qint16(0);
        return IntegerListStatus::Ok;
    }
    const Cut cut = cutIntoBlocks(count);
    const auto lengthOf = [&cut](quint32 block) {
        return block + 1 < cut.blockCount ? cut.blockSize : cut.lastBlockSize;
    };
    const std::unique_ptr<quint8[]> widths(new (std::nothrow) quint8[cut.blockCount]);
    if (!widths)
        return IntegerListStatus::TooLong;
    quint32 smallest = 32;
    quint32 largest = 0;
    for (quint32 block = 0; block < cut.blockCount; ++block) {
        const quint32 width = bitsRequired(values + block * cut.blockSize, lengthOf(block));
        widths[block] = quint8(width);
        smallest = std::min(smallest, width);
        largest = std::max(largest, width);
    }
    const quint32 widthBits = quint32(std::bit_width(largest - smallest));

    stream << qint16(cut.blockCount) << qint16(cut.blockSize) << qint16(cut.lastBlockSize);
    stream << qint8(smallest) << qint8(widthBits);

    WordWriter writer(stream);
    if (widthBits > 0) {
        std::array<quint32, 1024> relative;
        for (quint32 first = 0; first < cut.blockCount; first += quint32(relative.size())) {
            const quint32 n = std::min(cut.blockCount - first, quint32(relative.size()));
            for (quint32 i = 0; i < n; ++i)
                relative[i] = widths[first + i] - smallest;
            writer.append(widthBits, relative.data(), n);
        }
    }
    for (quint32 block = 0; block < cut.blockCount; ++block) {
        if (widths[block] > 0)
            writer.append(widths[block], values + block * cut.blockSize, lengthOf(block));
    }
    writer.flush();
    return IntegerListStatus::Ok;
}

// ---- reading -------------------------------------------------------------------------------

IntegerListReader::IntegerListReader(QDataStream &stream) noexcept
    : m_stream(stream)
{}

IntegerListStatus IntegerListReader::open()
{
    qint16 blockCount = 0;
    m_stream >> blockCount;
    m_blockCount = quint16(blockCount);
    if (m_blockCount == 0)
        return m_status;

    qint16 blockSize = 0;
    qint16 lastBlockSize = 0;
    qint8 smallestWidth = 0;
    qint8 widthBits = 0;
    m_stream >> blockSize >> lastBlockSize >> smallestWidth >> widthBits;
    m_blockSize = quint16(blockSize);
    m_lastBlockSize = quint16(lastBlockSize);
    m_smallestWidth = quint8(smallestWidth);
    if (m_smallestWidth > quint32(widestItem) || !readWidths(quint8(widthBits)) || !isConsistent())
        m_status = IntegerListStatus::Inconsistent;
    else
        m_size = (m_blockCount - 1) * m_blockSize + m_lastBlockSize;
    m_vouchedSize = knowsBytesLeft(m_stream) ? m_size : 0;
    return m_status;
}

/// Reads the widths of the blocks; false if one is too large.
bool IntegerListReader::readWidths(quint32 widthBits)
{
    if (widthBits == 0)
        return true;
    if (widthBits > quint32(widestItem))
        return false;
    m_widths.reset(new (std::nothrow) quint8[m_blockCount]);
    if (!m_widths)
        return false;
    std::array<quint32, 1024> relative;
    for (quint32 first = 0; first < m_blockCount; first += quint32(relative.size())) {
        const quint32 n = std::min(m_blockCount - first, quint32(relative.size()));
        readWords(m_stream, m_words.data(), qint64(packedWordCount(widthBits, n)));
        unpackRun(int(widthBits), m_words.data(), m_words.data() + m_words.size(), 0,
                  relative.data(), n);
        for (quint32 i = 0; i < n; ++i) {
            // Compared before the smallest width is added: the sum could wrap.
            if (relative[i] > quint32(widestItem) - m_smallestWidth)
                return false;
            m_widths[first + i] = quint8(m_smallestWidth + relative[i]);
        }
    }
    return true;
}

/// Whether the list may be served: not too long, and not too many of its words missing.
bool IntegerListReader::isConsistent() const
{
    const quint64 size = quint64(m_blockCount - 1) * m_blockSize + m_lastBlockSize;
    if (size > longestIntegerList)
        return false;
    if (!knowsBytesLeft(m_stream))
        return true;
    const quint64 words = announcedWords();
    const quint64 present = quint64(bytesLeft(m_stream)) / sizeof(quint32);
    return words <= present || words - present <= missingWordsAllowed;
}

quint32 IntegerListReader::width(quint32 block) const noexcept
{
    return m_widths ? m_widths[block] : m_smallestWidth;
}

quint32 IntegerListReader::blockLength(quint32 block) const noexcept
{
    return block + 1 < m_blockCount ? m_blockSize : m_lastBlockSize;
}

quint64 IntegerListReader::announcedWords() const noexcept
{
    quint64 words = 0;
    for (quint32 block = 0; block < m_blockCount; ++block)
        words += packedWordCount(width(block), blockLength(block));
    return words;
}

/// The next piece of at most \a room values, and moves \a cursor past it; none (count 0) if the
/// list is at its end or the room holds no whole cycle.
IntegerListReader::Piece IntegerListReader::nextPiece(Cursor *cursor, quint32 room) const noexcept
{
    while (cursor->block < m_blockCount && cursor->done == blockLength(cursor->block))
        *cursor = {cursor->block + 1, 0};
    if (cursor->block == m_blockCount)
        return {0, 0};
    quint32 count = blockLength(cursor->block) - cursor->done;
    if (count > room)
        count = room - room % cycleLength;
    cursor->done += count;
    return {width(cursor->block), count};
}

quint32 IntegerListReader::read(quint32 *values)
{
    if (m_status != IntegerListStatus::Ok)
        return 0;
    Cursor ahead = m_cursor;
    quint32 wordsWanted = 0;
    quint32 n = 0;
    for (Piece piece = nextPiece(&ahead, runLength); piece.count > 0;
         piece = nextPiece(&ahead, runLength - n)) {
        wordsWanted += quint32(packedWordCount(piece.width, piece.count));
        n += piece.count;
    }
    m_missingWords += wordsWanted - quint64(readWords(m_stream, m_words.data(), wordsWanted));
    if (m_missingWords > missingWordsAllowed) {
        m_status = IntegerListStatus::Inconsistent;
        return 0;
    }
    const quint32 *words = m_words.data();
    for (quint32 done = 0; done < n;) {
        const Piece piece = nextPiece(&m_cursor, runLength - done);
        if (piece.width == 0)
            std::memset(values + done, 0, piece.count * sizeof(quint32));
        else
            unpackRun(int(piece.width), words, m_words.data() + m_words.size(), 0, values + done,
                      piece.count);
        words += packedWordCount(piece.width, piece.count);
        done += piece.count;
    }
    return n;
}

IntegerListStatus readIntegerList(QDataStream &stream, QList<quint32> *output)
{
    return readIntegerListAs(stream, output,
                             [](const quint32 *levels, quint32 *elements, quint32 n) {
                                 std::memcpy(elements, levels, n * sizeof(quint32));
                             });
}

} // namespace kyv::compressor::internal
