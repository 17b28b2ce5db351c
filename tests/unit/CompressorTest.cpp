#include <ms_compressor/Compressor.h>

#include "internal/ModelMemory.h"

#include "Hex.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>
#include <new>
#include <optional>
#include <random>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using kyv::compressor::CompressedData;
using kyv::compressor::CompressionParameters;
using kyv::compressor::Compressor;
using kyv::compressor::internal::ModelMemory;
using kyv::test::fromHex;
using kyv::test::toHex;

CompressedData stored(const QByteArray &data, qint32 uncompressedSize)
{
    CompressedData compressed;
    compressed.version = 1;
    compressed.uncompressedSize = uncompressedSize;
    compressed.data = data;
    return compressed;
}

QByteArray repeated(const char *text, int times)
{
    return QByteArray(text).repeated(times);
}

QByteArray noise(qsizetype size)
{
    std::mt19937 random(3);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = char(random());
    return bytes;
}

TEST(CompressorTest, emptyInputGivesEmptyData)
{
    Compressor compressor;
    const CompressedData compressed = compressor.compress({});
    EXPECT_EQ(compressed.version, 1);
    EXPECT_EQ(compressed.uncompressedSize, 0);
    EXPECT_TRUE(compressed.data.isEmpty());
    EXPECT_TRUE(compressor.decompress(compressed).isEmpty());
}

TEST(CompressorTest, oneByteIsCut)
{
    Compressor compressor;
    const CompressedData compressed = compressor.compress("a");
    EXPECT_EQ(compressed.uncompressedSize, 1);
    EXPECT_EQ(compressed.data.size(), 1);
}

TEST(CompressorTest, compressibleInputComesBack)
{
    Compressor compressor;
    for (const QByteArray &input :
         {repeated("a", 8), repeated("a", 100000), repeated("abcde", 9999),
          repeated("<cvParam accession=\"MS:1000511\"/>\n", 50)}) {
        const CompressedData compressed = compressor.compress(input);
        EXPECT_EQ(compressed.version, 1);
        EXPECT_EQ(compressed.uncompressedSize, input.size());
        EXPECT_LT(compressed.data.size(), input.size());
        EXPECT_EQ(compressor.decompress(compressed), input);
    }
}

// Data that does not shrink is cut at its own length, and this is how one sees it.
TEST(CompressorTest, incompressibleDataAreCutAtTheirLength)
{
    Compressor compressor;
    const QByteArray input = noise(10000);
    const CompressedData compressed = compressor.compress(input);
    EXPECT_EQ(compressed.data.size(), input.size());
    const QByteArray output = compressor.decompress(compressed);
    EXPECT_EQ(output.size(), input.size());
    EXPECT_NE(output, input);
}

RC_GTEST_PROP(CompressorTest, whatIsShorterThanItsInputComesBack, ())
{
    const auto pieces = *rc::gen::container<std::vector<std::string>>(
        rc::gen::container<std::string>(rc::gen::arbitrary<char>()));
    QByteArray input;
    for (size_t i = 0; i < pieces.size(); ++i)
        input.append(QByteArray::fromStdString(pieces[i]).repeated(1 + int(i % 5)));
    // One block for all cases. The object outlives the thread's variables, which must do no harm.
    static Compressor compressor;
    const CompressedData compressed = compressor.compress(input);
    RC_ASSERT(compressed.data.size() <= input.size());
    const QByteArray output = compressor.decompress(compressed);
    RC_ASSERT(output.size() == input.size());
    if (compressed.data.size() < input.size() || input.isEmpty())
        RC_ASSERT(output == input);
}

TEST(CompressorTest, decompressDoesNotLookAtTheVersion)
{
    Compressor compressor;
    CompressedData compressed = compressor.compress(repeated("version", 20));
    compressed.version = -7;
    EXPECT_EQ(compressor.decompress(compressed), repeated("version", 20));
}

TEST(CompressorTest, aShorterSizeGivesTheFirstBytes)
{
    Compressor compressor;
    CompressedData compressed = compressor.compress(repeated("0123456789", 30));
    compressed.uncompressedSize = 25;
    EXPECT_EQ(compressor.decompress(compressed), "0123456789012345678901234");
}

TEST(CompressorTest, whatFollowsAnEarlyEndIsZero)
{
    Compressor compressor;
    CompressedData compressed = compressor.compress(repeated("end", 20));
    compressed.uncompressedSize = 100000;
    EXPECT_EQ(compressor.decompress(compressed), repeated("end", 20) + QByteArray(99940, '\0'));
}

TEST(CompressorTest, negativeSizesGiveNothing)
{
    Compressor compressor;
    const QByteArray data = compressor.compress(repeated("x", 100)).data;
    EXPECT_TRUE(compressor.decompress(stored(data, 0)).isEmpty());
    EXPECT_TRUE(compressor.decompress(stored(data, -1)).isEmpty());
    EXPECT_TRUE(compressor.decompress(stored(data, std::numeric_limits<qint32>::min())).isEmpty());
}

TEST(CompressorTest, damagedStreamsGiveAsManyBytesAsAnnounced)
{
    Compressor compressor;
    const QByteArray input = repeated("<spectrum index=\"12\"/>", 40) + noise(300);
    const QByteArray data = compressor.compress(input).data;
    for (qsizetype length = 0; length < data.size(); length += 7)
        EXPECT_EQ(compressor.decompress(stored(data.left(length), 2000)).size(), 2000);
    for (qsizetype bit = 0; bit < 8 * data.size(); bit += 5) {
        QByteArray damaged = data;
        damaged[bit / 8] = char(damaged[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_EQ(compressor.decompress(stored(damaged, 2000)).size(), 2000);
    }
    EXPECT_EQ(compressor.decompress(stored({}, 50)).size(), 50);
    EXPECT_EQ(compressor.decompress(stored(noise(5000), 50000)).size(), 50000);
}

TEST(CompressorTest, callsDoNotInfluenceEachOther)
{
    Compressor a;
    Compressor b;
    const QByteArray first = repeated("first ", 100);
    const QByteArray second = repeated("second ", 200);
    const QByteArray alone = a.compress(first).data;
    const CompressedData one = a.compress(first);
    const CompressedData two = b.compress(second);
    EXPECT_EQ(one.data, alone);
    EXPECT_EQ(b.decompress(one), first);
    EXPECT_EQ(a.decompress(two), second);
    EXPECT_EQ(a.compress(first).data, alone);
}

TEST(CompressorTest, theConstructorMakesSureOfTheBlock)
{
    ModelMemory::start(1);
    {
        const Compressor compressor;
        EXPECT_EQ(ModelMemory::current().size, 1u << 30);
        const quint8 *block = ModelMemory::current().bytes;
        {
            Compressor copy(compressor);
            EXPECT_EQ(ModelMemory::current().bytes, block);
            copy = compressor;
        }
        EXPECT_EQ(ModelMemory::current().size, 0u);
    }
    EXPECT_EQ(ModelMemory::current().size, 0u);
}

TEST(CompressorTest, aCallWithoutABlockTakesOne)
{
    Compressor survivor;
    {
        const Compressor other;
    }
    ASSERT_EQ(ModelMemory::current().size, 0u);
    const QByteArray input = repeated("survivor", 30);
    const CompressedData compressed = survivor.compress(input);
    EXPECT_EQ(ModelMemory::current().size, 1u << 30);
    std::thread([&] { EXPECT_EQ(survivor.decompress(compressed), input); }).join();
    EXPECT_EQ(survivor.decompress(compressed), input);
}

TEST(CompressorTest, threadsWorkSideBySide)
{
    std::vector<std::thread> threads;
    for (int n = 1; n <= 8; ++n) {
        threads.emplace_back([n] {
            Compressor compressor;
            for (int i = 0; i < 10; ++i) {
                const QByteArray input = repeated("thread", 50 * n + i) + noise(100 * n);
                const CompressedData compressed = compressor.compress(input);
                if (compressed.data.size() < input.size()) {
                    EXPECT_EQ(compressor.decompress(compressed), input);
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

TEST(CompressorTest, compressedDataAreAValue)
{
    CompressedData a = stored("abc", 3);
    CompressedData copy(a);
    EXPECT_EQ(copy.version, 1);
    EXPECT_EQ(copy.uncompressedSize, 3);
    EXPECT_EQ(copy.data, "abc");
    CompressedData moved(std::move(copy));
    EXPECT_EQ(moved.data, "abc");
    CompressedData assigned;
    EXPECT_TRUE(assigned.data.isEmpty());
    assigned = moved;
    EXPECT_EQ(assigned.uncompressedSize, 3);
    assigned = stored("d", 1);
    EXPECT_EQ(assigned.data, "d");
}

TEST(CompressorTest, compressionParametersAreAssigned)
{
    CompressionParameters a{5};
    CompressionParameters b{6};
    b = a;
    EXPECT_EQ(b.reserved, 5);
    a.reserved = 7;
    b = std::move(a);
    EXPECT_EQ(b.reserved, 7);
}

} // namespace
