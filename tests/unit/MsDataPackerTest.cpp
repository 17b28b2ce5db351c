// Properties of packing and unpacking, over seeded cases: 2,000 of each, or 100,000 with
// KYV_THOROUGH=1. A failure prints the seed of its case.

#include <ms_compressor/MsDataPacker.h>

#include "PackerSupport.h"
#include "SequentialDevice.h"
#include "Thorough.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

using namespace kyv::compressor;
using namespace kyv::test;

namespace {

using Random = std::mt19937;

/// Runs \a property(random) for every case, up to the first that fails.
template <typename Property>
void forEveryCase(Property property)
{
    const quint32 cases = isThorough() ? 100000 : 2000;
    for (quint32 seed = 1; seed <= cases && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Random random(seed);
        property(random);
    }
}

/// Mostly short lists, some of several blocks.
qsizetype anyLength(Random &random)
{
    return qsizetype(random() % 8 == 0 ? random() % 1500 : random() % 80);
}

StreamSetting anySetting(Random &random)
{
    return streamSettings[random() % streamSettings.size()];
}

/// Numbers whose widths vary from stretch to stretch, zeros among them.
QList<quint32> anyIntegers(Random &random)
{
    QList<quint32> list(anyLength(random));
    quint32 width = 0;
    for (quint32 &value : list) {
        if (random() % 24 == 0)
            width = quint32(random() % 33);
        value = width == 0 ? 0 : quint32(random()) >> (32 - width);
    }
    return list;
}

/// Non-negative, finite intensities over a random number of decades.
QList<float> anyIntensities(Random &random)
{
    QList<float> list(anyLength(random));
    const double decades = double(random() % 900) / 100;
    const double lowest = double(random() % 300) / 100 - 1;
    for (float &value : list) {
        const double exponent = lowest + decades * double(random()) * 0x1p-32;
        value = random() % 5 == 0 ? 0.0F : float(std::pow(10.0, exponent));
    }
    return list;
}

bool isSameMemory(const QList<float> &a, const QList<float> &b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](float x, float y) {
               return std::bit_cast<quint32>(x) == std::bit_cast<quint32>(y);
           });
}

/// The list through a stream and back.
QList<float> throughStream(const QList<float> &list, const PackParameters &parameters,
                           StreamSetting setting)
{
    QByteArray packed;
    QDataStream out(&packed, QIODevice::WriteOnly);
    setting.applyTo(out);
    EXPECT_FALSE(MsDataPacker::pack(out, list, parameters).hasError());
    QDataStream in(packed);
    setting.applyTo(in);
    QList<float> restored;
    EXPECT_FALSE(MsDataPacker::unpack(&restored, in).hasError());
    EXPECT_TRUE(in.atEnd());
    return restored;
}

} // namespace

TEST(MsDataPackerTest, integersComeBackAsTheyWere)
{
    forEveryCase([](Random &random) {
        const QList<quint32> list = anyIntegers(random);
        const StreamSetting setting = anySetting(random);
        QByteArray packed;
        QDataStream out(&packed, QIODevice::WriteOnly);
        setting.applyTo(out);
        EXPECT_FALSE(MsDataPacker::pack(out, list.constData(), quint32(list.size())).hasError());
        QDataStream in(packed);
        setting.applyTo(in);
        QList<quint32> restored;
        EXPECT_FALSE(MsDataPacker::unpack(&restored, in).hasError());
        EXPECT_TRUE(in.atEnd());
        EXPECT_EQ(restored, list);
    });
}

TEST(MsDataPackerTest, rawFloatsComeBackBitForBit)
{
    forEveryCase([](Random &random) {
        QList<float> list(anyLength(random));
        for (float &value : list)
            value = std::bit_cast<float>(quint32(random()));
        const auto raw = PackParameters::create(list, PackMethod::RawData);
        EXPECT_TRUE(isSameMemory(throughStream(list, raw, anySetting(random)), list));
    });
}

TEST(MsDataPackerTest, zeroAndNegativeComeBackAsExactlyZero)
{
    forEveryCase([](Random &random) {
        QList<float> list = anyIntensities(random);
        for (float &value : list)
            value = random() % 3 == 0 ? -value : value;
        const auto parameters = PackParameters::create(list, PackMethod::Quantizing);
        const QList<float> restored = throughStream(list, parameters, anySetting(random));
        ASSERT_EQ(restored.size(), list.size());
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (list[i] <= 0) {
                EXPECT_EQ(std::bit_cast<quint32>(restored[i]), 0U);
            }
        }
    });
}

TEST(MsDataPackerTest, largestComesBackWithinOneLevel)
{
    forEveryCase([](Random &random) {
        const QList<float> list = anyIntensities(random);
        const auto parameters = PackParameters::create(list, PackMethod::Quantizing);
        if (!(parameters.singleCount() > 0))
            return;
        const QList<float> restored = throughStream(list, parameters, {});
        const auto largest = std::max_element(list.begin(), list.end()) - list.begin();
        const auto intensityOf = [&](double level) {
            const double range =
                double((parameters.rawMax() - parameters.rawOffset()) / parameters.singleCount());
            return range * std::pow(level / 512, 1 / parameters.power())
                       * double(parameters.singleCount())
                   + double(parameters.rawOffset());
        };
        constexpr double floatRounding = 4e-7;
        EXPECT_GE(double(restored[largest]), intensityOf(511) * (1 - floatRounding));
        EXPECT_LE(double(restored[largest]), intensityOf(513) * (1 + floatRounding));
    });
}

TEST(MsDataPackerTest, levelsAreThoseThatWereStored)
{
    forEveryCase([](Random &random) {
        const QList<float> list = anyIntensities(random);
        const auto parameters = PackParameters::create(list, PackMethod::Quantizing);
        QByteArray packed;
        EXPECT_FALSE(MsDataPacker::pack(&packed, list, parameters).hasError());
        const auto raw = MsDataPacker::unpackRaw(packed);
        ASSERT_TRUE(raw.hasValue());
        EXPECT_EQ(raw.value().parameters, parameters);
        QList<quint32> levels;
        EXPECT_FALSE(MsDataPacker::unpack(&levels, packed.mid(37)).hasError());
        EXPECT_EQ(raw.value().intensities, levels);
    });
}

TEST(MsDataPackerTest, listsFollowOneAnother)
{
    const QList<float> floats{1, 70, 3};
    const QList<quint32> integers{7, 0, 9};
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    for (const PackMethod method : {PackMethod::RawData, PackMethod::Quantizing})
        EXPECT_FALSE(
            MsDataPacker::pack(out, floats, PackParameters::create(floats, method)).hasError());
    EXPECT_FALSE(MsDataPacker::pack(out, integers.constData(), 3).hasError());

    QDataStream in(bytes);
    QList<float> restored;
    EXPECT_FALSE(MsDataPacker::unpack(&restored, in).hasError());
    EXPECT_EQ(restored, floats);
    EXPECT_FALSE(MsDataPacker::unpack(&restored, in).hasError());
    EXPECT_EQ(restored.size(), 3);
    QList<quint32> restoredIntegers;
    EXPECT_FALSE(MsDataPacker::unpack(&restoredIntegers, in).hasError());
    EXPECT_EQ(restoredIntegers, integers);
    EXPECT_TRUE(in.atEnd());
}

TEST(MsDataPackerTest, devicesThatCannotTellWhatTheyHold)
{
    QList<float> list(100000);
    for (qsizetype i = 0; i < list.size(); ++i)
        list[i] = float(i % 977) * 3;
    for (const PackMethod method : {PackMethod::RawData, PackMethod::Quantizing}) {
        QByteArray packed;
        EXPECT_FALSE(
            MsDataPacker::pack(&packed, list, PackParameters::create(list, method)).hasError());
        QList<float> expected;
        EXPECT_FALSE(MsDataPacker::unpack(&expected, packed).hasError());
        SequentialDevice device(packed);
        QDataStream stream(&device);
        QList<float> restored;
        EXPECT_FALSE(MsDataPacker::unpack(&restored, stream).hasError());
        EXPECT_TRUE(isSameMemory(restored, expected));
    }
}

TEST(MsDataPackerTest, sharedOutputKeepsItsOtherOwner)
{
    QList<float> output{1, 2, 3};
    const QList<float> other = output;
    EXPECT_FALSE(MsDataPacker::unpack(&output, QByteArray::fromHex("000100ffffffff")).hasError());
    EXPECT_TRUE(output.isEmpty());
    EXPECT_EQ(other, (QList<float>{1, 2, 3}));
}
