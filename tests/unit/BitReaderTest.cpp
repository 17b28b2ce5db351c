#include "internal/BitReader.h"

#include "Hex.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <vector>

using kyv::compressor::internal::BitReader;
using kyv::compressor::internal::loadBits;
using kyv::test::fromHex;

namespace {

BitReader readerOf(const QByteArray &bytes, quint64 position)
{
    return BitReader(reinterpret_cast<const uchar *>(bytes.constData()), quint64(bytes.size()),
                     position);
}

/// Bit by bit, with zeros behind the end.
quint64 slowField(const std::vector<uchar> &bytes, quint64 position, int width)
{
    quint64 field = 0;
    for (int i = 0; i < width; ++i) {
        const quint64 bit = position + quint64(i);
        if (bit / 8 < bytes.size())
            field |= quint64(bytes[bit / 8] >> (bit % 8) & 1) << i;
    }
    return field;
}

} // namespace

TEST(BitReaderTest, fieldsStartWithTheirLowestBit)
{
    const QByteArray bytes = fromHex("b4 0f"); // 10110100 00001111, the lowest bit at the right
    BitReader reader = readerOf(bytes, 0);
    EXPECT_EQ(reader.read(3), 4u);
    EXPECT_EQ(reader.read(3), 6u);
    EXPECT_EQ(reader.read(6), 62u); // 10 of the first byte, 1111 of the second above them
    EXPECT_EQ(reader.read(0), 0u);
    EXPECT_EQ(reader.position(), 12u);
}

TEST(BitReaderTest, widestFieldStraddlesNineBytes)
{
    const QByteArray bytes = fromHex("80 00 00 00 00 00 00 00 7f");
    EXPECT_EQ(readerOf(bytes, 7).read(64), 0xFE00000000000001u);
}

TEST(BitReaderTest, bitsPastTheEndAreZeroAndRemembered)
{
    const QByteArray bytes = fromHex("ff ff");
    BitReader reader = readerOf(bytes, 12);
    EXPECT_EQ(reader.read(4), 15u);
    EXPECT_FALSE(reader.overrun());
    EXPECT_EQ(reader.read(0), 0u);
    EXPECT_FALSE(reader.overrun());
    EXPECT_EQ(readerOf(bytes, 12).read(64), 15u);
    EXPECT_EQ(reader.read(1), 0u);
    EXPECT_TRUE(reader.overrun());
    EXPECT_EQ(reader.read(64), 0u);
}

TEST(BitReaderTest, skippingMovesAsReadingDoes)
{
    const QByteArray bytes = fromHex("ff");
    BitReader reader = readerOf(bytes, 0);
    reader.skip(8);
    EXPECT_FALSE(reader.overrun());
    reader.skip(1);
    EXPECT_TRUE(reader.overrun());
}

RC_GTEST_PROP(BitReaderTest, readsWhatBitByBitReadingDoes, (const std::vector<uchar> &bytes))
{
    const quint64 position = *rc::gen::inRange<quint64>(0, 8 * bytes.size() + 80);
    const int width = *rc::gen::inRange(0, 65);
    BitReader reader(bytes.data(), bytes.size(), position);
    RC_ASSERT(reader.read(width) == slowField(bytes, position, width));
    RC_ASSERT(reader.overrun() == (position + quint64(width) > 8 * bytes.size()));
    if (position / 8 + 8 <= bytes.size()) {
        const quint64 mask = (quint64(1) << 57) - 1;
        RC_ASSERT((loadBits(bytes.data(), position) & mask) == slowField(bytes, position, 57));
    }
}
