#include "internal/IntensityQuantizer.h"

#include "internal/IntensityKernels.h"
#include "internal/LevelMemo.h"
#include "internal/SingleCount.h"

#include "PackerSupport.h"
#include "ReferenceIntensities.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

using namespace kyv::compressor;
using namespace kyv::compressor::internal;
using kyv::test::ParameterFields;
namespace reference = kyv::reference;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

quint32 bitsOf(float value)
{
    return std::isnan(value) ? 0x7FC00000U : std::bit_cast<quint32>(value);
}

reference::Parameters asReference(const PackParameters &p)
{
    return {int(p.method()), p.bits(),      p.bitOffset(), p.power(),
            p.singleCount(), p.rawOffset(), p.rawMax()};
}

/// Holds every set of loops and the reference equal on \a data, and on the levels that it gives.
void expectSameEverywhere(const std::vector<float> &data, const PackParameters &parameters)
{
    const IntensityQuantizer quantizer(parameters);
    std::vector<quint32> expected;
    for (const float intensity : data)
        expected.push_back(reference::levelOf(intensity, asReference(parameters)));
    std::vector<quint32> restoredBits;
    for (const quint32 level : expected)
        restoredBits.push_back(bitsOf(reference::intensityOf(level, asReference(parameters))));

    for (const IntensityKernels *kernels : availableIntensityKernels()) {
        SCOPED_TRACE(kernels->name);
        std::vector<quint32> levels(data.size(), 0xAAAAAAAA);
        kernels->quantize(quantizer, data.data(), data.size(), levels.data());
        EXPECT_EQ(levels, expected);

        std::vector<float> restored(data.size(), -1.0F);
        kernels->dequantize(quantizer, expected.data(), data.size(), restored.data());
        std::vector<quint32> bits;
        for (const float intensity : restored)
            bits.push_back(bitsOf(intensity));
        EXPECT_EQ(bits, restoredBits);

        LevelMemo memo(quantizer, *kernels);
        for (std::size_t i = 0; i < data.size(); i += 700) {
            const std::size_t n = std::min<std::size_t>(700, data.size() - i);
            memo.restore(expected.data() + i, n, restored.data() + i);
        }
        bits.clear();
        for (const float intensity : restored)
            bits.push_back(bitsOf(intensity));
        EXPECT_EQ(bits, restoredBits);
    }
}

rc::Gen<float> anyFloat()
{
    return rc::gen::map(rc::gen::arbitrary<quint32>(),
                        [](quint32 bits) { return std::bit_cast<float>(bits); });
}

/// Intensities as instruments give them: counts, ramps over many decades, zeros between.
rc::Gen<std::vector<float>> intensities()
{
    const auto decades = rc::gen::map(rc::gen::inRange(-300, 900), [](int hundredths) {
        return float(std::pow(10.0, double(hundredths) / 100.0));
    });
    const auto counts = rc::gen::map(rc::gen::inRange(0, 5000), [](int n) { return float(n); });
    return rc::gen::container<std::vector<float>>(
        rc::gen::oneOf(decades, counts, rc::gen::just(0.0F)));
}

} // namespace

TEST(IntensityQuantizerTest, truncationIsThatOfX86)
{
    constexpr qint32 outside = -0x7FFFFFFF - 1;
    EXPECT_EQ(truncateToInt32(0.0), 0);
    EXPECT_EQ(truncateToInt32(-0.5), 0);
    EXPECT_EQ(truncateToInt32(1.9999999999999998), 1);
    EXPECT_EQ(truncateToInt32(-1.5), -1);
    EXPECT_EQ(truncateToInt32(2147483647.5), 2147483647);
    EXPECT_EQ(truncateToInt32(2147483648.0), outside);
    EXPECT_EQ(truncateToInt32(-2147483648.5), outside);
    EXPECT_EQ(truncateToInt32(-2147483649.0), outside);
    EXPECT_EQ(truncateToInt32(-2147483647.5), -2147483647);
    EXPECT_EQ(truncateToInt32(1e300), outside);
    EXPECT_EQ(truncateToInt32(double(infinity)), outside);
    EXPECT_EQ(truncateToInt32(double(notANumber)), outside);
}

// The compiler may compute such constants itself; they must be those of the C library.
TEST(IntensityQuantizerTest, foldedLogarithmIsThatOfTheLibrary)
{
    volatile double highest = 1023.0;
    EXPECT_EQ(std::bit_cast<quint64>(std::log(1023.0)), std::bit_cast<quint64>(std::log(highest)));
}

// Format: Quantizing, "rounding". 0.49999999999999994 + 0.5 is 1 in double precision, so this
// value rounds up, where lround() would give 0.
TEST(IntensityQuantizerTest, roundingIsNotLround)
{
    ParameterFields fields{.power = 1.0, .singleCount = 512, .rawMax = 512};
    const IntensityQuantizer halves(fields.parameters());
    EXPECT_EQ(halves.level(0.5F), 1U);
    EXPECT_EQ(halves.level(0.49999997F), 0U);
    EXPECT_EQ(halves.level(2.5F), 3U);
    EXPECT_EQ(halves.level(511.5F), 512U);
}

TEST(IntensityQuantizerTest, levelsAreNotClamped)
{
    const IntensityQuantizer quantizer(ParameterFields{.power = 1.0, .rawMax = 512}.parameters());
    EXPECT_EQ(quantizer.level(512), 512U);
    EXPECT_EQ(quantizer.level(5000), 5000U);
    EXPECT_EQ(quantizer.level(2147483520.0F), 2147483520U);
    EXPECT_EQ(quantizer.level(2147483648.0F), 0x80000000U);
    EXPECT_EQ(quantizer.level(infinity), 0x80000000U);
}

TEST(IntensityQuantizerTest, nothingPositiveIsLevelZeroAndExactlyZero)
{
    const IntensityQuantizer quantizer(ParameterFields{.rawOffset = -50}.parameters());
    for (const float intensity : {0.0F, -0.0F, -1.0F, -infinity, notANumber})
        EXPECT_EQ(quantizer.level(intensity), 0U);
    EXPECT_EQ(bitsOf(quantizer.intensity(0)), 0U);
}

// A damaged level costs one intensity, not the list.
TEST(IntensityQuantizerTest, levelsOutsideTheScale)
{
    const PackParameters parameters = ParameterFields{.power = 0.3}.parameters();
    const IntensityQuantizer quantizer(parameters);
    for (const quint32 level : {513U, 100000U, 0x7FFFFFFFU}) {
        EXPECT_EQ(bitsOf(quantizer.intensity(level)),
                  bitsOf(reference::intensityOf(level, asReference(parameters))));
        EXPECT_GT(quantizer.intensity(level), 100.0F);
    }
    EXPECT_TRUE(std::isnan(quantizer.intensity(0x80000000)));
    EXPECT_TRUE(std::isnan(quantizer.intensity(0xFFFFFFFF)));
}

TEST(IntensityQuantizerTest, offsetIsSubtractedAsUnsigned)
{
    const ParameterFields fields{.bitOffset = 4, .power = 1.0, .rawMax = 8200};
    const PackParameters parameters = fields.parameters();
    ASSERT_EQ(parameters.compressedOffset(), 8);
    const IntensityQuantizer quantizer(parameters);
    EXPECT_EQ(quantizer.level(8200), 8192U);
    EXPECT_EQ(quantizer.level(8), 0U);
    EXPECT_EQ(quantizer.level(3), quint32(-5));
    EXPECT_EQ(quantizer.intensity(quint32(-5)), 3.0F);
}

TEST(IntensityQuantizerTest, everySetOfLoopsOnOddParameters)
{
    std::vector<float> data;
    for (int exponent = -149; exponent < 128; ++exponent) {
        data.push_back(std::ldexp(1.0F, exponent));
        data.push_back(std::ldexp(1.7320508F, exponent));
    }
    for (const float special : {0.0F, -0.0F, -3.0F, notANumber, infinity, -infinity, 0.5F, 100.0F})
        data.push_back(special);
    for (const double power : {0.0, -0.0, 0.5, 0.8, 1.0, 24.0, 70.0, -2.0, 1e-30, 1e300,
                               double(notANumber), double(infinity)}) {
        for (const float singleCount : {1.0F, 0.0F, -4.0F, 1e-40F, 3e38F, infinity, notANumber}) {
            for (const float rawOffset : {0.0F, -0.25F, 8.0F, -1e30F, infinity, notANumber}) {
                ParameterFields fields{.power = power,
                                       .singleCount = singleCount,
                                       .rawOffset = rawOffset,
                                       .rawMax = 12345};
                expectSameEverywhere(data, fields.parameters());
                if (HasFailure())
                    FAIL() << power << ' ' << singleCount << ' ' << rawOffset;
            }
        }
    }
}

TEST(IntensityQuantizerTest, everySetOfLoopsOnWideScales)
{
    std::vector<float> data;
    for (int i = 0; i < 3000; ++i)
        data.push_back(float(std::pow(1.006, double(i))));
    for (const unsigned bits : {1U, 8U, 13U, 14U, 16U, 24U, 31U, 32U}) {
        for (const unsigned bitOffset : {0U, 1U, 5U}) {
            ParameterFields fields{.bits = quint8(bits), .bitOffset = quint8(bitOffset)};
            fields.rawMax = data.back();
            expectSameEverywhere(data, fields.parameters());
        }
    }
}

// Every intensity lies on the boundary between two levels, or beside it.
TEST(IntensityQuantizerTest, everySetOfLoopsBesideTheBoundaries)
{
    for (const double power : {0.5, 1.0, 0.33, 0.8, 0.62}) {
        ParameterFields fields{.power = power, .singleCount = 1, .rawMax = 1e6F};
        const IntensityQuantizer quantizer(fields.parameters());
        std::vector<float> data;
        for (int level = 0; level < 512; ++level) {
            const double counts = std::pow((double(level) + 0.5) / quantizer.scale(), 1.0 / power);
            const auto middle = float(counts);
            data.insert(data.end(),
                        {std::nextafter(middle, 0.0F), middle, std::nextafter(middle, infinity)});
        }
        expectSameEverywhere(data, fields.parameters());
    }
}

RC_GTEST_PROP(IntensityQuantizerTest, everySetOfLoopsOnAnyFloats,
              (const std::vector<quint32> &words))
{
    std::vector<float> data;
    for (const quint32 word : words)
        data.push_back(std::bit_cast<float>(word));
    expectSameEverywhere(data,
                         PackParameters::create(data.data(), data.size(), PackMethod::Quantizing));
    const ParameterFields fields{.bits = quint8(*rc::gen::inRange(0, 40)),
                                 .bitOffset = quint8(*rc::gen::inRange(0, 40)),
                                 .power = double(*anyFloat()),
                                 .singleCount = *anyFloat(),
                                 .rawOffset = *anyFloat(),
                                 .rawMax = *anyFloat()};
    expectSameEverywhere(data, fields.parameters());
    RC_ASSERT_FALSE(::testing::Test::HasFailure());
}

RC_GTEST_PROP(IntensityQuantizerTest, everySetOfLoopsOnIntensities, ())
{
    const std::vector<float> data = *intensities();
    expectSameEverywhere(data,
                         PackParameters::create(data.data(), data.size(), PackMethod::Quantizing));
    RC_ASSERT_FALSE(::testing::Test::HasFailure());
}

// The memo never takes memory for what the parameters announce: a valid empty list has a scale
// of 2^31 levels.
TEST(IntensityQuantizerTest, memoIsBoundedByTheLevelsThatOccur)
{
    const IntensityQuantizer quantizer(ParameterFields{.bits = 32}.parameters());
    ASSERT_EQ(quantizer.maxLevel(), 0x80000000U);
    for (const IntensityKernels *kernels : availableIntensityKernels()) {
        LevelMemo memo(quantizer, *kernels);
        std::vector<quint32> levels{1, 0x7FFFFFFF, 0xFFFFFFFF, 8191, 8192, 0};
        levels.resize(20000, 1);
        std::vector<float> restored(levels.size());
        memo.restore(levels.data(), levels.size(), restored.data());
        for (std::size_t i = 0; i < levels.size(); ++i)
            ASSERT_EQ(bitsOf(restored[i]), bitsOf(quantizer.intensity(levels[i]))) << kernels->name;
    }
}
