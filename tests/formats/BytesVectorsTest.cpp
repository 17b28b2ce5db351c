// The byte service against stored streams: those that come with the tests, and the whole set
// where KYV_VECTORS_DIR names it.

#include "ByteCoder.h"
#include "ByteVectors.h"
#include "ReferenceByteCodec.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

using namespace kyv::test;
using reference::RarePaths;
using reference::ReferenceByteCodec;

namespace {

std::array<quint64, 5> inManifestOrder(const RarePaths &paths)
{
    return {paths.restarts, paths.gluings, paths.carves, paths.rescalesToBinary, paths.rescales};
}

void referenceAgrees(const ByteVector &vector)
{
    SCOPED_TRACE(vector.name.toStdString() + " with " + std::to_string(vector.mebibytes) + " MiB");
    const qsizetype length = vector.input.size();
    ReferenceByteCodec encoder(vector.mebibytes);
    EXPECT_TRUE(encoder.encode(vector.input, 2 * length + 64) == vector.uncut);
    if (vector.rarePaths) {
        EXPECT_EQ(inManifestOrder(encoder.rarePaths()), *vector.rarePaths);
    }
    EXPECT_TRUE(encoder.encode(vector.input, length) == vector.stored);
    EXPECT_TRUE(vector.stored == vector.uncut.left(length));

    ReferenceByteCodec decoder(vector.mebibytes);
    EXPECT_TRUE(decoder.decode(vector.uncut, length) == vector.input);
    EXPECT_TRUE(decoder.decode(vector.uncut, length + 1000) == vector.input);
}

void codecAgrees(const ByteVector &vector, ByteCoder::Path path)
{
    SCOPED_TRACE(vector.name.toStdString() + " with " + std::to_string(vector.mebibytes)
                 + " MiB on path " + std::to_string(int(path)));
    const qsizetype length = vector.input.size();
    ByteCoder coder(quint32(vector.mebibytes) * ByteCoder::Mebibyte, 2, path);
    EXPECT_TRUE(coder.encode(vector.input, 2 * length + 64) == vector.uncut);
    if (vector.rarePaths) {
        EXPECT_EQ(coder.rarePaths(), *vector.rarePaths);
    }
    EXPECT_TRUE(coder.encode(vector.input, length) == vector.stored);
    EXPECT_TRUE(coder.decode(vector.uncut, length) == vector.input);
    EXPECT_TRUE(coder.decode(vector.uncut, length + 1000) == vector.input);
}

} // namespace

TEST(BytesVectorsTest, referenceGivesTheStreamsThatComeWithTheTests)
{
    const QList<ByteVector> vectors = readByteVectors(testDataPath(QStringLiteral("bytes")));
    ASSERT_EQ(vectors.size(), 52);
    for (const ByteVector &vector : vectors)
        referenceAgrees(vector);
}

TEST(BytesVectorsTest, referenceGivesEveryStreamOfTheFolder)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_VECTORS_DIR");
    const QList<ByteVector> vectors = readByteVectors(folder + QStringLiteral("/bytes"));
    ASSERT_GE(vectors.size(), 100);
    for (const ByteVector &vector : vectors)
        referenceAgrees(vector);
}

TEST(BytesVectorsTest, codecGivesTheStreamsThatComeWithTheTests)
{
    for (const ByteCoder::Path path : bytePaths()) {
        for (const ByteVector &vector : readByteVectors(testDataPath(QStringLiteral("bytes"))))
            codecAgrees(vector, path);
    }
}

TEST(BytesVectorsTest, codecGivesEveryStreamOfTheFolder)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_VECTORS_DIR");
    const QList<ByteVector> vectors = readByteVectors(folder + QStringLiteral("/bytes"));
    ASSERT_GE(vectors.size(), 100);
    for (const ByteCoder::Path path : bytePaths()) {
        for (const ByteVector &vector : vectors)
            codecAgrees(vector, path);
    }
}

/// Format: docs/formats/bytes.md, "A total above the range". A literal division would end the
/// stream or never end; the cut gives it back, alone and with more data behind it.
TEST(BytesVectorsTest, totalAboveTheRangeIsCutOneStepWider)
{
    const QString folder = testDataPath(QStringLiteral("bytes"));
    for (const int mebibytes : {1, 1024}) {
        const ByteVector vector = readByteVector(folder, "special_range_underflow", mebibytes);
        ReferenceByteCodec codec(mebibytes);
        EXPECT_TRUE(codec.encode(vector.input, 1 << 20) == vector.uncut);
        EXPECT_EQ(codec.rarePaths().rangeCuts, 1u);

        const QByteArray more = vector.input + vector.input.left(20000) + QByteArray(5000, 'z');
        const QByteArray stream = codec.encode(more, 1 << 20);
        EXPECT_TRUE(codec.decode(stream, more.size()) == more);
        EXPECT_TRUE(codec.decode(stream, more.size() + 1) == more);
        for (const ByteCoder::Path path : bytePaths()) {
            ByteCoder coder(quint32(mebibytes) * ByteCoder::Mebibyte, 2, path);
            EXPECT_TRUE(coder.encode(more, 1 << 20) == stream);
            EXPECT_TRUE(coder.decode(stream, more.size()) == more);
            EXPECT_TRUE(coder.decode(stream, more.size() + 1) == more);
        }
    }
}
