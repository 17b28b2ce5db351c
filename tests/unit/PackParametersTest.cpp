#include <ms_compressor/PackParameters.h>

#include <ms_compressor/MsDataPacker.h>

#include "PackerSupport.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

using namespace kyv::compressor;
using kyv::ErrorCode;
using kyv::To;
using kyv::test::ParameterFields;

namespace {

const To<QString> toText;
const To<PackMethod> toMethod;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

PackParameters quantizing(const QList<float> &data)
{
    return PackParameters::create(data, PackMethod::Quantizing);
}

quint32 bitsOf(float value)
{
    return std::bit_cast<quint32>(value);
}

/// What the power rule gives for a range of \a largest counts, each of intensity 1.
double powerForRange(float largest)
{
    return quantizing({1, 2, largest}).power();
}

} // namespace

TEST(PackParametersTest, methodsAsText)
{
    EXPECT_EQ(convert(PackMethod::RawData, toText), QStringLiteral("RawData"));
    EXPECT_EQ(convert(PackMethod::Quantizing, toText), QStringLiteral("Quantizing"));
    EXPECT_EQ(convert(PackMethod(2), toText), QStringLiteral("Quantizing"));
    EXPECT_EQ(convert(PackMethod(255), toText), QStringLiteral("Quantizing"));
    EXPECT_EQ(stringify(PackMethod::RawData, {}), QStringLiteral("RawData"));
    EXPECT_EQ(stringify(PackMethod(7), {}), QStringLiteral("Quantizing"));
}

TEST(PackParametersTest, textInAnyCaseNamesAMethod)
{
    EXPECT_EQ(interpretAs(QStringLiteral("RawData"), toMethod).value(), PackMethod::RawData);
    EXPECT_EQ(interpretAs(QStringLiteral("rawdata"), toMethod).value(), PackMethod::RawData);
    EXPECT_EQ(interpretAs(QStringLiteral("QUANTIZING"), toMethod).value(), PackMethod::Quantizing);
    EXPECT_EQ(interpretAs(QStringLiteral("quantizing"), toMethod).value(), PackMethod::Quantizing);
}

TEST(PackParametersTest, otherTextsNameNoMethod)
{
    for (const char *text : {"", " Quantizing", "RawData ", "raw", "0", "Raw%1Data"}) {
        const auto method = interpretAs(QString::fromLatin1(text), toMethod);
        ASSERT_FALSE(method.hasValue()) << text;
        EXPECT_EQ(method.error().code(), ErrorCode::InvalidInput);
        EXPECT_EQ(method.error().message(),
                  QStringLiteral("Could not find match for converting string to pack method: ")
                      + QString::fromLatin1(text));
        ASSERT_EQ(method.error().places().size(), 1);
        EXPECT_EQ(method.error().places()[0].file,
                  QStringLiteral("ms_compressor/src/MsDataPacker"));
        EXPECT_EQ(method.error().places()[0].line, 59);
        EXPECT_TRUE(method.error().places()[0].function.contains(QStringLiteral("interpretAs")));
    }
}

TEST(PackParametersTest, rawDataDerivesNothing)
{
    const auto parameters = PackParameters::create({3, 1, 500}, PackMethod::RawData);
    EXPECT_EQ(parameters.method(), PackMethod::RawData);
    EXPECT_EQ(parameters.bits(), 16);
    EXPECT_EQ(parameters.bitOffset(), 0);
    EXPECT_EQ(parameters.power(), 0.0);
    EXPECT_EQ(parameters.singleCount(), 0.0F);
    EXPECT_EQ(parameters.rawOffset(), 0.0F);
    EXPECT_EQ(parameters.rawMax(), 0.0F);
}

TEST(PackParametersTest, noDataLeaveTheDefaults)
{
    const auto parameters = quantizing({});
    EXPECT_EQ(parameters.method(), PackMethod::Quantizing);
    EXPECT_EQ(parameters.bits(), 32);
    EXPECT_EQ(parameters.maxCompressed(), 0x80000000U);
    EXPECT_EQ(parameters.power(), 0.0);
    EXPECT_EQ(PackParameters::create({1, 9}, PackMethod(3)).bits(), 32);
}

TEST(PackParametersTest, calculateParametersIsCreate)
{
    const QList<float> data{0, 5, 3, 900};
    EXPECT_EQ(MsDataPacker::calculateParameters(data, PackMethod::Quantizing), quantizing(data));
    EXPECT_EQ(MsDataPacker::calculateParameters(data.constData(), 4, PackMethod::Quantizing),
              quantizing(data));
    EXPECT_NE(MsDataPacker::calculateParameters(data.constData(), 3, PackMethod::Quantizing),
              quantizing(data));
}

TEST(PackParametersTest, rangeAndCountOfOrdinaryData)
{
    const auto parameters = quantizing({100, 3, 40, 7, 2.25F});
    EXPECT_EQ(parameters.bits(), 10);
    EXPECT_EQ(parameters.bitOffset(), 0);
    EXPECT_EQ(parameters.rawOffset(), 2.25F);
    EXPECT_EQ(parameters.rawMax(), 100.0F);
    EXPECT_EQ(parameters.singleCount(), 4.75F);
    EXPECT_EQ(parameters.maxCompressed(), 512U);
    EXPECT_EQ(parameters.compressedOffset(), 0);
}

// Format: Power, "cap".
TEST(PackParametersTest, powerIsCappedAtAWholeLevel)
{
    EXPECT_NEAR(powerForRange(100), std::log(40.0) / std::log(100.0), 1e-15);
    EXPECT_NEAR(powerForRange(5000), std::log(911.0) / std::log(5000.0), 1e-15);
    EXPECT_NEAR(powerForRange(6000), std::log(1023.0) / std::log(6000.0), 1e-15);
    EXPECT_LT(powerForRange(6000), 0.8);
}

// Format: Power, "no range".
TEST(PackParametersTest, powerOfListsWithoutRange)
{
    EXPECT_EQ(quantizing({0, 8, 0, 8}).power(), 0.8); // rawMax equals singleCount
    EXPECT_EQ(quantizing({0, 0, 0}).power(), 0.8);
    EXPECT_EQ(quantizing({-7, -3, -5}).power(), 0.8); // the logarithm of a negative range
}

// The warning of the header, and of docs/formats/intensities.md.
TEST(PackParametersTest, closeNeighboursGiveNoSingleCount)
{
    const auto parameters = quantizing({0.1F, 0.5F, 1.0F, 0.7F, 0.25F});
    EXPECT_EQ(parameters.singleCount(), 0.0F);
    EXPECT_EQ(parameters.power(), 0.0);
    EXPECT_EQ(quantizing({1.0F, 1.5F}).singleCount(), 0.0F); // exactly 0.5 is too close, too
    EXPECT_EQ(quantizing({1.0F, 1.5000001F}).singleCount(), 0.5000001F);
}

TEST(PackParametersTest, nanIntensitiesAreSkipped)
{
    const auto parameters = quantizing({notANumber, 9, notANumber, 1, 4, notANumber});
    EXPECT_EQ(parameters.rawOffset(), 1.0F);
    EXPECT_EQ(parameters.rawMax(), 9.0F);
    EXPECT_EQ(parameters.singleCount(), 3.0F);
    const auto none = quantizing({notANumber, notANumber});
    EXPECT_TRUE(std::isnan(none.rawOffset()));
    EXPECT_TRUE(std::isnan(none.rawMax()));
    EXPECT_EQ(none.singleCount(), 0.0F);
    EXPECT_EQ(none.power(), 0.8);
}

TEST(PackParametersTest, infiniteIntensities)
{
    EXPECT_EQ(quantizing({infinity, infinity}).rawOffset(), infinity);
    EXPECT_EQ(quantizing({-infinity, 3, infinity}).rawOffset(), -infinity);
    EXPECT_EQ(quantizing({-infinity, 3, infinity}).rawMax(), infinity);
    EXPECT_EQ(quantizing({-infinity, 3, infinity}).singleCount(), infinity);
}

// Format: Derived values, "zeros of two signs".
TEST(PackParametersTest, firstSmallestAndLastLargestDecideTheSignOfZero)
{
    constexpr quint32 plus = 0;
    constexpr quint32 minus = 0x80000000;
    // Padded on both sides, so that vector loops see the zeros too.
    for (int padding : {0, 3, 16, 40}) {
        QList<float> high(padding, 5.0F);
        const auto offset = [&](QList<float> zeros) {
            return bitsOf(quantizing(high + zeros + high).rawOffset());
        };
        EXPECT_EQ(offset({0.0F, -0.0F}), plus) << padding;
        EXPECT_EQ(offset({-0.0F, 0.0F}), minus) << padding;
        QList<float> low(padding, -5.0F);
        const auto largest = [&](QList<float> zeros) {
            return bitsOf(quantizing(low + zeros + low).rawMax());
        };
        EXPECT_EQ(largest({0.0F, -0.0F}), minus) << padding;
        EXPECT_EQ(largest({-0.0F, 0.0F}), plus) << padding;
    }
}

TEST(PackParametersTest, derivedValuesOfEveryRecord)
{
    const auto parameters = [](unsigned bits, unsigned bitOffset) {
        ParameterFields fields;
        fields.bits = quint8(bits);
        fields.bitOffset = quint8(bitOffset);
        return fields.parameters();
    };
    EXPECT_EQ(parameters(10, 0).compressedOffset(), 0);
    EXPECT_EQ(parameters(10, 1).compressedOffset(), 1);
    EXPECT_EQ(parameters(10, 15).compressedOffset(), 0x4000);
    EXPECT_EQ(parameters(10, 16).compressedOffset(), 0x8000);
    EXPECT_EQ(parameters(10, 17).compressedOffset(), 0);
    EXPECT_EQ(parameters(10, 31).compressedOffset(), 0);
    EXPECT_EQ(parameters(10, 33).compressedOffset(), 1);
    EXPECT_EQ(parameters(10, 15).maxCompressed(), 1U << 24);
    EXPECT_EQ(parameters(1, 0).maxCompressed(), 1U);
    EXPECT_EQ(parameters(0, 0).maxCompressed(), 1U << 31);
    EXPECT_EQ(parameters(0, 1).maxCompressed(), 1U);
    EXPECT_EQ(parameters(255, 255).maxCompressed(), 1U << (509 % 32));
}

TEST(PackParametersTest, equality)
{
    EXPECT_EQ(PackParameters::create({1, 2}, PackMethod::RawData),
              ParameterFields{.method = 0}.parameters()); // bits 16 and 32
    EXPECT_NE(PackParameters::create({1, 2}, PackMethod::RawData), quantizing({1, 2}));
    const ParameterFields fields;
    EXPECT_EQ(fields.parameters(), fields.parameters());
    const auto differs = [&](auto change) {
        ParameterFields changed = fields;
        change(changed);
        return changed.parameters() != fields.parameters();
    };
    EXPECT_TRUE(differs([](ParameterFields &f) { f.bits = 11; }));
    EXPECT_TRUE(differs([](ParameterFields &f) { f.bitOffset = 1; }));
    EXPECT_TRUE(differs([](ParameterFields &f) { f.power = 0.25; }));
    EXPECT_TRUE(differs([](ParameterFields &f) { f.singleCount = 2; }));
    EXPECT_TRUE(differs([](ParameterFields &f) { f.rawOffset = 1; }));
    EXPECT_TRUE(differs([](ParameterFields &f) { f.rawMax = 101; }));
    EXPECT_FALSE(differs([](ParameterFields &f) { f.rawOffset = -0.0F; }));
    const ParameterFields broken{.rawMax = notANumber};
    EXPECT_NE(broken.parameters(), broken.parameters());
}
