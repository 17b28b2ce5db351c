#include "MzmlText.h"

#include "mzml/BinaryArray.h"

#include <gtest/gtest.h>

using namespace kyv::runs;
using namespace kyv::test;

namespace {

constexpr ArrayFormat plainDoubles{NumberType::Float64, ArrayCompression::None};
constexpr ArrayFormat packedDoubles{NumberType::Float64, ArrayCompression::Zlib};
constexpr qint64 plenty = 1 << 20;

} // namespace

TEST(BinaryArrayTest, readsBytesWorkedOutByHand)
{
    BinaryArrayDecoder decoder;
    std::vector<double> values;
    // 1.0 and -2.0: 00 00 00 00 00 00 f0 3f, 00 00 00 00 00 00 00 c0
    EXPECT_EQ(decoder.decode("AAAAAAAA8D8AAAAAAAAAwA==", plainDoubles, 2, plenty, &values).kind,
              ArrayOutcome::Kind::Decoded);
    EXPECT_EQ(values, (std::vector<double>{1, -2}));
    // 1.0f: 00 00 80 3f
    decoder.decode("AACAPw==", {NumberType::Float32, ArrayCompression::None}, 1, plenty, &values);
    EXPECT_EQ(values, std::vector<double>{1});
    // -2 in four and in eight bytes
    decoder.decode("/v///w==", {NumberType::Int32, ArrayCompression::None}, 1, plenty, &values);
    EXPECT_EQ(values, std::vector<double>{-2});
    decoder.decode("/v////////8=", {NumberType::Int64, ArrayCompression::None}, 1, plenty, &values);
    EXPECT_EQ(values, std::vector<double>{-2});
}

TEST(BinaryArrayTest, unpacksNothingLargerThanAllowed)
{
    BinaryArrayDecoder decoder;
    std::vector<double> values;
    const QByteArray text = zlibOf(QByteArray(800, '\0')).toBase64();
    EXPECT_EQ(decoder.decode(text, packedDoubles, 100, 800, &values).kind,
              ArrayOutcome::Kind::Decoded);
    EXPECT_EQ(values, std::vector<double>(100, 0.0));
    EXPECT_EQ(decoder.decode(text, packedDoubles, 100, 799, &values).kind,
              ArrayOutcome::Kind::Damaged);
    EXPECT_TRUE(values.empty());
}

TEST(BinaryArrayTest, anArrayAfterADamagedOneIsRead)
{
    BinaryArrayDecoder decoder;
    std::vector<double> values;
    EXPECT_EQ(decoder.decode("AAAA", packedDoubles, 1, plenty, &values).kind,
              ArrayOutcome::Kind::Damaged);
    EXPECT_EQ(decoder.decode("AAAAAAAA8D8=", plainDoubles, 1, plenty, &values).kind,
              ArrayOutcome::Kind::Decoded);
    EXPECT_EQ(values, std::vector<double>{1});
}
