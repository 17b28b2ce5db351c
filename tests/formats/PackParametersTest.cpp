// The examples of docs/formats/pack-parameters.md, byte for byte.

#include <ms_compressor/PackParameters.h>

#include "Hex.h"
#include "PackerSupport.h"

#include <gtest/gtest.h>

using namespace kyv::compressor;
using namespace kyv::test;

namespace {

struct Example
{
    const char *name;
    QList<float> data;
    PackMethod method;
    StreamSetting setting;
    const char *bytes;
};

class PackParametersFormatTest : public testing::TestWithParam<Example>
{};

const Example examples[] = {
    {"raw", {0, 8}, PackMethod::RawData, {}, "0001 00"},
    {"rawLittleEndian", {0, 8}, PackMethod::RawData, {true, false}, "0100 00"},
    {"quantized",
     {0, 8, 0, 8},
     PackMethod::Quantizing,
     {},
     "0001 01 0A 00 3FE999999999999A 4020000000000000 0000000000000000 4020000000000000"},
    {"quantizedLittleEndian",
     {0, 8, 0, 8},
     PackMethod::Quantizing,
     {true, false},
     "0100 01 0A 00 9A9999999999E93F 0000000000002040 0000000000000000 0000000000002040"},
    {"quantizedSinglePrecision",
     {0, 8, 0, 8},
     PackMethod::Quantizing,
     {false, true},
     "0001 01 0A 00 3F4CCCCD 41000000 00000000 41000000"},
    {"quantizedSingleLittleEndian",
     {0, 8, 0, 8},
     PackMethod::Quantizing,
     {true, true},
     "0100 01 0A 00 CDCC4C3F 00000041 00000000 00000041"},
    {"emptyList",
     {},
     PackMethod::Quantizing,
     {},
     "0001 01 20 00 0000000000000000 0000000000000000 0000000000000000 0000000000000000"},
    {"closeNeighbours",
     {0.25F, 0.5F, 1},
     PackMethod::Quantizing,
     {},
     "0001 01 0A 00 0000000000000000 0000000000000000 3FD0000000000000 3FF0000000000000"},
    {"minusZeroIsSmallest",
     {-0.0F, 0, 8, 0, 8},
     PackMethod::Quantizing,
     {},
     "0001 01 0A 00 3FE999999999999A 4020000000000000 8000000000000000 4020000000000000"},
    {"otherMethod", {0, 8}, PackMethod(2), {}, "0001 02"},
};

} // namespace

TEST_P(PackParametersFormatTest, bytes)
{
    const PackParameters parameters = PackParameters::create(GetParam().data, GetParam().method);
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    GetParam().setting.applyTo(out);
    out << parameters;
    EXPECT_EQ(toHex(bytes), toHex(fromHex(GetParam().bytes)));

    QDataStream in(bytes);
    GetParam().setting.applyTo(in);
    const auto restored = PackParameters::read(in);
    ASSERT_TRUE(restored.hasValue());
    EXPECT_TRUE(in.atEnd());
    if (GetParam().setting.singlePrecision && parameters.power() != 0) {
        EXPECT_EQ(restored.value().power(), double(float(parameters.power())));
        EXPECT_EQ(restored.value().singleCount(), parameters.singleCount());
    } else if (parameters.method() != PackMethod(2)) {
        EXPECT_EQ(restored.value(), parameters);
    }
}

INSTANTIATE_TEST_SUITE_P(Examples, PackParametersFormatTest, testing::ValuesIn(examples),
                         [](const auto &row) { return row.param.name; });

TEST(PackParametersFormatTest, versionZeroReadsLikeVersionOne)
{
    QByteArray record = ParameterFields{.power = 0.25}.record();
    record[1] = '\0';
    QDataStream stream(record);
    EXPECT_EQ(PackParameters::read(stream).value(), ParameterFields{.power = 0.25}.parameters());
}

TEST(PackParametersFormatTest, otherVersionsAreRefused)
{
    for (const auto &[bytes, version] :
         {std::pair{"0002 00", "2"}, {"0100 00", "256"}, {"FFFF 00", "65535"}, {"8001", "32769"}}) {
        QDataStream stream(fromHex(bytes));
        const auto parameters = PackParameters::read(stream);
        ASSERT_FALSE(parameters.hasValue());
        EXPECT_EQ(parameters.error().code(), kyv::ErrorCode::InvalidInput);
        EXPECT_EQ(parameters.error().message(),
                  QStringLiteral("PackedDataParameters input version is not supported: ")
                      + QString::fromLatin1(version));
        ASSERT_EQ(parameters.error().places().size(), 1);
        EXPECT_EQ(parameters.error().places()[0].line, 203);
        EXPECT_EQ(parameters.error().places()[0].file,
                  QStringLiteral("ms_compressor/src/MsDataPacker"));
    }
}

TEST(PackParametersFormatTest, recordCutShortReadsAsZeros)
{
    const QByteArray record = ParameterFields{.bitOffset = 3, .rawOffset = 5}.record();
    ASSERT_EQ(record.size(), 37);
    for (qsizetype length = 3; length < record.size(); ++length) {
        QDataStream stream(record.left(length));
        const PackParameters parameters = PackParameters::read(stream).value();
        EXPECT_EQ(parameters.method(), PackMethod::Quantizing) << length;
        EXPECT_EQ(parameters.bits(), length >= 4 ? 10 : 0) << length;
        EXPECT_EQ(parameters.bitOffset(), length >= 5 ? 3 : 0) << length;
        EXPECT_EQ(parameters.power(), length >= 13 ? 0.5 : 0.0) << length;
        EXPECT_EQ(parameters.singleCount(), length >= 21 ? 1.0F : 0.0F) << length;
        EXPECT_EQ(parameters.rawOffset(), length >= 29 ? 5.0F : 0.0F) << length;
        EXPECT_EQ(parameters.rawMax(), 0.0F) << length;
    }
}
