// Packed lists cut at every length and with every bit flipped, and every input of three bytes: a
// value or an error, the one that the reference readers give. Lists of zeros may announce any
// length; those above 2^22 values are skipped and counted.

#include <ms_compressor/MsDataPacker.h>

#include "PackerSupport.h"
#include "ReferenceIntensities.h"
#include "Thorough.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>

using namespace kyv::compressor;
using namespace kyv::test;
namespace reference = kyv::reference;

namespace {

constexpr qsizetype largestRecord = 2048;

enum class Kind { Integers, Raw, Quantized };

/// A packed list, and how to read it.
struct Record
{
    Kind kind;
    StreamSetting setting;
    QByteArray bytes;

    reference::StreamKind streamKind() const
    {
        return {setting.littleEndian, setting.singlePrecision};
    }
};

/// Lists of every kind, 1 byte to 2 KiB packed.
std::vector<Record> records(int count)
{
    std::mt19937 random(20240611);
    std::vector<Record> made;
    while (int(made.size()) < count) {
        Record record{Kind(made.size() % 3), streamSettings[made.size() / 3 % 4], {}};
        QDataStream stream(&record.bytes, QIODevice::WriteOnly);
        record.setting.applyTo(stream);
        const qsizetype length = qsizetype(random() % (made.size() % 5 == 0 ? 1200 : 150));
        if (record.kind == Kind::Integers) {
            QList<quint32> values(length);
            for (quint32 &value : values)
                value = quint32(random()) >> (random() % 4 == 0 ? 16 : 24);
            EXPECT_FALSE(
                MsDataPacker::pack(stream, values.constData(), quint32(length)).hasError());
        } else {
            QList<float> values(length);
            for (float &value : values)
                value = float(std::pow(10.0, double(random() % 5000) / 1000));
            const auto method =
                record.kind == Kind::Raw ? PackMethod::RawData : PackMethod::Quantizing;
            EXPECT_FALSE(MsDataPacker::pack(stream, values, PackParameters::create(values, method))
                             .hasError());
        }
        if (record.bytes.size() <= largestRecord)
            made.push_back(record);
    }
    return made;
}

/// Values that the integer list in \a record announces.
quint64 announcedValues(const Record &record)
{
    reference::FieldReader head(record.bytes, record.streamKind());
    if (record.kind != Kind::Integers) {
        const auto parameters = reference::readParameters(head);
        if (!parameters || parameters->method == 0)
            return 0;
    }
    const quint64 blocks = head.integer(2);
    const quint64 blockSize = head.integer(2);
    const quint64 lastBlockSize = head.integer(2);
    return blocks == 0 ? 0 : (blocks - 1) * blockSize + lastBlockSize;
}

bool isSame(float a, float b)
{
    return std::bit_cast<quint32>(a) == std::bit_cast<quint32>(b)
           || (std::isnan(a) && std::isnan(b));
}

void expectSameIntegers(const Record &record, bool compared)
{
    QDataStream stream(record.bytes);
    record.setting.applyTo(stream);
    QList<quint32> values;
    const bool failed = MsDataPacker::unpack(&values, stream).hasError();
    if (!compared)
        return;
    reference::FieldReader from(record.bytes, record.streamKind());
    const auto expected = reference::readIntegerList(from);
    ASSERT_EQ(failed, !expected.has_value());
    if (expected) {
        ASSERT_TRUE(std::equal(values.begin(), values.end(), expected->begin(), expected->end()));
    }
}

void expectSameIntensities(const Record &record, bool compared)
{
    QDataStream stream(record.bytes);
    record.setting.applyTo(stream);
    QList<float> values;
    const bool failed = MsDataPacker::unpack(&values, stream).hasError();
    if (!compared)
        return;
    const auto expected = reference::readIntensities(record.bytes, record.streamKind());
    ASSERT_EQ(failed, expected.outcome != reference::Outcome::Ok);
    if (!failed) {
        ASSERT_TRUE(std::equal(values.begin(), values.end(), expected.intensities.begin(),
                               expected.intensities.end(), isSame));
    }
    QDataStream rawStream(record.bytes);
    record.setting.applyTo(rawStream);
    const auto raw = MsDataPacker::unpackRaw(rawStream);
    const auto levels = reference::readLevels(record.bytes, record.streamKind());
    ASSERT_EQ(raw.hasValue(), levels.outcome == reference::Outcome::Ok);
    if (raw.hasValue()) {
        ASSERT_TRUE(std::equal(raw.value().intensities.begin(), raw.value().intensities.end(),
                               levels.levels.begin(), levels.levels.end()));
    }
}

/// Reads \a record and, if its list is short enough for that, compares with the reference.
/// False if it announces too much to be read here.
bool survives(const Record &record)
{
    const quint64 announced = announcedValues(record);
    if (announced > quint64(1) << 22)
        return false;
    const bool compared = announced <= 4096;
    if (record.kind == Kind::Integers)
        expectSameIntegers(record, compared);
    else
        expectSameIntensities(record, compared);
    return true;
}

} // namespace

TEST(PackerDamageTest, everyPrefix)
{
    for (const Record &record : records(isThorough() ? 100 : 12)) {
        for (qsizetype length = 0; length < record.bytes.size() && !HasFailure(); ++length) {
            SCOPED_TRACE(length);
            survives({record.kind, record.setting, record.bytes.left(length)});
        }
    }
}

TEST(PackerDamageTest, everyBitFlip)
{
    int skipped = 0;
    for (const Record &record : records(isThorough() ? 100 : 12)) {
        for (qsizetype bit = 0; bit < record.bytes.size() * 8 && !HasFailure(); ++bit) {
            SCOPED_TRACE(bit);
            Record damaged = record;
            damaged.bytes[bit / 8] = char(damaged.bytes[bit / 8] ^ 1 << bit % 8);
            skipped += survives(damaged) ? 0 : 1;
        }
    }
    RecordProperty("skipped", skipped);
}

TEST(PackerDamageTest, everyInputOfThreeBytes)
{
    const quint32 step = isThorough() ? 1 : 1009;
    for (quint32 input = 0; input < 1U << 24 && !HasFailure(); input += step) {
        const QByteArray bytes{reinterpret_cast<const char *>(&input), 3};
        const StreamSetting setting = streamSettings[input % 4];
        QDataStream stream(bytes);
        setting.applyTo(stream);
        QList<quint32> values{1};
        EXPECT_FALSE(MsDataPacker::unpack(&values, stream).hasError()) << input;
        EXPECT_TRUE(values.isEmpty()) << input; // the sizes of the blocks are missing
        EXPECT_EQ(stream.atEnd(), (input & 0xFFFF) != 0) << input;
        survives({Kind::Quantized, setting, bytes});
    }
}
