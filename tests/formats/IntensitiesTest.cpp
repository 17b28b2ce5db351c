// The examples of docs/formats/intensities.md, byte for byte, and what it says of odd input.

#include <ms_compressor/MsDataPacker.h>

#include "Hex.h"
#include "PackerSupport.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

using namespace kyv::compressor;
using namespace kyv::test;
using kyv::ErrorCode;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

constexpr char zeroEightRecord[] =
    "0001 01 0A 00 3FE999999999999A 4020000000000000 0000000000000000 4020000000000000";

QByteArray packed(const QList<float> &data, const PackParameters &parameters,
                  StreamSetting setting = {})
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    setting.applyTo(stream);
    EXPECT_FALSE(MsDataPacker::pack(stream, data, parameters).hasError());
    return bytes;
}

QByteArray packed(const QList<float> &data, PackMethod method, StreamSetting setting = {})
{
    return packed(data, PackParameters::create(data, method), setting);
}

QList<quint32> unpackedBits(const QByteArray &bytes, StreamSetting setting = {})
{
    QList<float> list{1, 2, 3}; // emptied first
    QDataStream stream(bytes);
    setting.applyTo(stream);
    EXPECT_FALSE(MsDataPacker::unpack(&list, stream).hasError());
    QList<quint32> bits;
    for (const float value : list)
        bits.append(std::bit_cast<quint32>(value));
    return bits;
}

QList<quint32> bitsOf(const QList<float> &list)
{
    QList<quint32> bits;
    for (const float value : list)
        bits.append(std::bit_cast<quint32>(value));
    return bits;
}

QList<int> linesOf(const kyv::Error &error)
{
    QList<int> lines;
    for (const kyv::ErrorPlace &place : error.places()) {
        EXPECT_EQ(place.file, QStringLiteral("ms_compressor/src/MsDataPacker"));
        lines.append(place.line);
    }
    return lines;
}

/// A quantized list whose integer list has a width of 33 bits.
QByteArray inconsistentList()
{
    return ParameterFields{}.record() + fromHex("0001 0020 0001 21 00");
}

} // namespace

TEST(IntensitiesTest, rawList)
{
    const QList<float> data{1.0F, -0.0F};
    const QByteArray bytes = packed(data, PackMethod::RawData);
    EXPECT_EQ(toHex(bytes), toHex(fromHex("0001 00 00000008 0000803F 00000080")));
    EXPECT_EQ(unpackedBits(bytes), bitsOf(data));
}

// Format: Layout, "byte order of raw floats".
TEST(IntensitiesTest, rawFloatsIgnoreTheByteOrder)
{
    const QList<float> data{1.0F, -0.0F};
    for (const bool singlePrecision : {false, true}) {
        const StreamSetting setting{true, singlePrecision};
        const QByteArray bytes = packed(data, PackMethod::RawData, setting);
        EXPECT_EQ(toHex(bytes), toHex(fromHex("0100 00 08000000 0000803F 00000080")));
        EXPECT_EQ(unpackedBits(bytes, setting), bitsOf(data));
    }
}

// Format: Layout, "null and empty".
TEST(IntensitiesTest, emptyRawLists)
{
    const PackParameters raw = PackParameters::create(nullptr, 0, PackMethod::RawData);
    const float storage = 1;
    QByteArray null;
    QByteArray empty;
    EXPECT_FALSE(MsDataPacker::pack(&null, nullptr, 0, raw).hasError());
    EXPECT_FALSE(MsDataPacker::pack(&empty, &storage, 0, raw).hasError());
    EXPECT_EQ(toHex(null), "00 01 00 ff ff ff ff");
    EXPECT_EQ(toHex(empty), "00 01 00 00 00 00 00");
    EXPECT_EQ(toHex(packed({}, raw)), toHex(null));
    EXPECT_TRUE(unpackedBits(null).isEmpty());
    EXPECT_TRUE(unpackedBits(empty).isEmpty());
}

TEST(IntensitiesTest, quantizedList)
{
    const QByteArray bytes = packed({0, 8, 0, 8}, PackMethod::Quantizing);
    EXPECT_EQ(toHex(bytes),
              toHex(fromHex(zeroEightRecord) + fromHex("0001 0020 0004 0A 00 00080000 00000080")));
    EXPECT_EQ(unpackedBits(bytes), bitsOf({0, 8, 0, 8}));
}

TEST(IntensitiesTest, quantizedListInOtherStreams)
{
    EXPECT_EQ(toHex(packed({0, 8, 0, 8}, PackMethod::Quantizing, {true, false})),
              toHex(fromHex("0100 01 0A 00 9A9999999999E93F 0000000000002040 0000000000000000 "
                            "0000000000002040 0100 2000 0400 0A 00 00000800 80000000")));
    EXPECT_EQ(toHex(packed({0, 8, 0, 8}, PackMethod::Quantizing, {false, true})),
              toHex(fromHex("0001 01 0A 00 3F4CCCCD 41000000 00000000 41000000 "
                            "0001 0020 0004 0A 00 00080000 00000080")));
    EXPECT_EQ(toHex(packed({0, 8, 0, 8}, PackMethod::Quantizing, {true, true})),
              toHex(fromHex("0100 01 0A 00 CDCC4C3F 00000041 00000000 00000041 "
                            "0100 2000 0400 0A 00 00000800 80000000")));
}

TEST(IntensitiesTest, givenParameters)
{
    const ParameterFields fields{.power = 0.5, .singleCount = 2, .rawOffset = 1, .rawMax = 129};
    const QByteArray bytes = packed({0, 1, 3, 9, 129, notANumber}, fields.parameters());
    EXPECT_EQ(toHex(bytes),
              toHex(fromHex("0001 01 0A 00 3FE0000000000000 4000000000000000 3FF0000000000000 "
                            "4060200000000000 0001 0020 0006 0A 00 04000000 00020020")));
    EXPECT_EQ(unpackedBits(bytes), bitsOf({0, 0, 3, 9, 129, 0}));
    const auto raw = MsDataPacker::unpackRaw(bytes);
    ASSERT_TRUE(raw.hasValue());
    EXPECT_EQ(raw.value().parameters, fields.parameters());
    EXPECT_EQ(raw.value().intensities, (QList<quint32>{0, 0, 64, 128, 512, 0}));
}

TEST(IntensitiesTest, closeNeighboursLoseAllIntensities)
{
    const QList<float> data{0.25F, 0.5F, 1};
    const QByteArray bytes = packed(data, PackMethod::Quantizing);
    EXPECT_EQ(toHex(bytes.mid(37)), toHex(fromHex("0001 0020 0003 0A 00 20080200")));
    EXPECT_EQ(unpackedBits(bytes), bitsOf({0.25F, 0.25F, 0.25F}));
    EXPECT_EQ(PackParameters::create(data, PackMethod::Quantizing).singleCount(), 0.0F);
}

TEST(IntensitiesTest, emptyQuantizedList)
{
    const QByteArray bytes = packed({}, PackMethod::Quantizing);
    EXPECT_EQ(toHex(bytes), toHex(fromHex("0001 01 20 00") + QByteArray(34, '\0')));
    EXPECT_TRUE(unpackedBits(bytes).isEmpty());
}

// Format: Layout, "other methods".
TEST(IntensitiesTest, otherMethods)
{
    const PackParameters parameters = PackParameters::create({1, 2}, PackMethod(2));
    EXPECT_EQ(toHex(packed({1, 2}, parameters)), "00 01 02");
    EXPECT_TRUE(unpackedBits(fromHex("0001 02")).isEmpty());
    // Read as quantized with the default parameters, whose formula gives 0 for every level.
    EXPECT_EQ(unpackedBits(fromHex("0001 02 0001 0020 0002 01 00 00000001")), bitsOf({0, 0}));
    const auto raw = MsDataPacker::unpackRaw(fromHex("0001 FF 0001 0020 0002 01 00 00000001"));
    EXPECT_EQ(raw.value().intensities, (QList<quint32>{1, 0}));
    EXPECT_EQ(int(raw.value().parameters.method()), 255);
}

TEST(IntensitiesTest, trailingBytesOfARawListAreDropped)
{
    const QByteArray bytes = fromHex("0001 00 0000000A 0000803F 00000040 FFFF 0001 00 FFFFFFFF");
    QDataStream stream(bytes);
    QList<float> list;
    EXPECT_FALSE(MsDataPacker::unpack(&list, stream).hasError());
    EXPECT_EQ(list, (QList<float>{1, 2}));
    EXPECT_FALSE(MsDataPacker::unpack(&list, stream).hasError()); // the next list follows
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd());
}

TEST(IntensitiesTest, rawListCutShortIsEmpty)
{
    const QByteArray bytes = fromHex("0001 00 0000000A 0000803F 00000040 FFFF");
    for (qsizetype length = 3; length < bytes.size(); ++length) {
        QDataStream stream(bytes.left(length));
        QList<float> list{5};
        EXPECT_FALSE(MsDataPacker::unpack(&list, stream).hasError()) << length;
        EXPECT_TRUE(list.isEmpty()) << length;
        EXPECT_EQ(stream.status(), QDataStream::ReadPastEnd) << length;
        EXPECT_TRUE(stream.atEnd()) << length;
    }
}

TEST(IntensitiesTest, longerTargetIsOverwrittenNotCut)
{
    QByteArray target("0123456789abcdef");
    const PackParameters raw = PackParameters::create({1}, PackMethod::RawData);
    EXPECT_FALSE(MsDataPacker::pack(&target, {1}, raw).hasError());
    EXPECT_EQ(toHex(target), toHex(fromHex("0001 00 00000004 0000803F") + "bcdef"));
    const quint32 value = 5;
    EXPECT_FALSE(MsDataPacker::pack(&target, &value, 1).hasError());
    EXPECT_EQ(toHex(target), toHex(fromHex("0001 0020 0001 03 00 00000005") + "cdef"));
}

TEST(IntensitiesTest, streamSettingsStay)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    StreamSetting{true, true}.applyTo(stream);
    const QList<float> data{1, 5, 90};
    EXPECT_FALSE(
        MsDataPacker::pack(stream, data, PackParameters::create(data, PackMethod::Quantizing))
            .hasError());
    EXPECT_EQ(stream.byteOrder(), QDataStream::LittleEndian);
    EXPECT_EQ(stream.floatingPointPrecision(), QDataStream::SinglePrecision);
}

// Format: Reading levels, "spelling".
TEST(IntensitiesTest, levelsOfARawListAreRefused)
{
    const auto raw = MsDataPacker::unpackRaw(packed({1, 2}, PackMethod::RawData));
    ASSERT_FALSE(raw.hasValue());
    EXPECT_EQ(raw.error().code(), ErrorCode::InvalidInput);
    EXPECT_EQ(raw.error().message(),
              QStringLiteral("Raw intensities extraction is supported for Qauntizing method only"));
    EXPECT_EQ(linesOf(raw.error()), (QList<int>{585}));
}

TEST(IntensitiesTest, unknownVersionPassesEachLevel)
{
    QList<float> list{4};
    const kyv::Error error = MsDataPacker::unpack(&list, fromHex("0002 00"));
    EXPECT_EQ(error.code(), ErrorCode::InvalidInput);
    EXPECT_EQ(linesOf(error), (QList<int>{203, 537}));
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(linesOf(MsDataPacker::unpackRaw(fromHex("0002 01")).error()), (QList<int>{203, 578}));
}

TEST(IntensitiesTest, inconsistentListPassesEachLevel)
{
    QList<float> list{4};
    const kyv::Error error = MsDataPacker::unpack(&list, inconsistentList());
    EXPECT_EQ(error.code(), ErrorCode::InconsistentData);
    EXPECT_EQ(error.message(), QStringLiteral("Inconsistent data."));
    EXPECT_EQ(linesOf(error), (QList<int>{2, 494, 548}));
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(linesOf(MsDataPacker::unpackRaw(inconsistentList()).error()), (QList<int>{2, 589}));
    QList<quint32> integers{4};
    EXPECT_EQ(linesOf(MsDataPacker::unpack(&integers, inconsistentList().mid(37))),
              (QList<int>{2}));
    EXPECT_TRUE(integers.isEmpty());
}

TEST(IntensitiesTest, tooManyIntensities)
{
    const float data = 1;
    QByteArray target;
    const PackParameters raw = PackParameters::create({1}, PackMethod::RawData);
    const kyv::Error rawError = MsDataPacker::pack(&target, &data, 0x20000000, raw);
    EXPECT_EQ(rawError.code(), ErrorCode::InvalidInput);
    EXPECT_EQ(linesOf(rawError), (QList<int>{4, 249, 514}));
    EXPECT_EQ(toHex(target), "00 01 00");

    const kyv::Error error =
        MsDataPacker::pack(&target, &data, 2147450880U, ParameterFields{}.parameters());
    EXPECT_EQ(error.code(), ErrorCode::InvalidInput);
    EXPECT_EQ(linesOf(error), (QList<int>{3, 253, 514}));
}

TEST(IntensitiesTest, tooManyIntegers)
{
    const quint32 value = 1;
    for (const quint32 count : {2147450880U, 0xFFFFFFFFU}) {
        QByteArray target;
        const kyv::Error error = MsDataPacker::pack(&target, &value, count);
        EXPECT_EQ(error.code(), ErrorCode::InvalidInput);
        EXPECT_EQ(linesOf(error), (QList<int>{1, 524}));
        EXPECT_TRUE(target.isEmpty());
    }
}
