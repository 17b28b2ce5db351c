#include "MzmlText.h"

#include "mzml/ByteSource.h"
#include "mzml/Limits.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kyv::runs;
using namespace kyv::test;

namespace {

struct Unpacked
{
    QByteArray bytes;
    qint64 fileBytes = 0;
    std::optional<ReadFailure> failure;
};

Unpacked unpack(const QByteArray &file, qsizetype piece = 1000)
{
    QBuffer buffer;
    buffer.setData(file);
    buffer.open(QIODevice::ReadOnly);
    ByteSource source(buffer);
    Unpacked unpacked;
    QByteArray chunk(piece, '\0');
    while (const qsizetype count = source.read(chunk.data(), chunk.size())) {
        unpacked.bytes.append(chunk.constData(), count);
        EXPECT_EQ(source.unpackedBytes(), unpacked.bytes.size());
    }
    unpacked.fileBytes = source.fileBytes();
    unpacked.failure = source.failure();
    return unpacked;
}

QByteArray numbers(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += QByteArray::number(i) + ' ';
    return text;
}

} // namespace

TEST(ByteSourceTest, plainFilesPassThrough)
{
    const QByteArray text = numbers(100000);
    const Unpacked unpacked = unpack(text);
    EXPECT_EQ(unpacked.bytes, text);
    EXPECT_EQ(unpacked.fileBytes, text.size());
    EXPECT_FALSE(unpacked.failure);
}

TEST(ByteSourceTest, gzipIsToldByItsContent)
{
    const QByteArray text = numbers(100000);
    const Unpacked unpacked = unpack(gzipOf(text), 77777);
    EXPECT_EQ(unpacked.bytes, text);
    EXPECT_FALSE(unpacked.failure);
}

TEST(ByteSourceTest, severalMembersAreOneFile)
{
    const QByteArray file =
        gzipOf("one ") + gzipOf("") + gzipOf(numbers(1000)) + QByteArray(1024, '\0');
    const Unpacked unpacked = unpack(file);
    EXPECT_EQ(unpacked.bytes, "one " + numbers(1000));
    EXPECT_FALSE(unpacked.failure);
}

TEST(ByteSourceTest, emptyFilesAreEmpty)
{
    EXPECT_FALSE(unpack("").failure);
    EXPECT_FALSE(unpack(gzipOf("")).failure);
    EXPECT_EQ(unpack("\x1f").bytes, "\x1f");
}

TEST(ByteSourceTest, aCutMemberIsAFailureAtTheUnpackedByte)
{
    const QByteArray file = gzipOf(numbers(10000));
    for (const qsizetype size : {qsizetype(2), qsizetype(9), file.size() / 2, file.size() - 1}) {
        const Unpacked unpacked = unpack(file.first(size));
        ASSERT_TRUE(unpacked.failure) << size;
        EXPECT_EQ(unpacked.failure->reason, QStringLiteral("the gzip data end too early"));
        EXPECT_EQ(unpacked.failure->byteOffset, unpacked.bytes.size());
    }
}

TEST(ByteSourceTest, damageIsAFailure)
{
    QByteArray file = gzipOf(numbers(10000));
    file[file.size() - 6] = char(file[file.size() - 6] ^ 1); // the checksum
    const Unpacked unpacked = unpack(file);
    ASSERT_TRUE(unpacked.failure);
    EXPECT_EQ(unpacked.failure->kind, ReadFailure::Kind::Corrupt);
    EXPECT_EQ(unpacked.bytes, numbers(10000)); // what stands before it is given out
    EXPECT_EQ(unpacked.failure->byteOffset, unpacked.bytes.size());
    EXPECT_EQ(unpacked.failure->reason, QStringLiteral("damaged gzip data (incorrect data check)"));
    EXPECT_TRUE(unpack(gzipOf("a") + "trailing").failure);
}

TEST(ByteSourceTest, aSmallFileDoesNotUnpackToGigabytes)
{
    const QByteArray file = gzipOf(QByteArray(100 << 20, '\0'));
    ASSERT_LT(file.size(), 200000);
    const Unpacked unpacked = unpack(file, 1 << 20);
    ASSERT_TRUE(unpacked.failure);
    EXPECT_TRUE(
        unpacked.failure->reason.startsWith(QStringLiteral("the gzip data unpack to more than")));
    EXPECT_LE(unpacked.bytes.size(), limits::gzipBytes(file.size()));
}
