// docs/formats/points-bit-compressed.md, section 10: one row for each thing that a reader of the
// bit-compressed payload decides about input that no writer makes.

#include "BitFields.h"
#include "Hex.h"
#include "PointsCodecs.h"

#include <gtest/gtest.h>

using namespace kyv::test;

namespace {

struct Row
{
    const char *name;
    QByteArray payload;
    std::string decoded; ///< As decodedText() gives it.
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

class PointsMalformed : public testing::TestWithParam<Row>
{};

using Fields = QList<BitField>;

/// A header, and what stands behind it.
QByteArray withHeader(quint64 count, quint64 yOffset, const Fields &behind)
{
    return bitString(Fields{{count, 32}, {yOffset, 32}} + behind);
}

/// Payload of points with these \a orders. The x stream begins with P = 1, prefix 0 and T = 0.
QByteArray withPlainX(const char *orders, const Fields &residuals, const Fields &yStream)
{
    return payloadFromFields(orders, Fields{{1, 6}, {0, 1}, {0, 6}} + residuals, yStream);
}

/// Points with these x patterns and the same y.
std::string points(std::initializer_list<quint64> patterns, double y = 0.0)
{
    QList<QPointF> list = pointsFromPatterns(patterns);
    for (QPointF &point : list)
        point.setY(y);
    return exactText(list);
}

Fields zeroRun(quint64 length)
{
    return {{0, 1}, {length - 1, 3}};
}

/// An inline residual of 1 bit.
Fields bit(quint64 value)
{
    return {{1, 6}, {value, 1}};
}

/// The opening of a float block of two.
const Fields blockOf2{{1, 1}, {1, 4}};

constexpr quint64 one = 0x3f800000;

const Row rows[] = {
    // The header.
    {"aHeaderOfOneByte", bitString({{0, 8}}), inconsistentText},
    {"aHeaderOfSevenBytes", bitString({{1, 32}, {9, 24}}), inconsistentText},
    {"noPointsInAPayload", withHeader(0, 8, {}), inconsistentText},
    {"noPointsInAPayloadWithStreams", withHeader(0, 8, {{0, 64}}), inconsistentText},
    {"noOrderCodes", withHeader(1, 8, {}), inconsistentText},
    {"orderCodesCutShort", withHeader(5, 9, {{0, 8}}), inconsistentText},
    {"aCountThatFitsNothing", withHeader(0xffffffff, 9, {{0, 64}, {0, 64}}), inconsistentText},
    {"aYOffsetInTheHeader", withHeader(1, 0, {{0, 8}, {0, 64}}), inconsistentText},
    {"aYOffsetInTheOrderCodes", withHeader(1, 8, {{0, 8}, {0, 64}}), inconsistentText},
    {"aYOffsetAtTheEnd", withHeader(1, 17, {{0, 8}, {0, 64}}), inconsistentText},
    {"aYOffsetBehindTheEnd", withHeader(1, 18, {{0, 8}, {0, 64}}), inconsistentText},
    {"aYOffsetFarBehindTheEnd", withHeader(1, 0xffffffff, {{0, 8}, {0, 64}}), inconsistentText},
    // x: P = 1, T = 0, w = 1, residual 1. y, the same bits: a block of one float with bits 8
    // and 14.
    {"bothStreamsMayShareBytes",
     withHeader(1, 9, Fields{{0, 8}, {1, 6}, {0, 1}, {0, 6}} + bit(1) + Fields{{0, 20}}),
     points({1}, 0x4100 * 0x1p-149)},
    {"aYStreamBehindAGap",
     withHeader(1, 13,
                Fields{{0, 8}, {1, 6}, {0, 1}, {0, 6}} + bit(1) + Fields{{0xfff, 12}} + zeroRun(1)),
     points({1})},
    {"bytesBehindTheLastItem", withPlainX("0", bit(1), zeroRun(1) + Fields{{15, 4}, {99, 64}}),
     points({1})},
    {"unusedOrderCodesThatAreNot0",
     withHeader(1, 12,
                Fields{{0x3f, 8}, {1, 6}, {0, 1}, {0, 6}} + bit(1) + Fields{{0, 4}} + zeroRun(1)),
     points({1})},

    // Orders and groups.
    {"order0WhileAGroupIsLeft", withPlainX("20", {{1, 4}, {1, 6}, {3, 2}}, zeroRun(2)),
     inconsistentText},
    {"order1WhileAGroupIsLeft", withPlainX("21", {{1, 4}, {1, 6}, {3, 2}}, zeroRun(2)),
     inconsistentText},
    {"noOtherOrderThanTheGroups", withPlainX("22", {{1, 4}, {1, 6}, {3, 2}}, zeroRun(2)),
     points({1, 3})},
    {"theFirstPointOfOrder1", withPlainX("1", {{3, 6}, {5, 3}}, zeroRun(1)), points({5})},
    {"theFirstPointOfOrder3", withPlainX("3", {{0, 4}, {3, 6}, {5, 3}}, zeroRun(1)), points({5})},
    {"aGroupLargerThanNeeded", withPlainX("2", {{15, 4}, {1, 6}, {1, 16}}, zeroRun(1)),
     points({1})},
    // w = 8; the payload ends in the second member.
    {"aGroupLargerThanNeededAndNotAllThere", withPlainX("2", {{15, 4}, {8, 6}, {1, 8}}, zeroRun(1)),
     inconsistentText},
    {"aGroupOfWidth0", withPlainX("22", {{15, 4}, {0, 6}}, zeroRun(2)), points({0, 0})},
    {"anInlineWidthOf0", withPlainX("0", {{0, 6}}, zeroRun(1)), points({0})},
    {"anInlineWidthOf63", withPlainX("0", {{63, 6}, {quint64(1) << 62, 63}}, zeroRun(1)),
     points({quint64(1) << 62})},
    {"aWidthLargerThanNeeded", withPlainX("0", {{40, 6}, {1, 40}}, zeroRun(1)), points({1})},

    // x past the payload's last bit.
    {"aPrefixPastTheEnd", withHeader(1, 9, {{0, 8}, {0x3e, 6}, {0, 2}}), inconsistentText},
    // w is 000 in the x stream and 010 in the y stream, a run of two: 16 bits, of which 5 are
    // there.
    {"xPastTheEnd", withPlainX("0", {{0, 3}}, zeroRun(2)), inconsistentText},
    // P = T = 0; w = 15 of which the last two bits open the y stream; 5, and zeros past the end.
    {"xPastTheEndWithPOf0", withHeader(1, 11, {{0, 8}, {0, 6}, {0, 6}, {15, 6}, {5, 6}}),
     points({5})},
    // P = 0, T = 60 and four of its bits: the rest and both widths lie past the end. The two y,
    // which begin with the same bits, are zero runs of 1.
    {"lowBitsPastTheEndWithPOf0", withHeader(2, 9, {{0, 8}, {0, 6}, {60, 6}, {0xa, 4}}),
     points({0xa, 0xa})},
    // P = 0 and the first two bits of T = 2; the rest of T lies past the end as well.
    {"trailingCountPastTheEndWithPOf0", withHeader(5, 10, {{0x3129, 16}, {0, 6}, {2, 2}}),
     points({0, 0, 0, 0, 0})},
    // P = 63, T = 0, a one and 63 zeros. The first point takes 7 of the 64 bits and 10 points 6 of
    // the zeros that follow each. The last one reads w = 0 0 | 0 111 = 56 and its residual 6 out of
    // the y stream, 0 111 0 110, and 52 zeros past the end.
    {"xPastTheEndOfEqualX",
     payloadFromFields("000000000000", {{63, 6}, {1, 63}, {0, 6}, {1, 64}},
                       zeroRun(8) + zeroRun(4)),
     points({2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 8})},
    // The same, but one of the 63 bits is set.
    {"xPastTheEndOfOtherX",
     payloadFromFields("000000000000", {{63, 6}, {1, 63}, {0, 6}, {1, 63}, {1, 1}},
                       zeroRun(8) + zeroRun(4)),
     inconsistentText},
    // The same, but the payload ends within the 63 zeros.
    {"xPastTheEndOfEqualXCutShort",
     withHeader(12, 20, {{0, 24}, {63, 6}, {1, 63}, {0, 6}, {1, 1}, {0, 52}}), inconsistentText},

    // y.
    {"yPastTheEnd", withPlainX("0", bit(1), {}), inconsistentText},
    {"yPastTheEndWithPOf0",
     payloadFromFields("00", {{0, 12}, {0, 6}, {0, 6}}, zeroRun(1) + Fields{{1, 1}}),
     inconsistentText},
    {"aFloatCutShort", withPlainX("0", bit(1), {{1, 1}, {0, 4}, {one, 27}}), inconsistentText},
    {"aZeroRunLongerThanNeeded", withPlainX("0", bit(1), zeroRun(8)), points({1})},
    {"aFloatBlockLargerThanNeeded",
     withPlainX("0", bit(1), blockOf2 + Fields{{0, 3}, {0, 1}, {one, 32}, {0, 32}}),
     points({1}, 1.0)},
    {"aFloatBlockLargerThanNeededAndNotAllThere",
     withPlainX("0", bit(1), blockOf2 + Fields{{0, 3}, {0, 1}, {one, 32}, {0, 23}}),
     inconsistentText},
    {"leadingAndTrailingBitsAbove32",
     withPlainX("01", bit(0) + bit(1),
                blockOf2 + Fields{{7, 3}, {0, 7}, {1, 1}, {26, 5}, {0, 26}, {0, 64}}),
     inconsistentText},
    {"leadingAndTrailingBitsOf32",
     withPlainX("01", bit(0) + bit(1),
                blockOf2 + Fields{{7, 3}, {0x1f, 7}, {1, 1}, {25, 5}, {0x1800000, 25}}),
     points({0, 1}, 1.0)},
    {"moreTrailingBitsThanWritersStore",
     withPlainX("01", bit(0) + bit(1),
                blockOf2 + Fields{{0, 3}, {1, 1}, {23, 5}, {0, 23}, {0x7f, 9}, {0x7f, 9}}),
     points({0, 1}, 1.0)},
    {"aFlagWithoutTrailingBits",
     withPlainX("01", bit(0) + bit(1),
                blockOf2 + Fields{{0, 3}, {1, 1}, {0, 5}, {one, 32}, {one, 32}}),
     points({0, 1}, 1.0)},
};

} // namespace

TEST_P(PointsMalformed, isDecidedAsTheFormatSays)
{
    const Row &row = GetParam();
    EXPECT_EQ(decodedText(row.payload), row.decoded) << toHex(row.payload);
    EXPECT_EQ(referenceText(row.payload), row.decoded) << toHex(row.payload);
}

INSTANTIATE_TEST_SUITE_P(PointsMalformedTest, PointsMalformed, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.name); });
