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
constexpr quint32 widthRun = 1024;            // widths that are packed or unpacked together
constexpr quint64 missingWordsAllowed = (quint64(64) << 20) / sizeof(quint32);

static_assert(tooManyValues == blockCountEnd * 32768);
static_assert(longestIntegerList == tooManyValues - 1);
static_assert(widthRun % cycleLength == 0, "runs of one array join without a gap");

/// How a list is cut into blocks.
struct Cut
{
    quint32 blockSize;
    quint32 blockCount;
    quint32 lastBlockSize;

    quint32 begin(quint32 block) const noexcept { return block * blockSize; }
    quint32 length(quint32 block) const noexcept
    {
        return block + 1 < blockCount ? blockSize : lastBlockSize;
    }
};

/// Blocks of 32 values, or of as many doublings of that as keep the count in its field. What does
/// not fill a block goes to the last one, which so holds up to twice as many, less one.
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
    static constexpr quint32 slackWords = 16; // past the last piece, for vector paths

    QDataStream &m_stream;
    quint32 m_used = 0;
    std::array<quint32, runLength + slackWords> m_words;
};

/// The widths of all blocks, and between which they lie.
struct BlockWidths
{
    std::unique_ptr<quint8[]> ofBlock;
    quint32 smallest = quint32(widestItem);
    quint32 largest = 0;
};

BlockWidths measureWidths(const quint32 *values, const Cut &cut)
{
    BlockWidths widths;
    widths.ofBlock.reset(new (std::nothrow) quint8[cut.blockCount]);
    if (!widths.ofBlock)
        return widths;
    for (quint32 block = 0; block < cut.blockCount; ++block) {
        const quint32 width = bitsRequired(values + cut.begin(block), cut.length(block));
        widths.ofBlock[block] = quint8(width);
        widths.smallest = std::min(widths.smallest, width);
        widths.largest = std::max(widths.largest, width);
    }
    return widths;
}

void writeWidths(WordWriter &writer, const BlockWidths &widths, quint32 widthBits,
                 quint32 blockCount)
{
    std::array<quint32, widthRun> relative;
    for (quint32 first = 0; first < blockCount; first += widthRun) {
        const quint32 n = std::min(blockCount - first, widthRun);
        for (quint32 i = 0; i < n; ++i)
            relative[i] = widths.ofBlock[first + i] - widths.smallest;
        writer.append(widthBits, relative.data(), n);
    }
}

void writeBlocks(WordWriter &writer, const BlockWidths &widths, const quint32 *values,
                 const Cut &cut)
{
    for (quint32 block = 0; block < cut.blockCount; ++block) {
        if (const quint32 width = widths.ofBlock[block]; width > 0)
            writer.append(width, values + cut.begin(block), cut.length(block));
    }
}

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
    const BlockWidths widths = measureWidths(values, cut);
    if (!widths.ofBlock)
        return IntegerListStatus::TooLong;
    const quint32 widthBits = quint32(std::bit_width(widths.largest - widths.smallest));

    stream << qint16(cut.blockCount) << qint16(cut.blockSize) << qint16(cut.lastBlockSize)
           << qint8(widths.smallest) << qint8(widthBits);
    WordWriter writer(stream);
    if (widthBits > 0)
        writeWidths(writer, widths, widthBits, cut.blockCount);
    writeBlocks(writer, widths, values, cut);
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
    const quint64 size = quint64(m_blockCount - 1) * m_blockSize + m_lastBlockSize;
    if (size > longestIntegerList || m_smallestWidth > quint32(widestItem)
        || !readWidths(quint8(widthBits)) || missesTooMuch()) {
        m_status = IntegerListStatus::Inconsistent;
        return m_status;
    }
    m_size = quint32(size);
    m_vouchedSize = knowsBytesLeft(m_stream) ? m_size : 0;
    return m_status;
}

/// Reads the widths of the blocks; false if one is too large.
bool IntegerListReader::readWidths(quint32 widthBits)
{
    if (widthBits == 0)
        return true;
    if (widthBits > quint32(widestItem)) // no width takes that many bits
        return false;
    m_widths.reset(new (std::nothrow) quint8[m_blockCount]);
    if (!m_widths)
        return false;
    std::array<quint32, widthRun> relative;
    for (quint32 first = 0; first < m_blockCount; first += widthRun) {
        const quint32 n = std::min(m_blockCount - first, widthRun);
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

/// Whether the stream says that it lacks more of the announced words than may be missing.
bool IntegerListReader::missesTooMuch() const
{
    if (!knowsBytesLeft(m_stream))
        return false;
    const quint64 present = quint64(bytesLeft(m_stream)) / sizeof(quint32);
    return announcedWords() > present + missingWordsAllowed;
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
    unpackPieces(values, n);
    return n;
}

/// Unpacks the pieces that make up the next \a n values, whose words have been read.
void IntegerListReader::unpackPieces(quint32 *values, quint32 n)
{
    const quint32 *words = m_words.data();
    const quint32 *const wordsEnd = words + m_words.size();
    for (quint32 done = 0; done < n;) {
        const Piece piece = nextPiece(&m_cursor, runLength - done);
        if (piece.width == 0)
            std::memset(values + done, 0, piece.count * sizeof(quint32));
        else
            unpackRun(int(piece.width), words, wordsEnd, 0, values + done, piece.count);
        words += packedWordCount(piece.width, piece.count);
        done += piece.count;
    }
}

IntegerListStatus readIntegerList(QDataStream &stream, QList<quint32> *output)
{
    return readIntegerListAs(stream, output,
                             [](const quint32 *levels, quint32 *elements, quint32 n) {
                                 std::memcpy(elements, levels, n * sizeof(quint32));
                             });
}

} // namespace kyv::compressor::internal
