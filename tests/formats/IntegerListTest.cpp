// Every example of docs/formats/integer-list.md, byte for byte and both ways, the stored records
// that come with the tests, and the conformance vectors.

#include "internal/IntegerList.h"

#include "Hex.h"
#include "ReferencePackedBits.h"
#include "TestData.h"
#include "Thorough.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

using namespace kyv::compressor::internal;
using kyv::test::fileContent;
using kyv::test::fromHex;
using kyv::test::toHex;
namespace reference = kyv::test::reference;

namespace {

QByteArray written(const QList<quint32> &values, QDataStream::ByteOrder order)
{
    QByteArray record;
    QDataStream stream(&record, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    writeIntegerList(stream, values.constData(), quint32(values.size()));
    return record;
}

std::optional<QList<quint32>> readFrom(const QByteArray &record, QDataStream::ByteOrder order)
{
    QDataStream stream(record);
    stream.setByteOrder(order);
    QList<quint32> values;
    if (readIntegerList(stream, &values) != IntegerListStatus::Ok)
        return std::nullopt;
    return values;
}

QList<quint32> valuesOf(const QByteArray &littleEndian)
{
    QList<quint32> values;
    for (qsizetype i = 0; i + 4 <= littleEndian.size(); i += 4)
        values.append(qFromLittleEndian<quint32>(littleEndian.constData() + i));
    return values;
}

struct Example
{
    const char *name;
    QDataStream::ByteOrder order;
    QList<quint32> values;
    const char *record;
};

QList<quint32> joined(const QList<QList<quint32>> &parts)
{
    QList<quint32> values;
    for (const QList<quint32> &part : parts)
        values += part;
    return values;
}

QList<quint32> repeated(qsizetype count, quint32 value)
{
    return QList<quint32>(count, value);
}

constexpr auto big = QDataStream::BigEndian;
constexpr auto little = QDataStream::LittleEndian;

const Example examples[] = {
    {"empty", big, {}, "00 00"},
    {"twoAndOne", big, {2, 1}, "00 01 | 00 20 | 00 02 | 02 | 00 | 00 00 00 06"},
    {"threeValues", big, {5, 0, 1}, "00 01 | 00 20 | 00 03 | 03 | 00 | 00 00 00 45"},
    {"threeValuesLittleEndian", little, {5, 0, 1}, "01 00 | 20 00 | 03 00 | 03 | 00 | 45 00 00 00"},
    {"zeros", big, repeated(100, 0), "00 03 | 00 20 | 00 24 | 00 | 00"},
    {"aBlockOfZerosHasNoWords", big, joined({repeated(32, 0), repeated(32, 1)}),
     "00 02 | 00 20 | 00 20 | 00 | 01 | 00 00 00 02 | FF FF FF FF"},
    {"widthsRelativeToTheSmallest", big, joined({repeated(32, 3), repeated(31, 0), {9}}),
     "00 02 | 00 20 | 00 20 | 02 | 02 | 00 00 00 08 | FF FF FF FF | FF FF FF FF |"
     "00 00 00 00 | 00 00 00 00 | 00 00 00 00 | 90 00 00 00"},
    {"theLastBlockTakesTheRest", little, joined({repeated(32, 1), repeated(33, 1)}),
     "02 00 | 20 00 | 21 00 | 01 | 00 | FF FF FF FF | FF FF FF FF | 01 00 00 00"},
    {"theWidestValue", big, {0xFFFFFFFE}, "00 01 | 00 20 | 00 01 | 20 | 00 | FF FF FF FE"},
};

class IntegerListFormat : public testing::TestWithParam<Example>
{};

} // namespace

TEST_P(IntegerListFormat, writesAndReads)
{
    const Example &example = GetParam();
    EXPECT_EQ(toHex(written(example.values, example.order)), toHex(fromHex(example.record)));
    const auto values = readFrom(fromHex(example.record), example.order);
    ASSERT_TRUE(values.has_value());
    EXPECT_EQ(*values, example.values);
    EXPECT_EQ(reference::writeIntegerList(example.values, example.order == big),
              fromHex(example.record));
}

INSTANTIATE_TEST_SUITE_P(example, IntegerListFormat, testing::ValuesIn(examples),
                         [](const auto &row) { return row.param.name; });

namespace {

struct MalformedExample
{
    const char *name;
    const char *record;
    std::optional<QList<quint32>> values;
};

const MalformedExample malformedExamples[] = {
    {"nothing", "", QList<quint32>{}},
    {"oneByte", "00", QList<quint32>{}},
    {"cutInTheHead", "00 01 | 00 20 | 00", QList<quint32>{}},
    {"cutInAWord", "00 01 | 00 20 | 00 03 | 03 | 00 | 00 00 00", QList<quint32>{0, 0, 0}},
    {"bitsPastTheLastValue", "00 01 | 00 20 | 00 03 | 03 | 00 | FF FF FE 45",
     QList<quint32>{5, 0, 1}},
    {"aBlockOfNothing", "00 01 | 00 20 | 00 00 | 07 | 00", QList<quint32>{}},
    {"aWidthOf33", "00 01 | 00 20 | 00 01 | 21 | 00 | 00 00 00 00 | 00 00 00 00", std::nullopt},
    {"aWidthThatWraps", "00 01 | 00 20 | 00 01 | 02 | 20 | FF FF FF FF | 00 00 00 01",
     std::nullopt},
    {"missingWords", "02 01 | 80 00 | 00 01 | 20 | 00", std::nullopt},
    {"oneValueTooMany", "FF FF | 80 00 | 80 00 | 00 | 00", std::nullopt},
};

class IntegerListMalformed : public testing::TestWithParam<MalformedExample>
{};

} // namespace

TEST_P(IntegerListMalformed, isReadAsDescribed)
{
    const MalformedExample &example = GetParam();
    EXPECT_EQ(readFrom(fromHex(example.record), big), example.values);
    EXPECT_EQ(reference::readIntegerList(fromHex(example.record), true), example.values);
}

INSTANTIATE_TEST_SUITE_P(example, IntegerListMalformed, testing::ValuesIn(malformedExamples),
                         [](const auto &row) { return row.param.name; });

// ---- stored records ------------------------------------------------------------------------

namespace {

void expectRecords(const QString &folder, const QString &name)
{
    SCOPED_TRACE(name.toStdString());
    const QList<quint32> values = valuesOf(fileContent(folder + name + QStringLiteral(".u32")));
    for (const auto &[order, ending] : {std::pair(big, "be"), std::pair(little, "le")}) {
        const QByteArray record =
            fileContent(folder + name + QStringLiteral(".ints-pack-") + QLatin1String(ending));
        EXPECT_EQ(written(values, order), record);
        EXPECT_EQ(readFrom(record, order), values);
        EXPECT_EQ(reference::readIntegerList(record, order == big), values);
    }
}

/// The list that reading a record gives, and, in files above 40 kB, only its digest.
void expectReading(const QString &folder, const QString &name, const QByteArray &digest)
{
    SCOPED_TRACE(name.toStdString());
    const auto values = readFrom(fileContent(folder + name + QStringLiteral(".irec")), big);
    ASSERT_TRUE(values.has_value());
    QByteArray bytes(values->size() * 4, Qt::Uninitialized);
    if (!values->isEmpty())
        qToLittleEndian<quint32>(values->constData(), values->size(), bytes.data());
    EXPECT_EQ(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex(), digest);
}

/// The rows of a manifest for one operation: name and digest.
QList<std::pair<QString, QByteArray>> manifestRows(const QString &folder, const char *operation)
{
    QList<std::pair<QString, QByteArray>> rows;
    for (const QByteArray &line :
         fileContent(folder + QStringLiteral("manifest.tsv")).split('\n')) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() == 5 && fields[1] == operation)
            rows.append({QString::fromLatin1(fields[0]), fields[4]});
    }
    return rows;
}

} // namespace

TEST(IntegerListStored, recordsKeepTheirBytes)
{
    const QString folder = kyv::test::testDataPath(QStringLiteral("integer-list/"));
    for (const char *name : {"i-levels-1000", "i-mixed-129", "i-one-nonzero-block", "i-width-17"})
        expectRecords(folder, QLatin1String(name));
}

TEST(IntegerListStored, conformanceVectorsAgree)
{
    KYV_FOLDER_OR_SKIP(vectors, "KYV_VECTORS_DIR");
    const QString folder = vectors + QStringLiteral("/intensity/");
    int lists = 0;
    for (const auto &[name, digest] : manifestRows(folder, "ints-pack-be")) {
        expectRecords(folder, name);
        ++lists;
    }
    EXPECT_GE(lists, 40);
    int records = 0;
    for (const auto &[name, digest] : manifestRows(folder, "ints-unpack-be")) {
        const bool isLarge = name == QLatin1String("r-far-cut-1bit"); // half a GiB of values
        if (!name.startsWith(QLatin1String("r-")) || (isLarge && !kyv::test::isThorough()))
            continue;
        expectReading(folder, name, digest);
        ++records;
    }
    EXPECT_GE(records, 13);
}
