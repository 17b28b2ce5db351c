// Streams that no encoder wrote: cut, flipped, random, announced with any size. The service ends,
// gives a result of the announced size, and leaves zeros where the stream gave nothing.

#include "ByteCoder.h"
#include "ByteCorpus.h"
#include "ReferenceByteCodec.h"

#include <ms_compressor/Compressor.h>

#include <gtest/gtest.h>

#include <deque>
#include <limits>

using namespace kyv::test;
using kyv::compressor::CompressedData;
using kyv::compressor::Compressor;
using reference::BlockSize;
using reference::ReferenceByteCodec;

namespace {

CompressedData announced(const QByteArray &data, qint32 size)
{
    CompressedData compressed;
    compressed.version = 1;
    compressed.uncompressedSize = size;
    compressed.data = data;
    return compressed;
}

/// What the reference decodes, filled up with zeros.
QByteArray expected(ReferenceByteCodec &codec, const QByteArray &stream, qsizetype size)
{
    return codec.decode(stream, size).leftJustified(size, '\0');
}

} // namespace

TEST(BytesDamageTest, everyCutGivesWhatTheReferenceGives)
{
    Compressor compressor;
    ReferenceByteCodec codec(1024);
    const QByteArray input = seededBytes(ByteKind::Xml, 2000, 1);
    const QByteArray stream = compressor.compress(input).data;
    ASSERT_LT(stream.size(), input.size());
    for (qsizetype length = 0; length < stream.size(); ++length) {
        const QByteArray cut = stream.left(length);
        ASSERT_TRUE(compressor.decompress(announced(cut, 2000)) == expected(codec, cut, 2000))
            << "cut at " << length;
    }
}

TEST(BytesDamageTest, everyFlippedBitGivesWhatTheReferenceGives)
{
    const QByteArray input = seededBytes(ByteKind::Text, 1500, 2);
    for (const quint32 blockBytes : {ByteCoder::Mebibyte, quint32(1) << 13}) {
        ByteCoder coder(blockBytes);
        ReferenceByteCodec codec(BlockSize::ofBytes(blockBytes));
        const QByteArray stream = coder.encode(input, 4000);
        for (qsizetype bit = 0; bit < 8 * stream.size(); ++bit) {
            QByteArray flipped = stream;
            flipped[bit / 8] = char(flipped.at(bit / 8) ^ (1 << (bit % 8)));
            ASSERT_TRUE(coder.decode(flipped, 1600) == codec.decode(flipped, 1600))
                << "bit " << bit;
        }
    }
}

TEST(BytesDamageTest, randomStreamsGiveWhatTheReferenceGives)
{
    const int streams = qEnvironmentVariableIntValue("KYV_THOROUGH") != 0 ? 20000 : 400;
    std::vector<ByteCoder> coders;
    std::deque<ReferenceByteCodec> codecs;
    for (const quint32 blockBytes : {ByteCoder::Mebibyte, quint32(1) << 13, quint32(24000)}) {
        coders.emplace_back(blockBytes);
        codecs.emplace_back(BlockSize::ofBytes(blockBytes));
    }
    for (int seed = 0; seed < streams; ++seed) {
        SeededNumbers numbers{quint64(seed)};
        const auto kind = numbers.below(3) == 0 ? ByteKind::Runs : ByteKind::Random;
        const QByteArray stream = seededBytes(kind, numbers.below(3000), quint64(seed));
        const auto i = std::size_t(numbers.below(3));
        const qsizetype size = numbers.below(8000);
        ASSERT_TRUE(coders[i].decode(stream, size) == codecs[i].decode(stream, size))
            << "seed " << seed;
    }
}

TEST(BytesDamageTest, announcedSizeDecidesTheLengthOfTheResult)
{
    Compressor compressor;
    const QByteArray input = seededBytes(ByteKind::Xml, 3000, 3);
    const QByteArray stream = compressor.compress(input).data;
    for (const qint32 size : {0, 1, 2, 2999, 3000, 3001, 5000, 1000000, 50000000}) {
        const QByteArray result = compressor.decompress(announced(stream, size));
        ASSERT_EQ(result.size(), size);
        ASSERT_TRUE(result == input.left(size).leftJustified(size, '\0')) << size;
    }
}

TEST(BytesDamageTest, negativeSizeGivesNothing)
{
    Compressor compressor;
    const QByteArray stream = compressor.compress(QByteArray(1000, 'a')).data;
    for (const qint32 size : {-1, -1000, std::numeric_limits<qint32>::min()})
        EXPECT_EQ(compressor.decompress(announced(stream, size)), "");
}

TEST(BytesDamageTest, absurdSizeTakesTheAnnouncedMemoryAndEnds)
{
    Compressor compressor;
    constexpr qint32 size = 100'000'000;
    const QByteArray result = compressor.decompress(announced("abc", size));
    ASSERT_EQ(result.size(), size);
    EXPECT_EQ(result.count('\0'), size);
}

/// Stale memory must not leave the process: blocks of just that size are dirtied and freed first.
TEST(BytesDamageTest, restOfTheResultIsZeros)
{
    Compressor compressor;
    for (const qint32 size : {100, 5000, 300000}) {
        for (int i = 0; i < 8; ++i)
            QByteArray(size, 'S').detach();
        for (const char *stream : {"", "a", "\x61\x03\x65\x25", "\xFF\x00\xFF"}) {
            const QByteArray result = compressor.decompress(announced(stream, size));
            ASSERT_EQ(result.size(), size);
            EXPECT_FALSE(result.contains("SS"));
            EXPECT_EQ(result.at(size - 1), '\0');
        }
    }
}

TEST(BytesDamageTest, versionIsNotLookedAt)
{
    Compressor compressor;
    const QByteArray input(500, 'x');
    CompressedData compressed = compressor.compress(input);
    for (const qint32 version : {0, 2, -1, std::numeric_limits<qint32>::max()}) {
        compressed.version = version;
        EXPECT_EQ(compressor.decompress(compressed), input);
    }
}

TEST(BytesDamageTest, dataBehindTheStreamIsNotRead)
{
    Compressor compressor;
    const QByteArray input = seededBytes(ByteKind::Text, 4000, 4);
    CompressedData compressed = compressor.compress(input);
    compressed.data.append(seededBytes(ByteKind::Random, 5000, 5));
    EXPECT_TRUE(compressor.decompress(compressed) == input);
}
