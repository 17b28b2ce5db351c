#include "internal/RangeCoder.h"

#include "Hex.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using namespace kyv::compressor::internal;

/// Gives the same 32 bits everywhere.
using Random = std::independent_bits_engine<std::mt19937, 32, quint32>;
using kyv::test::fromHex;
using kyv::test::toHex;

struct Interval
{
    quint32 below;
    quint32 width;
    quint32 total; ///< 0 for a binary decision of probability \c width, a hit if \c below is 0.
};

/// The rules of the range coder as the format states them, one byte at a time.
class LiteralEncoder
{
public:
    void encode(const Interval &interval)
    {
        if (interval.total == 0) {
            const quint32 step = range >> 14;
            low += interval.below == 0 ? 0 : step * interval.width;
            range = step * (interval.below == 0 ? interval.width : 16384 - interval.width);
        } else {
            while (interval.total > range) {
                range = -low & 0xFFFF;
                shift();
                ++cuts;
            }
            const quint32 step = range / interval.total;
            low += interval.below * step;
            range = interval.width * step;
        }
        while ((low ^ (low + range)) < 0x1000000
               || (range < 0x8000 && ((range = -low & 0x7FFF), true)))
            shift();
    }
    int cuts = 0;

    QByteArray finish()
    {
        for (int i = 0; i < 4; ++i)
            shift();
        return bytes;
    }

private:
    void shift()
    {
        bytes.append(char(low >> 24));
        range <<= 8;
        low <<= 8;
    }

    quint32 low = 0;
    quint32 range = 0xFFFFFFFF;
    QByteArray bytes;
};

std::vector<Interval> randomIntervals(quint32 seed, int count)
{
    Random random(seed);
    std::vector<Interval> intervals;
    for (int i = 0; i < count; ++i) {
        if (random() % 3 == 0) {
            intervals.push_back({random() % 2, 111 + random() % 16200, 0});
            continue;
        }
        const quint32 total = 1 + random() % (random() % 4 == 0 ? 65535 : 300);
        const quint32 below = random() % total;
        intervals.push_back({below, 1 + random() % (total - below), total});
    }
    return intervals;
}

QByteArray encoded(const std::vector<Interval> &intervals, qint32 capacity)
{
    QByteArray bytes(capacity, '\0');
    const auto output = reinterpret_cast<quint8 *>(bytes.data());
    RangeEncoder coder(output, capacity);
    for (const Interval &interval : intervals) {
        if (interval.total != 0)
            coder.encode(interval.below, interval.width, interval.total);
        else if (interval.below == 0)
            coder.encodeHit(interval.width);
        else
            coder.encodeMiss(interval.width);
    }
    coder.flush();
    return bytes.left(coder.position() - output);
}

void expectDecoded(const QByteArray &bytes, const std::vector<Interval> &intervals)
{
    RangeDecoder coder(reinterpret_cast<const quint8 *>(bytes.constData()), qint32(bytes.size()));
    for (const Interval &interval : intervals) {
        if (interval.total == 0) {
            ASSERT_EQ(coder.isHit(interval.width), interval.below == 0);
            interval.below == 0 ? coder.hit(interval.width) : coder.miss(interval.width);
            continue;
        }
        coder.split(interval.total);
        const quint32 count = coder.count();
        ASSERT_GE(count, interval.below);
        ASSERT_LT(count, interval.below + interval.width);
        ASSERT_EQ(coder.isBelow(interval.below), false);
        ASSERT_EQ(coder.isBelow(interval.below + interval.width), true);
        coder.take(interval.below, interval.width);
    }
}

TEST(RangeCoderTest, nothingIsFourBytesOfFlush)
{
    EXPECT_EQ(toHex(encoded({}, 10)), "00 00 00 00");
}

// 0xFFFFFFFF / 257 = 0xFF00FF is the step. The interval [256, 257) puts low at 0xFF00FF00 and its
// end at 0xFFFFFFFF: FF is settled and written, and the flush writes the other three and a 0.
TEST(RangeCoderTest, oneIntervalByHand)
{
    EXPECT_EQ(toHex(encoded({{256, 1, 257}}, 10)), "ff 00 ff 00 00");
    // [0, 1): from 0 to 0xFF00FF, so 00 is settled.
    EXPECT_EQ(toHex(encoded({{0, 1, 257}}, 10)), "00 00 00 00 00");
    // A miss at 3/4: the step is 0x3FFFF, low 0x3FFFF * 0x3000 = 0xBFFFD000.
    EXPECT_EQ(toHex(encoded({{1, 0x3000, 0}}, 10)), "bf ff d0 00");
}

TEST(RangeCoderTest, agreesWithTheLiteralRules)
{
    for (quint32 seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        const std::vector<Interval> intervals = randomIntervals(seed, 500);
        LiteralEncoder literal;
        for (const Interval &interval : intervals)
            literal.encode(interval);
        const QByteArray bytes = literal.finish();
        ASSERT_EQ(toHex(encoded(intervals, qint32(bytes.size()) + 8)), toHex(bytes));
        expectDecoded(bytes, intervals);
    }
}

TEST(RangeCoderTest, bytesPastTheCapacityAreDropped)
{
    const std::vector<Interval> intervals = randomIntervals(1, 40);
    const QByteArray all = encoded(intervals, 1000);
    for (qint32 capacity = 0; capacity <= all.size(); ++capacity)
        ASSERT_EQ(toHex(encoded(intervals, capacity)), toHex(all.left(capacity)));
    EXPECT_EQ(encoded(intervals, -1).size(), 0);
}

// Totals close to 2^16 meet a range between 2^15 and themselves now and then.
TEST(RangeCoderTest, aTotalAboveTheRangeCutsTheRange)
{
    int cuts = 0;
    for (quint32 seed = 0; seed < 1000; ++seed) {
        Random random(seed);
        std::vector<Interval> intervals;
        for (int i = 0; i < 200; ++i) {
            const quint32 total = 65535 - random() % 8;
            const quint32 below = random() % total;
            const quint32 width = 1 + ((random() % (total - below)) >> (random() % 16));
            intervals.push_back({below, width, total});
        }
        LiteralEncoder literal;
        for (const Interval &interval : intervals)
            literal.encode(interval);
        const QByteArray bytes = literal.finish();
        ASSERT_EQ(toHex(encoded(intervals, qint32(bytes.size()) + 8)), toHex(bytes)) << seed;
        expectDecoded(bytes, intervals);
        cuts += literal.cuts;
    }
    EXPECT_GT(cuts, 20);
}

// Format: a missing byte makes the code all ones.
TEST(RangeCoderTest, readingPastTheEndSetsAllBits)
{
    RangeDecoder empty(nullptr, 0);
    empty.split(256);
    EXPECT_EQ(empty.count(), 256u); // 0xFFFFFFFF / 0xFFFFFF
    const QByteArray one = fromHex("12");
    RangeDecoder shortInput(reinterpret_cast<const quint8 *>(one.constData()), 1);
    shortInput.split(16);
    EXPECT_EQ(shortInput.count(), 16u);
}

} // namespace
