#include "internal/BitWriter.h"

#include "Hex.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <array>
#include <vector>

using kyv::compressor::internal::BitWriter;
using kyv::test::toHex;

namespace {

/// A buffer of ones, so that bits which are not written show.
struct Buffer
{
    std::array<uchar, 64> bytes;

    Buffer() { bytes.fill(0xFF); }
    std::string hex(qsizetype begin, qsizetype size) const
    {
        return toHex(QByteArray(reinterpret_cast<const char *>(bytes.data()) + begin, size));
    }
};

} // namespace

TEST(BitWriterTest, fieldsStartWithTheirLowestBit)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 0);
    writer.write(4, 3);
    writer.write(6, 3);
    writer.write(62, 6);
    writer.write(0, 0);
    EXPECT_EQ(writer.position(), 12u);
    writer.alignToByte();
    EXPECT_EQ(writer.position(), 16u);
    EXPECT_EQ(buffer.hex(0, 2), "b4 0f");
}

TEST(BitWriterTest, widestFieldStraddlesTwoWords)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 7);
    writer.write(0xFE00000000000001, 64);
    writer.alignToByte();
    EXPECT_EQ(writer.position(), 72u);
    EXPECT_EQ(buffer.hex(0, 9), "80 00 00 00 00 00 00 00 7f");
}

TEST(BitWriterTest, bytesBelowTheStartBecomeZero)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 64 + 24);
    writer.write(0xA5, 8);
    writer.alignToByte();
    EXPECT_EQ(buffer.hex(7, 5), "ff 00 00 00 a5");
}

TEST(BitWriterTest, excessBitIsAddedToTheNextField)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 0);
    writer.addUnmasked(64, 6); // six zeros, and one more at bit 6
    writer.write(3, 4);        // 11 + 1 = 100
    writer.write(0, 6);
    EXPECT_EQ(buffer.hex(0, 2), "00 01");
}

TEST(BitWriterTest, excessBitCarriesToTheEndOfItsWord)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 50);
    writer.addUnmasked(64, 6);
    writer.write(0xFFFF, 16); // eight ones in this word, which the carry clears, eight in the next
    writer.alignToByte();
    EXPECT_EQ(buffer.hex(0, 10), "00 00 00 00 00 00 00 00 ff 00");
}

TEST(BitWriterTest, excessBitStraddlesWithItsField)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 60);
    writer.addUnmasked(64, 6); // four bits here, two in the next word, then the excess
    writer.write(0, 6);
    writer.alignToByte();
    EXPECT_EQ(buffer.hex(0, 9), "00 00 00 00 00 00 00 00 04");
}

TEST(BitWriterTest, excessBitIsLostAtTheEndOfAWord)
{
    Buffer buffer;
    BitWriter writer(buffer.bytes.data(), 58);
    writer.addUnmasked(64, 6);
    writer.write(2, 8);
    writer.alignToByte();
    EXPECT_EQ(buffer.hex(0, 9), "00 00 00 00 00 00 00 00 02");
}

RC_GTEST_PROP(BitWriterTest, writesWhatBitByBitWritingDoes, (const std::vector<quint64> &values))
{
    const quint64 begin = *rc::gen::inRange<quint64>(0, 200);
    std::vector<uchar> bytes(begin / 8 + 16 + 8 * values.size(), 0xFF);
    std::vector<bool> bits(begin / 64 * 64, true);
    bits.resize(begin, false);
    BitWriter writer(bytes.data(), begin);
    for (const quint64 value : values) {
        const unsigned width = *rc::gen::inRange(0u, 65u);
        const quint64 field = width == 64 ? value : value & ((quint64(1) << width) - 1);
        writer.write(field, width);
        for (unsigned i = 0; i < width; ++i)
            bits.push_back((field >> i & 1) != 0);
    }
    RC_ASSERT(writer.position() == bits.size());
    writer.alignToByte();
    for (size_t i = 0; i < bits.size(); ++i)
        RC_ASSERT((bytes[i / 8] >> (i % 8) & 1) == (bits[i] ? 1 : 0));
}
