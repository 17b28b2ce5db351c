// docs/formats/points-bit-compressed.md, byte for byte: its worked examples, and for every rule a
// payload written down field by field. Each row asks the library's codec and the reference.

#include "BitFields.h"
#include "Hex.h"
#include "PointsCodecs.h"

#include <gtest/gtest.h>

#include <limits>

using namespace kyv::test;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Sentinel for a list that doesn't come back at all.
const QList<QPointF> nothing{{-1.25, -1.25}};

void expectPayload(const QList<QPointF> &points, const QByteArray &payload,
                   const QList<QPointF> &comesBack)
{
    EXPECT_EQ(toHex(encoded(points)), toHex(payload));
    EXPECT_EQ(toHex(reference::encodeBitCompressed(points)), toHex(payload));
    const std::string text = comesBack == nothing ? inconsistentText : exactText(comesBack);
    EXPECT_EQ(decodedText(payload), text);
    EXPECT_EQ(referenceText(payload), text);
}

} // namespace

// Section 11: worked examples.

namespace {

struct Example
{
    const char *name;
    QList<QPointF> points;
    const char *payload;
    QList<QPointF> comesBack;
};

void PrintTo(const Example &example, std::ostream *out)
{
    *out << example.name;
}

class PointsBitCompressedExample : public testing::TestWithParam<Example>
{};

QList<QPointF> equalPoints(qsizetype count, double x, double y)
{
    return QList<QPointF>(count, QPointF(x, y));
}

const Example examples[] = {
    {"aGeneralList",
     {{100, 1}, {100.5, 0}, {101, 0}, {101.5, 2}},
     "04000000 17000000 19 912ca0160000000000048210 0802 0100 00f0 4702 0000 0010",
     {{100, 1}, {100.5, 0}, {101, 0}, {101.5, 2}}},
    {"aGroupOfFourAndSixZeros",
     {{1000, 0}, {1001, 0}, {1003, 0}, {1006, 0}, {1010, 0}, {1015, 0}},
     "06000000 17000000 1bf0 d023d00a000000000002831304 0a",
     {{1000, 0}, {1001, 0}, {1003, 0}, {1006, 0}, {1010, 0}, {1015, 0}}},
    {"aFloatBlockWithSharedBits",
     {{1, 1}, {1.5, 2}, {2, 3}},
     "03000000 16000000 18 81190000000000008bff831000 25420000c01f00100808",
     {{1, 1}, {1.5, 2}, {2, 3}}},
    {"aFloatThatBecomesZero",
     {{1, -0.0}, {2, 1e-60}, {3, -1e-60}},
     "03000000 15000000 14 81190000000000008bff0583 301002000000000002",
     {{1, 0.0}, {2, 0.0}, {3, -0.0}}},
    {"onePoint",
     {{0.3, 1}},
     "01000000 1c000000 00 7f666666666666fa0708000000000000000802 010000f007",
     {{0.29999999999999993, 1}}},
    {"equalX", equalPoints(11, 1, 0),
     "0b000000 26000000 111110 3f000000000000fe0708000000000000000804028140201008 0402 4e",
     equalPoints(10, 1, 0) + equalPoints(1, 1.0000000000000036, 0)},
    {"unlikeSigns",
     {{-1, 1}, {2, 1}},
     "02000000 14000000 00 000d000000000000cbff03 e39f1000003060",
     {{inf, 1}, {0, 1}}},
    {"unlikeSignsAndWidth64WithItsCarry",
     {{1, 0}, {-1, 0}},
     "02000000 1c000000 00 c00f000000000000ff030000000000ffffff03 02",
     {{1, 0}, {1, 0}}},
    {"unlikeSignsAndWidth64AtAWordsEnd",
     {{1.00006103515625, 0}, {-1, 0}},
     "02000000 1c000000 10 80090000000000010000feffffffffd9ffff7f 02",
     {{0, 0}, {0, 0}}},
    {"unlikeSignsAndAContradiction",
     {{1, 0}, {2, 0}, {-1, 0}, {3, 0}},
     "04000000 1f000000 18 c00c000000000000c0ffffffffffffff5f1018fe0f00 06",
     nothing},
};

} // namespace

TEST_P(PointsBitCompressedExample, isWrittenAndRead)
{
    const Example &example = GetParam();
    expectPayload(example.points, fromHex(example.payload), example.comesBack);
}

INSTANTIATE_TEST_SUITE_P(PointsBitCompressedTest, PointsBitCompressedExample,
                         testing::ValuesIn(examples),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(PointsBitCompressedTest, emptyListIsTheEmptyPayload)
{
    expectPayload({}, {}, {});
}

// Sections 2 to 4 and 6: x, for lists whose y are all zero. The patterns are small integers, so
// that every field can be worked out on paper.

namespace {

struct XRow
{
    const char *name;
    QList<quint64> patterns;
    const char *orders;      ///< One digit a point.
    QList<BitField> xStream; ///< The y stream of up to eight zeros follows from the count.
};

void PrintTo(const XRow &row, std::ostream *out)
{
    *out << row.name;
}

class PointsBitCompressedX : public testing::TestWithParam<XRow>
{};

const XRow xRows[] = {
    // d = 65535 shifted right by 16 is 0, below D1 = 1.
    {"stepJustSmallEnoughIsOrder1",
     {1, 65536, 0},
     "010",
     {{47, 6}, {0, 47}, {0, 6}, {1, 6}, {1, 1}, {16, 6}, {65535, 16}, {1, 6}, {0, 1}}},
    // d = 65536 shifted right by 16 is 1, not below D1 = 1; then d is negative.
    {"stepTooLargeAndStepBackAreOrder0",
     {1, 65537, 0},
     "000",
     {{47, 6}, {0, 47}, {0, 6}, {1, 6}, {1, 1}, {17, 6}, {65537, 17}, {1, 6}, {0, 1}}},
    // A step of 0 fits; D1 = 0 then, and nothing fits 0. Base is 4.
    {"afterAStepOf0NothingFits",
     {5, 5, 6},
     "010",
     {{62, 6}, {1, 62}, {0, 6}, {1, 6}, {1, 1}, {1, 6}, {0, 1}, {2, 6}, {2, 2}}},
    // e = 7 - 4 = 3. Base is 16.
    {"secondDifferenceIsOrder2",
     {16, 20, 27},
     "012",
     {{60, 6}, {1, 60}, {0, 6}, {1, 6}, {0, 1}, {3, 6}, {4, 3}, {0, 4}, {2, 6}, {3, 2}}},
    // e = 3 - 4 is negative: the step itself is stored.
    {"negativeSecondDifferenceIsOrder1",
     {16, 20, 23},
     "011",
     {{61, 6}, {2, 61}, {0, 6}, {1, 6}, {0, 1}, {3, 6}, {4, 3}, {2, 6}, {3, 2}}},
    // e = 3, then 13 - 7 = 6; f = 6 xor 3 = 5. Widths 2 and 3 share a group.
    {"changeOfSecondDifferenceIsOrder3",
     {16, 20, 27, 40},
     "0123",
     {{58, 6}, {0, 58}, {0, 6}, {5, 6}, {16, 5}, {3, 6}, {4, 3}, {1, 4}, {3, 6}, {3, 3}, {5, 3}}},
    // Steps 100, 103, 106, 65645: e = 3, 3, 65539; f = 0, 65536. V is 0 and counts as 1.
    {"changeTooLargeIsOrder2",
     {1048576, 1048676, 1048779, 1048885, 1114530},
     "01232",
     {{47, 6},
      {8, 47},
      {0, 6},
      {1, 6},
      {0, 1},
      {7, 6},
      {100, 7},
      {1, 4},
      {2, 6},
      {3, 2},
      {0, 2},
      {0, 4},
      {17, 6},
      {65539, 17}}},
    // The same with e = 65535; f = 65535 xor 3 = 65532.
    {"changeJustSmallEnoughIsOrder3",
     {1048576, 1048676, 1048779, 1048885, 1114526},
     "01233",
     {{47, 6},
      {8, 47},
      {0, 6},
      {1, 6},
      {0, 1},
      {7, 6},
      {100, 7},
      {1, 4},
      {2, 6},
      {3, 2},
      {0, 2},
      {0, 4},
      {16, 6},
      {65532, 16}}},
    // e = 5 - 65536 = negative after a step that was kept: order 1 again, and its D2 is the step.
    {"orderRestartsAtOneLessThanItFellTo",
     {65536, 131071, 131076, 131083},
     "0112",
     {{46, 6},
      {0, 46},
      {0, 6},
      {17, 6},
      {65536, 17},
      {16, 6},
      {65535, 16},
      {3, 6},
      {5, 3},
      {0, 4},
      {2, 6},
      {2, 2}}},
    // Bits 4 to 6 differ: T = 4, low bits 9, prefix 1 above bit 6.
    {"sharedTrailingBits",
     {0x99, 0xe9},
     "01",
     {{57, 6}, {1, 57}, {4, 6}, {9, 4}, {1, 6}, {1, 1}, {3, 6}, {5, 3}}},
    // All negative: the sign is part of the prefix.
    {"negativeX",
     {0x8000000000000001, 0x8000000000000002},
     "01",
     {{62, 6}, {quint64(1) << 61, 62}, {0, 6}, {1, 6}, {1, 1}, {1, 6}, {1, 1}}},
    // P = 1, T = 62: one bit varies.
    {"onlyBit62Varies",
     {0, 0x4000000000000000},
     "00",
     {{1, 6}, {0, 1}, {62, 6}, {0, 62}, {1, 6}, {0, 1}, {1, 6}, {1, 1}}},
    // Equal x: T is 64, written as 0 and a 1 behind it. An even pattern comes back.
    {"equalEvenX",
     {2, 2},
     "01",
     {{63, 6}, {1, 63}, {0, 6}, {1, 1}, {0, 63}, {1, 6}, {0, 1}, {1, 6}, {0, 1}}},
};

} // namespace

TEST_P(PointsBitCompressedX, isWrittenAndRead)
{
    const XRow &row = GetParam();
    const qsizetype count = row.patterns.size();
    QList<QPointF> points;
    for (const quint64 bits : row.patterns)
        points.append(QPointF(fromPattern(bits), 0.0));
    expectPayload(points,
                  payloadFromFields(row.orders, row.xStream, {{0, 1}, {quint64(count - 1), 3}}),
                  points);
}

INSTANTIATE_TEST_SUITE_P(PointsBitCompressedTest, PointsBitCompressedX, testing::ValuesIn(xRows),
                         [](const auto &row) { return std::string(row.param.name); });

// Section 4.3: which residuals share a group. The groups are read out of the payload.

namespace {

/// Points whose order 3 residuals have these \a widths (1 to 16), behind points of order 0, 1 and
/// 2. The second differences stay near 2^20 and the steps near 2^40, so order 3 is never left.
QList<QPointF> pointsWithWidths(const QList<int> &widths)
{
    quint64 x = quint64(1) << 60;
    quint64 d = quint64(1) << 40;
    quint64 e = quint64(1) << 20;
    QList<QPointF> points{{fromPattern(x), 0.0}};
    const auto step = [&] { points.append(QPointF(fromPattern(x += d), 0.0)); };
    step();
    d += e;
    step();
    for (const int width : widths) {
        e ^= (quint64(1) << width) - 1;
        d += e;
        step();
    }
    return points;
}

/// The groups behind the two inline residuals of such a payload; the first one, of the residual
/// of order 2, is left out. It has 21 bits and is never merged with fewer than 12.
QList<reference::WidthGroup> groupsIn(const QByteArray &payload, qsizetype count)
{
    qsizetype position = 64 + 8 * ((count + 3) / 4);
    const auto read = [&](int width) {
        position += width;
        return bitField(payload, position - width, width);
    };
    position += qsizetype(read(6)); // P, prefix
    position += qsizetype(read(6)); // T, low bits
    position += qsizetype(read(6)); // the residual of order 0
    position += qsizetype(read(6)); // the residual of order 1
    QList<reference::WidthGroup> groups;
    for (qsizetype left = count - 2; left > 0; left -= groups.last().count) {
        const int members = int(read(4)) + 1;
        groups.append({members, int(read(6))});
        position += members * groups.last().width;
    }
    EXPECT_EQ(groups.first(), (reference::WidthGroup{1, 21}));
    return groups.mid(1);
}

QList<int> repeated(int count, int width)
{
    return QList<int>(count, width);
}

struct MergeRow
{
    const char *name;
    QList<int> widths;
    QList<reference::WidthGroup> groups;
};

void PrintTo(const MergeRow &row, std::ostream *out)
{
    *out << row.name;
}

class PointsBitCompressedMerge : public testing::TestWithParam<MergeRow>
{};

const MergeRow mergeRows[] = {
    {"equalWidthsShareAGroup", {5, 5, 5}, {{3, 5}}},
    {"aGroupHasSixteenAtMost", repeated(20, 5), {{16, 5}, {4, 5}}},
    {"aCostOf9IsPaid", {1, 10}, {{2, 10}}},
    {"aCostOf10IsNot", {1, 11}, {{1, 1}, {1, 11}}},
    {"theCountOfTheNarrowerOneCounts", {5, 5, 5, 8}, {{4, 8}}},
    {"fourNarrowerOnesCostTooMuch", {5, 5, 5, 5, 8}, {{4, 5}, {1, 8}}},
    {"theNarrowerOneMayStandBehind", {8, 5, 5, 5}, {{4, 8}}},
    {"theLargerGainGoesFirst", {1, 9, 11}, {{1, 1}, {2, 11}}},
    {"theFirstOfEqualGainsGoesFirst", {1, 6, 11}, {{2, 6}, {1, 11}}},
    // (5 4) gains 9 and becomes {2, 5}; with 11 behind it costs 12, so that pass finds nothing and
    // ends the merging, though 7 before it would cost 4.
    {"aPassThatFindsNothingEndsTheMerging", {7, 5, 4, 11}, {{1, 7}, {2, 5}, {1, 11}}},
    // (9 8) gains 9, then (2 8) gains 4 and is last. The next pass starts at 12, which gains 4 with
    // {2, 9}: equal to the last gain, so the pass ends there and {2, 9} {2, 8}, which would gain 8,
    // is not looked at. In the end all five share one group.
    {"anEqualGainEndsThePass", {12, 9, 8, 2, 8}, {{5, 12}}},
    // (5 4) gains 9; the next pass starts there, and 10 behind it would cost 10. A pass from the
    // front would join 9 at a cost of 8, and then 10.
    {"aPassStartsAtTheLastMerge", {9, 5, 4, 10}, {{1, 9}, {2, 5}, {1, 10}}},
    {"aPassAfterAMergeAtTheEndStartsAtTheFront", {7, 11, 5, 5}, {{2, 11}, {2, 5}}},
};

} // namespace

TEST_P(PointsBitCompressedMerge, groupsAreAsTheRulesSay)
{
    const MergeRow &row = GetParam();
    const QList<QPointF> points = pointsWithWidths(row.widths);
    const QByteArray payload = encoded(points);
    EXPECT_EQ(groupsIn(payload, points.size()), row.groups);
    EXPECT_EQ(reference::mergeWidths(row.widths), row.groups);
    EXPECT_EQ(toHex(reference::encodeBitCompressed(points)), toHex(payload));
    EXPECT_EQ(decodedText(payload), exactText(points));
    EXPECT_EQ(referenceText(payload), exactText(points));
}

INSTANTIATE_TEST_SUITE_P(PointsBitCompressedTest, PointsBitCompressedMerge,
                         testing::ValuesIn(mergeRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(PointsBitCompressedTest, groupsAreWrittenEvery256Residuals)
{
    // With the one of order 2, 255 wait and are written as 15 groups of 16 and one of 15; what
    // follows starts a group of its own.
    const QList<QPointF> points = pointsWithWidths(repeated(255 + 20, 3));
    const QByteArray payload = encoded(points);
    QList<reference::WidthGroup> groups(15, {16, 3});
    groups += {{15, 3}, {16, 3}, {4, 3}};
    EXPECT_EQ(groupsIn(payload, points.size()), groups);
    EXPECT_EQ(toHex(reference::encodeBitCompressed(points)), toHex(payload));
    EXPECT_EQ(decodedText(payload), exactText(points));
}

// Section 7: y. The bytes from the y offset on.

namespace {

struct YRow
{
    const char *name;
    QList<double> y;
    QList<BitField> yStream;
    QList<double> comesBack; ///< Empty if y comes back as it is.
};

void PrintTo(const YRow &row, std::ostream *out)
{
    *out << row.name;
}

class PointsBitCompressedY : public testing::TestWithParam<YRow>
{};

QList<double> zeros(int count)
{
    return QList<double>(count, 0.0);
}

double fromFloatPattern(quint32 bits)
{
    return double(std::bit_cast<float>(bits));
}

const YRow yRows[] = {
    {"oneZero", zeros(1), {{0, 1}, {0, 3}}, {}},
    {"eightZerosAreOneItem", zeros(8), {{0, 1}, {7, 3}}, {}},
    {"nineZerosAreTwoItems", zeros(9), {{0, 1}, {7, 3}, {0, 1}, {0, 3}}, {}},
    {"sixteenZerosAreTwoItems", zeros(16), {{0, 1}, {7, 3}, {0, 1}, {7, 3}}, {}},
    {"seventeenZerosAreThreeItems",
     zeros(17),
     {{0, 1}, {7, 3}, {0, 1}, {7, 3}, {0, 1}, {0, 3}},
     {}},
    {"minusZeroIsAZero", {-0.0, 0.0}, {{0, 1}, {1, 3}}, {0.0, 0.0}},
    {"oneFloatIsStoredWhole", {1}, {{1, 1}, {0, 4}, {0x3f800000, 32}}, {}},
    {"zerosAndFloatsKeepTheirOrder",
     {0, 1, 0, 0, 2},
     {{0, 1},
      {0, 3},
      {1, 1},
      {0, 4},
      {0x3f800000, 32},
      {0, 1},
      {1, 3},
      {1, 1},
      {0, 4},
      {0x40000000, 32}},
     {}},
    // All bits shared: P' = 7 and T' = 16 at most, so 9 bits remain.
    {"equalFloatsShareSevenAndSixteenBits",
     {1, 1},
     {{1, 1}, {1, 4}, {7, 3}, {0x1f, 7}, {1, 1}, {16, 5}, {0, 16}, {0x180, 9}, {0x180, 9}},
     {}},
    // 3F800001 and 3F800002 differ in bits 0 and 1.
    {"noSharedTrailingBitsLeaveTheFlag0",
     {fromFloatPattern(0x3f800001), fromFloatPattern(0x3f800002)},
     {{1, 1}, {1, 4}, {7, 3}, {0x1f, 7}, {0, 1}, {0x1800001, 25}, {0x1800002, 25}},
     {}},
    // 40000000 and C0018000 differ in bits 31, 16 and 15.
    {"unlikeSignsShareNoLeadingBit",
     {2, fromFloatPattern(0xc0018000)},
     {{1, 1}, {1, 4}, {0, 3}, {1, 1}, {15, 5}, {0, 15}, {0x8000, 17}, {0x18003, 17}},
     {}},
    // 40000000 and 42010000 differ in bits 25 and 16: six leading bits, sixteen trailing ones.
    {"sixSharedLeadingBits",
     {2, fromFloatPattern(0x42010000)},
     {{1, 1}, {1, 4}, {6, 3}, {0x10, 6}, {1, 1}, {16, 5}, {0, 16}, {0, 10}, {0x201, 10}},
     {}},
    // 40000005 and 40020005 differ in bit 17: T is 17 and T' stays 16.
    {"sixteenSharedTrailingBitsAtMost",
     {fromFloatPattern(0x40000005), fromFloatPattern(0x40020005)},
     {{1, 1}, {1, 4}, {7, 3}, {0x20, 7}, {1, 1}, {16, 5}, {5, 16}, {0, 9}, {2, 9}},
     {}},
    // The neighbours of the middle one decide, not the first and the last.
    {"sharedBitsAreThoseOfNeighbours",
     {fromFloatPattern(0x40000000), fromFloatPattern(0x40000001), fromFloatPattern(0x40000000)},
     {{1, 1}, {2, 4}, {7, 3}, {0x20, 7}, {0, 1}, {0, 25}, {1, 25}, {0, 25}},
     {}},
    {"seventeenFloatsAreBlocksOfSixteenAndOne",
     QList<double>(17, 1.0),
     QList<BitField>{{1, 1}, {15, 4}, {7, 3}, {0x1f, 7}, {1, 1}, {16, 5}, {0, 16}}
         + QList<BitField>(16, {0x180, 9}) + QList<BitField>{{1, 1}, {0, 4}, {0x3f800000, 32}},
     {}},
    {"yIsRoundedToTheNearestFloat",
     {0.1},
     {{1, 1}, {0, 4}, {0x3dcccccd, 32}},
     {0.100000001490116119384765625}},
    {"aTieGoesToTheEvenFloat",
     {1 + 0x1p-24, 0, 1 + 0x3p-24},
     {{1, 1}, {0, 4}, {0x3f800000, 32}, {0, 1}, {0, 3}, {1, 1}, {0, 4}, {0x3f800002, 32}},
     {1, 0, 1 + 0x1p-22}},
    {"tooLargeForAFloatIsInfinite",
     {1e39, 0, -1e39},
     {{1, 1}, {0, 4}, {0x7f800000, 32}, {0, 1}, {0, 3}, {1, 1}, {0, 4}, {0xff800000, 32}},
     {inf, 0, -inf}},
    {"notANumberIsAFloat", {nan}, {{1, 1}, {0, 4}, {0x7fc00000, 32}}, {}},
    {"notANumberKeepsItsSignAndUpperPayload",
     {fromPattern(0xfff8000020000001)},
     {{1, 1}, {0, 4}, {0xffc00001, 32}},
     {fromPattern(0xfff8000020000000)}},
    {"tooSmallForAFloatIsAFloatBlockOfZeros", {-1e-60}, {{1, 1}, {0, 4}, {0x80000000, 32}}, {-0.0}},
    {"subnormalFloatsAreKept", {0x1p-149}, {{1, 1}, {0, 4}, {1, 32}}, {}},
};

} // namespace

TEST_P(PointsBitCompressedY, isWrittenAndRead)
{
    const YRow &row = GetParam();
    const QList<QPointF> points = pointsFromY(row.y);
    const QByteArray payload = encoded(points);
    const qsizetype yOffset = qsizetype(bitField(payload, 32, 32));
    EXPECT_EQ(toHex(payload.mid(yOffset)), toHex(bitString(row.yStream)));
    EXPECT_EQ(toHex(reference::encodeBitCompressed(points)), toHex(payload));

    const QList<QPointF> comesBack = pointsFromY(row.comesBack.isEmpty() ? row.y : row.comesBack);
    EXPECT_EQ(decodedText(payload), exactText(comesBack));
    EXPECT_EQ(referenceText(payload), exactText(comesBack));
}

INSTANTIATE_TEST_SUITE_P(PointsBitCompressedTest, PointsBitCompressedY, testing::ValuesIn(yRows),
                         [](const auto &row) { return std::string(row.param.name); });
