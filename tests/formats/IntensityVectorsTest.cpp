// Stored lists and the bytes that they require, listed in a manifest: a subset comes with the
// tests, the whole collection lies in KYV_VECTORS_DIR/intensity.

#include <ms_compressor/MsDataPacker.h>

#include "Hex.h"
#include "PackerSupport.h"
#include "TestData.h"

#include <QCryptographicHash>
#include <QDir>

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <map>

using namespace kyv::compressor;
using namespace kyv::test;

namespace {

/// What an operation gives: an error's code, or bytes.
struct Outcome
{
    int code = 0;
    QByteArray bytes;
};

template <typename T>
QByteArray memoryOf(const QList<T> &list)
{
    return QByteArray(reinterpret_cast<const char *>(list.constData()),
                      list.size() * qsizetype(sizeof(T)));
}

template <typename T>
QList<T> listOf(const QByteArray &memory)
{
    QList<T> list(memory.size() / qsizetype(sizeof(T)));
    if (!list.isEmpty())
        std::memcpy(list.data(), memory.constData(), size_t(list.size()) * sizeof(T));
    return list;
}

/// Runs the operations of one manifest on the inputs beside it.
class Vectors
{
public:
    explicit Vectors(const QString &folder)
        : m_folder(folder)
    {}

    /// Compares every operation; returns how many that are.
    int run()
    {
        int count = 0;
        for (const QByteArray &line : fileContent(path("manifest.tsv")).split('\n').mid(1)) {
            const QList<QByteArray> fields = line.split('\t');
            if (fields.size() != 5)
                continue;
            compare(QString::fromLatin1(fields[0]), QString::fromLatin1(fields[1]),
                    fields[2].toInt(), fields[4]);
            ++count;
        }
        return count;
    }

private:
    void compare(const QString &name, const QString &operation, int code, const QByteArray &hash)
    {
        const QString label = name + QStringLiteral(".") + operation;
        SCOPED_TRACE(label.toStdString());
        if (operation == QStringLiteral("params")) {
            compareParameters(name);
            return;
        }
        const Outcome outcome = outcomeOf(name, operation);
        EXPECT_EQ(outcome.code, code);
        if (code != 0)
            return;
        const QByteArray ours =
            QCryptographicHash::hash(outcome.bytes, QCryptographicHash::Sha256).toHex();
        if (ours != hash && has(label)) {
            EXPECT_EQ(toHex(outcome.bytes.left(400)), toHex(fileContent(path(label)).left(400)));
        }
        EXPECT_EQ(ours, hash);
    }

    Outcome outcomeOf(const QString &name, const QString &operation)
    {
        const StreamSetting setting = settingOf(operation);
        if (operation.startsWith(QStringLiteral("ints-pack")))
            return packIntegers(name, setting);
        if (operation.startsWith(QStringLiteral("ints-unpack"))) {
            return unpackIntegers(has(name + QStringLiteral(".irec"))
                                      ? input(name, ".irec")
                                      : packIntegers(name, setting).bytes,
                                  setting);
        }
        const bool raw = operation.startsWith(QStringLiteral("raw-"));
        if (operation.contains(QStringLiteral("-pack-")))
            return packFloats(name, setting, raw);
        const QByteArray packed = has(name + QStringLiteral(".frec"))
                                      ? input(name, ".frec")
                                      : packFloats(name, setting, raw).bytes;
        return operation.startsWith(QStringLiteral("unpack-raw")) ? unpackLevels(packed, setting)
                                                                  : unpackFloats(packed, setting);
    }

    static StreamSetting settingOf(const QString &operation)
    {
        return {operation.contains(QStringLiteral("-le")),
                operation.endsWith(QStringLiteral("single"))};
    }

    Outcome packIntegers(const QString &name, StreamSetting setting)
    {
        const QList<quint32> values = listOf<quint32>(input(name, ".u32"));
        Outcome outcome;
        QDataStream stream(&outcome.bytes, QIODevice::WriteOnly);
        setting.applyTo(stream);
        outcome.code =
            int(MsDataPacker::pack(stream, values.constData(), quint32(values.size())).code());
        return outcome;
    }

    static Outcome unpackIntegers(const QByteArray &record, StreamSetting setting)
    {
        QDataStream stream(record);
        setting.applyTo(stream);
        QList<quint32> values;
        const int code = int(MsDataPacker::unpack(&values, stream).code());
        return {code, memoryOf(values)};
    }

    Outcome packFloats(const QString &name, StreamSetting setting, bool raw)
    {
        const QList<float> values = listOf<float>(input(name, ".f32"));
        Outcome outcome;
        QDataStream stream(&outcome.bytes, QIODevice::WriteOnly);
        setting.applyTo(stream);
        outcome.code =
            int(MsDataPacker::pack(stream, values, parametersFor(name, values, raw)).code());
        return outcome;
    }

    PackParameters parametersFor(const QString &name, const QList<float> &values, bool raw)
    {
        if (!raw && has(name + QStringLiteral(".prec"))) {
            QDataStream stream(input(name, ".prec"));
            return PackParameters::read(stream).value();
        }
        return PackParameters::create(values, raw ? PackMethod::RawData : PackMethod::Quantizing);
    }

    static Outcome unpackFloats(const QByteArray &packed, StreamSetting setting)
    {
        QDataStream stream(packed);
        setting.applyTo(stream);
        QList<float> values;
        const int code = int(MsDataPacker::unpack(&values, stream).code());
        return {code, memoryOf(values)};
    }

    static Outcome unpackLevels(const QByteArray &packed, StreamSetting setting)
    {
        QDataStream stream(packed);
        setting.applyTo(stream);
        const auto raw = MsDataPacker::unpackRaw(stream);
        if (!raw.hasValue())
            return {int(raw.error().code()), {}};
        return {0, memoryOf(raw.value().intensities)};
    }

    /// Compares numbers, and of floating-point numbers the bit patterns.
    void compareParameters(const QString &name)
    {
        const PackParameters ours =
            PackParameters::create(listOf<float>(input(name, ".f32")), PackMethod::Quantizing);
        const auto bitsOf = [](float value) { return quint64(std::bit_cast<quint32>(value)); };
        const std::map<QByteArray, quint64> values{
            {"method", quint64(ours.method())},
            {"bits", ours.bits()},
            {"bitOffset", ours.bitOffset()},
            {"power", std::bit_cast<quint64>(ours.power())},
            {"singleCount", bitsOf(ours.singleCount())},
            {"rawOffset", bitsOf(ours.rawOffset())},
            {"rawMax", bitsOf(ours.rawMax())},
            {"compressedOffset", ours.compressedOffset()},
            {"maxCompressed", ours.maxCompressed()},
        };
        size_t compared = 0;
        for (const QByteArray &line : input(name, ".params").split('\n')) {
            const QList<QByteArray> words = line.split(' ');
            if (words.size() < 2)
                continue;
            const QByteArray number = words[0] == "method" ? words[1] : words.back();
            EXPECT_EQ(values.at(words[0]), number.toULongLong(nullptr, 0)) << line.toStdString();
            ++compared;
        }
        EXPECT_EQ(compared, values.size());
    }

    QString path(const char *name) const { return path(QString::fromLatin1(name)); }
    QString path(const QString &name) const { return m_folder + QStringLiteral("/") + name; }
    bool has(const QString &name) const { return QFile::exists(path(name)); }
    QByteArray input(const QString &name, const char *suffix) const
    {
        return fileContent(path(name + QString::fromLatin1(suffix)));
    }

    QString m_folder;
};

} // namespace

TEST(IntensityVectorsTest, storedListsOfTheTests)
{
    EXPECT_GT(Vectors(testDataPath(QStringLiteral("intensity"))).run(), 300);
}

TEST(IntensityVectorsTest, wholeCollection)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_VECTORS_DIR");
    EXPECT_GT(Vectors(folder + QStringLiteral("/intensity")).run(), 1000);
}
