// The frame of kyv-ms bytes, byte for byte; the documents' examples are rows here.

#include "bytes/BytesFile.h"

#include <Hex.h>

#include <QBuffer>

#include <gtest/gtest.h>

#include <random>

using namespace kyv::tool;
using kyv::test::fromHex;
using kyv::test::toHex;

namespace {

QByteArray compressed(const QByteArray &original, bool verify = false,
                      BytesTotals *totals = nullptr)
{
    QBuffer source;
    source.setData(original);
    source.open(QIODevice::ReadOnly);
    QBuffer target;
    target.open(QIODevice::WriteOnly);
    BytesTotals ignored;
    BytesTotals &counted = totals ? *totals : ignored;
    EXPECT_FALSE(compressBytes(source, target, verify, {}, &counted));
    EXPECT_EQ(counted.originalBytes, original.size());
    EXPECT_EQ(counted.fileBytes, target.data().size());
    return target.data();
}

struct Restored
{
    QByteArray bytes;
    std::optional<BytesFailure> failure;
    BytesTotals totals;
};

Restored restore(const QByteArray &file)
{
    QBuffer source;
    source.setData(file);
    source.open(QIODevice::ReadOnly);
    QBuffer target;
    target.open(QIODevice::WriteOnly);
    Restored restored;
    restored.failure = decompressBytes(source, &target, {}, &restored.totals);
    restored.bytes = target.data();
    return restored;
}

QByteArray randomBytes(qsizetype size)
{
    std::mt19937 random(7);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char(random());
    return bytes;
}

const QByteArray head = fromHex("4b 59 56 42 01 00 00 00");

} // namespace

TEST(BytesFileTest, anEmptyFileIsAHeadAndAnEnd)
{
    const QByteArray file = compressed("");
    EXPECT_EQ(toHex(file),
              toHex(head + fromHex("00 00 00 00 | 00 00 00 00 00 00 00 00 | 00 00 00 00")));
    EXPECT_FALSE(restore(file).failure);
}

TEST(BytesFileTest, whatDoesNotShrinkIsStoredAsItIs)
{
    const QByteArray file = compressed("abc");
    // CRC-32 of "abc" is 352441c2.
    EXPECT_EQ(toHex(file),
              toHex(head
                    + fromHex("03 00 00 00 | 03 00 00 00 | c2 41 24 35 | 61 62 63"
                              "| 00 00 00 00 | 03 00 00 00 00 00 00 00 | c2 41 24 35")));
    EXPECT_EQ(restore(file).bytes, "abc");
    EXPECT_EQ(restore(file).totals.storedBlocks, 1);
}

TEST(BytesFileTest, whatShrinksIsCompressed)
{
    const QByteArray original = QByteArray("abc").repeated(9);
    const QByteArray file = compressed(original);
    EXPECT_EQ(toHex(file),
              toHex(head
                    + fromHex("1b 00 00 00 | 09 00 00 00 | 1e 5e d3 c1"
                              "| 61 03 6d e7 46 1d 11 f8 00"
                              "| 00 00 00 00 | 1b 00 00 00 00 00 00 00 | d1 8e f6 a8")));
    EXPECT_EQ(restore(file).bytes, original);
}

TEST(BytesFileTest, whatShrinksComesBack)
{
    const QByteArray original = QByteArray("m/z and intensity ").repeated(1000);
    for (const bool verify : {false, true}) {
        BytesTotals totals;
        const QByteArray file = compressed(original, verify, &totals);
        EXPECT_LT(file.size(), original.size() / 10);
        EXPECT_EQ(totals.storedBlocks, 0);
        EXPECT_EQ(totals.blocks, 1);
        EXPECT_EQ(restore(file).bytes, original);
    }
}

TEST(BytesFileTest, blocksAreBounded)
{
    for (const qint64 extra : {-1, 0, 1}) {
        const QByteArray original = QByteArray("0123456789abcdef")
                                        .repeated(bytesFileBlock / 16 + 1)
                                        .first(bytesFileBlock + extra);
        BytesTotals totals;
        const QByteArray file = compressed(original, false, &totals);
        EXPECT_EQ(totals.blocks, extra > 0 ? 2 : 1);
        EXPECT_EQ(restore(file).bytes, original);
    }
}

TEST(BytesFileTest, randomBytesComeBack)
{
    const QByteArray original = randomBytes(100000);
    BytesTotals totals;
    const QByteArray file = compressed(original, false, &totals);
    EXPECT_EQ(totals.storedBlocks, 1);
    EXPECT_EQ(file.size(), original.size() + 8 + 12 + 16);
    EXPECT_EQ(restore(file).bytes, original);
}

TEST(BytesFileTest, everyBitFlipIsReportedAndNotPassedOn)
{
    for (const QByteArray &original :
         {QByteArray("abc"), QByteArray("abcabcabc").repeated(20), QByteArray()}) {
        const QByteArray file = compressed(original);
        for (qsizetype bit = 0; bit < 8 * file.size(); ++bit) {
            QByteArray damaged = file;
            damaged[bit / 8] = char(damaged[bit / 8] ^ (1 << (bit % 8)));
            const Restored restored = restore(damaged);
            ASSERT_TRUE(restored.failure) << "bit " << bit;
            EXPECT_EQ(restored.failure->code, Corrupt);
            EXPECT_FALSE(restored.failure->reason.isEmpty());
            EXPECT_TRUE(restored.bytes.isEmpty() || restored.bytes == original) << "bit " << bit;
        }
    }
}

TEST(BytesFileTest, everyCutIsReported)
{
    const QByteArray file = compressed(QByteArray("abcabcabc").repeated(20));
    for (qsizetype size = 0; size < file.size(); ++size) {
        const Restored restored = restore(file.first(size));
        ASSERT_TRUE(restored.failure) << size;
        EXPECT_EQ(restored.failure->code, Corrupt);
    }
}

struct Damage
{
    const char *name;
    const char *hex;
    qint64 byteOffset;
    const char *reason;
};

void PrintTo(const Damage &row, std::ostream *stream)
{
    *stream << row.name;
}

const Damage damages[] = {
    {"empty", "", 0, "not a file of kyv-ms bytes"},
    {"anotherFile", "1f 8b 08 00 00 00 00 00", 0, "not a file of kyv-ms bytes"},
    {"cutHead", "4b 59 56 42 01", 5, "the file ends too early"},
    {"laterVersion", "4b 59 56 42 02 00 00 00", 0, "version 2 of the format is not supported"},
    {"cutBlock", "4b 59 56 42 01 00 00 00 | 03 00 00 00 03 00 00 00 00 00 00 00 61", 21,
     "the file ends too early"},
    {"storedLargerThanOriginal", "4b 59 56 42 01 00 00 00 | 03 00 00 00 04 00 00 00 00 00 00 00", 8,
     "block 0 is damaged: 3 bytes stored as 4"},
    {"storedAsNothing", "4b 59 56 42 01 00 00 00 | 03 00 00 00 00 00 00 00 00 00 00 00", 8,
     "block 0 is damaged: 3 bytes stored as 0"},
    {"absurdBlock", "4b 59 56 42 01 00 00 00 | ff ff ff ff 01 00 00 00 00 00 00 00", 8,
     "block 0 is damaged: 4294967295 bytes stored as 1"},
    {"wrongChecksum", "4b 59 56 42 01 00 00 00 | 01 00 00 00 01 00 00 00 00 00 00 00 61", 8,
     "block 0 is damaged: its checksum does not agree"},
    {"wrongLength", "4b 59 56 42 01 00 00 00 | 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00", 8,
     "1 bytes are announced, the blocks hold 0"},
    {"wrongChecksumOfAll",
     "4b 59 56 42 01 00 00 00 | 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00", 8,
     "the checksum of the whole does not agree"},
    {"bytesBehind",
     "4b 59 56 42 01 00 00 00 | 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 | 00", 24,
     "bytes behind the end"},
};

class BytesFileDamageTest : public testing::TestWithParam<Damage>
{};

TEST_P(BytesFileDamageTest, hasAPlaceAndAReason)
{
    const Restored restored = restore(fromHex(GetParam().hex));
    ASSERT_TRUE(restored.failure);
    EXPECT_EQ(restored.failure->code, Corrupt);
    EXPECT_EQ(restored.failure->byteOffset, GetParam().byteOffset);
    EXPECT_EQ(restored.failure->reason.toStdString(), GetParam().reason);
    EXPECT_TRUE(restored.bytes.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, BytesFileDamageTest, testing::ValuesIn(damages),
                         [](const auto &row) { return std::string(row.param.name); });
