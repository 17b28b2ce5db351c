#include "internal/PpmdCodec.h"

#include "TestData.h"

#include <QCryptographicHash>
#include <QFileInfo>

namespace {

using namespace kyv::compressor::internal;

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

} // namespace
