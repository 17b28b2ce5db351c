#include "internal/PpmdCodec.h"
#include "internal/CpuFeatures.h"
#include "internal/PpmdPaths.h"

#include "ByteCoder.h"
#include "TestData.h"

#include <QCryptographicHash>
#include <QFileInfo>

#include <random>
#include <vector>

namespace {

using namespace kyv::compressor::internal;
using kyv::test::bytePaths;

/// Gives the same 32 bits everywhere.
using Random = std::independent_bits_engine<std::mt19937, 32, quint32>;

QByteArray encodeWithin(quint32 mebibytes, const QByteArray &input, qint32 capacity,
                        PpmdEvents *events = nullptr)
{
    const PpmdCodec codec(ModelMemory::start(mebibytes));
    QByteArray output(capacity, '\0');
    const auto result =
        codec.encode(reinterpret_cast<const quint8 *>(input.constData()), qint32(input.size()),
                     reinterpret_cast<quint8 *>(output.data()), capacity);
    if (events)
        *events = result.events;
    return output.left(result.byteCount);
}

QByteArray decodeWithin(quint32 mebibytes, const QByteArray &stream, qint32 capacity)
{
    const PpmdCodec codec(ModelMemory::start(mebibytes));
    QByteArray output(capacity, '\0');
    const auto result =
        codec.decode(reinterpret_cast<const quint8 *>(stream.constData()), qint32(stream.size()),
                     reinterpret_cast<quint8 *>(output.data()), capacity);
    return output.left(result.byteCount);
}

QByteArray encode(quint32 mebibytes, int order, PpmdCodec::Path path, const QByteArray &input)
{
    const PpmdCodec codec(ModelMemory::start(mebibytes), order, path);
    QByteArray output(input.size() * 2 + 100, '\0');
    const auto result =
        codec.encode(reinterpret_cast<const quint8 *>(input.constData()), qint32(input.size()),
                     reinterpret_cast<quint8 *>(output.data()), qint32(output.size()));
    return output.left(result.byteCount);
}

QByteArray decode(quint32 mebibytes, int order, PpmdCodec::Path path, const QByteArray &stream,
                  qint32 capacity)
{
    const PpmdCodec codec(ModelMemory::start(mebibytes), order, path);
    QByteArray output(capacity, '\0');
    const auto result =
        codec.decode(reinterpret_cast<const quint8 *>(stream.constData()), qint32(stream.size()),
                     reinterpret_cast<quint8 *>(output.data()), capacity);
    return output.left(result.byteCount);
}

/// Room for a stream that does not shrink.
qint32 ampleCapacity(const QByteArray &input)
{
    return qint32(input.size() + input.size() / 8 + 64);
}

struct Vector
{
    QByteArray name;
    quint32 mebibytes;
    qint64 storedSize;
    qint64 uncutSize;
    QByteArray uncutHash;
    PpmdEvents events;
};

QList<Vector> readManifest(const QString &folder)
{
    QList<Vector> vectors;
    const QList<QByteArray> lines =
        kyv::test::fileContent(folder + QStringLiteral("/manifest.tsv")).trimmed().split('\n');
    for (const QByteArray &line : lines.mid(1)) {
        const QList<QByteArray> f = line.split('\t');
        Vector v{f[0], f[1].toUInt(), f[3].toLongLong(), f[4].toLongLong(), f[5], {}};
        v.events.restarts = f[6].toInt();
        v.events.gluings = f[7].toInt();
        v.events.carves = f[8].toInt();
        v.events.rescalesToBinary = f[9].toInt();
        v.events.rescales = f[10].toInt();
        vectors.append(v);
    }
    return vectors;
}

TEST(PpmdCodecTest, storedVectors)
{
    KYV_FOLDER_OR_SKIP(root, "KYV_VECTORS_DIR");
    const QString folder = root + QStringLiteral("/bytes");
    const QList<Vector> vectors = readManifest(folder);
    ASSERT_FALSE(vectors.isEmpty());
    for (const Vector &v : vectors) {
        SCOPED_TRACE(v.name.toStdString() + " at " + std::to_string(v.mebibytes) + " MiB");
        const QString base = folder + QLatin1Char('/') + QString::fromLatin1(v.name);
        const QByteArray input = kyv::test::fileContent(base + QStringLiteral(".bin"));
        const QString stored = base + (v.mebibytes == 1 ? QStringLiteral(".mem1") : QString())
                               + QStringLiteral(".enc");
        PpmdEvents events;
        const QByteArray uncut = encodeWithin(v.mebibytes, input, ampleCapacity(input), &events);
        EXPECT_EQ(uncut.size(), v.uncutSize);
        EXPECT_EQ(QCryptographicHash::hash(uncut, QCryptographicHash::Sha256).toHex(), v.uncutHash);
        const QByteArray cut = encodeWithin(v.mebibytes, input, qint32(input.size()));
        EXPECT_EQ(cut.size(), v.storedSize);
        if (QFileInfo::exists(stored)) {
            EXPECT_TRUE(cut == kyv::test::fileContent(stored));
        }
        EXPECT_TRUE(decodeWithin(v.mebibytes, uncut, qint32(input.size())) == input);
        EXPECT_TRUE(decodeWithin(v.mebibytes, uncut, qint32(input.size()) + 100) == input);
        EXPECT_EQ(events.restarts, v.events.restarts);
        EXPECT_EQ(events.gluings, v.events.gluings);
        EXPECT_EQ(events.carves, v.events.carves);
        EXPECT_EQ(events.rescales, v.events.rescales);
        EXPECT_EQ(events.rescalesToBinary, v.events.rescalesToBinary);
    }
}

TEST(PpmdCodecTest, aTotalAboveTheRangeCutsTheRange)
{
    KYV_FOLDER_OR_SKIP(root, "KYV_VECTORS_DIR");
    const QDir folder(root + QStringLiteral("/bytes"));
    const QStringList names =
        folder.entryList({QStringLiteral("special_range_underflow*.bin")}, QDir::Files);
    ASSERT_FALSE(names.isEmpty());
    const QByteArray behind =
        kyv::test::fileContent(folder.filePath(QStringLiteral("text_10k.bin")));
    for (const QString &name : names) {
        const QByteArray alone = kyv::test::fileContent(folder.filePath(name));
        for (const QByteArray &input : {alone, alone + behind, alone + alone}) {
            for (const quint32 mebibytes : {1u, 1024u}) {
                const QByteArray stream = encodeWithin(mebibytes, input, ampleCapacity(input));
                EXPECT_TRUE(decodeWithin(mebibytes, stream, qint32(input.size()) + 9) == input);
            }
        }
    }
}

TEST(PpmdCodecTest, theEndMarkAlone)
{
    // The escape out of the root is [256, 257) of 257, see RangeCoderTest.oneIntervalByHand.
    EXPECT_EQ(encodeWithin(1, {}, 100).toHex(), QByteArray("ff00ff0000"));
}

// A vector path that is missing from the build would go unnoticed otherwise.
TEST(PpmdCodecTest, aProcessorWithVectorsUsesThem)
{
#if defined(Q_PROCESSOR_X86_64) && (defined(Q_CC_GNU) || defined(Q_CC_CLANG))
    const CpuFeatures &features = cpuFeatures();
    const bool hasAvx2 = features.avx2 && features.bmi2;
    EXPECT_EQ(ppmd::isUsable(PpmdCodec::Path::Sse41), features.sse42);
    EXPECT_EQ(ppmd::isUsable(PpmdCodec::Path::Avx2), hasAvx2);
    const bool hasAvx512 = hasAvx2 && features.avx512;
    EXPECT_EQ(ppmd::isUsable(PpmdCodec::Path::Avx512), hasAvx512);
    EXPECT_EQ(PpmdCodec::fastestPath(), hasAvx512        ? PpmdCodec::Path::Avx512
                                        : hasAvx2        ? PpmdCodec::Path::Avx2
                                        : features.sse42 ? PpmdCodec::Path::Sse41
                                                         : PpmdCodec::Path::Portable);
    // What the comparisons of paths go over.
    EXPECT_EQ(bytePaths().size(), 1u + features.sse42 + hasAvx2 + hasAvx512);
#endif
    EXPECT_TRUE(ppmd::isUsable(PpmdCodec::Path::Portable));
}

TEST(PpmdCodecTest, everyPathStoresTheSameBytes)
{
    Random random(9);
    QByteArray mixed;
    while (mixed.size() < 100000) {
        const int alphabet = 1 << (random() % 9);
        for (int n = int(random() % 3000); n > 0; --n)
            mixed.append(char(random() % quint32(alphabet)));
        mixed.append(mixed.right(int(random() % 2000)));
    }
    for (const quint32 mebibytes : {1u, 64u}) {
        for (const int order : {2, 5, 16}) {
            const QByteArray expected = encode(mebibytes, order, PpmdCodec::Path::Portable, mixed);
            for (const PpmdCodec::Path path : bytePaths()) {
                ASSERT_TRUE(encode(mebibytes, order, path, mixed) == expected);
                ASSERT_TRUE(decode(mebibytes, order, path, expected, qint32(mixed.size()))
                            == mixed);
            }
        }
    }
}

TEST(PpmdCodecTest, everyPathDecodesDamageAlike)
{
    Random random(10);
    QByteArray noise(20000, '\0');
    for (char &byte : noise)
        byte = char(random());
    for (int length = 0; length < 20000; length = length * 2 + 1) {
        const QByteArray expected =
            decode(1, 2, PpmdCodec::Path::Portable, noise.left(length), 65536);
        for (const PpmdCodec::Path path : bytePaths())
            ASSERT_TRUE(decode(1, 2, path, noise.left(length), 65536) == expected);
    }
}

TEST(PpmdCodecTest, withoutCapacityNothingIsDecoded)
{
    const QByteArray stream = encodeWithin(1, "abc", 100);
    EXPECT_EQ(decodeWithin(1, stream, 0).size(), 0);
    EXPECT_EQ(decodeWithin(1, {}, 0).size(), 0);
}

TEST(PpmdCodecTest, lengthsBelowZeroCountAsZero)
{
    const PpmdCodec codec(ModelMemory::start(1));
    quint8 output[16] = {};
    EXPECT_EQ(codec.encode(output, -5, output, 16).byteCount, 5);
    EXPECT_EQ(codec.encode(output, 5, output, -16).byteCount, 0);
    EXPECT_EQ(codec.decode(output, -5, output, -16).byteCount, 0);
}

TEST(PpmdCodecTest, theDecoderStopsAtTheEndMark)
{
    const QByteArray stream = encodeWithin(1, "abcabcabc", 100);
    EXPECT_EQ(decodeWithin(1, stream, 9), "abcabcabc");
    EXPECT_EQ(decodeWithin(1, stream, 1000), "abcabcabc");
    EXPECT_EQ(decodeWithin(1, stream, 4), "abca");
}

/// Bytes of all kinds: a few symbols or many, runs and repetitions.
QByteArray variedBytes(Random &random)
{
    QByteArray bytes;
    const auto limit = quint32(random() % 50 == 0 ? 20000 : 400);
    const auto size = qsizetype(random() % limit);
    while (bytes.size() < size) {
        const auto alphabet = quint32(1 + random() % (random() % 2 == 0 ? 256 : 4));
        switch (random() % 3) {
        case 0:
            bytes.append(int(random() % 40), char(random()));
            break;
        case 1:
            bytes.append(bytes.mid(qsizetype(random() % quint32(bytes.size() + 1)),
                                   qsizetype(random() % 60)));
            break;
        default:
            for (quint32 n = random() % 60; n > 0; --n)
                bytes.append(char(random() % alphabet * 7));
        }
    }
    return bytes;
}

TEST(PpmdCodecTest, whatIsNotCutComesBack)
{
    const int cases = qEnvironmentVariableIsSet("KYV_THOROUGH") ? 100000 : 3000;
    for (int seed = 0; seed < cases; ++seed) {
        Random random{quint32(seed)};
        const QByteArray input = variedBytes(random);
        const QByteArray stream = encodeWithin(1, input, ampleCapacity(input));
        ASSERT_TRUE(decodeWithin(1, stream, qint32(input.size())) == input) << "seed " << seed;
        ASSERT_TRUE(decodeWithin(1, stream, qint32(input.size()) + 1) == input) << "seed " << seed;
    }
}

} // namespace
