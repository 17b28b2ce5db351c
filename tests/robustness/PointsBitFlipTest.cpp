// Every single-bit flip of a hundred payloads: the codec gives the value or the error that the
// literal reader gives.

#include "Hex.h"
#include "PointsPayloads.h"

#include <gtest/gtest.h>

using namespace kyv::test;

namespace {

void flip(QByteArray &bytes, qsizetype bit)
{
    bytes[bit / 8] = char(quint8(bytes[bit / 8]) ^ (1 << (bit % 8)));
}

} // namespace

TEST(PointsBitFlipTest, everyFlippedBitIsAValueOrTheError)
{
    for (const QByteArray &payload : payloadsToDamage()) {
        QByteArray damaged = payload;
        for (qsizetype bit = 0; bit < payload.size() * 8; ++bit) {
            flip(damaged, bit);
            ASSERT_TRUE(readersAgree(damaged)) << "bit " << bit << " of " << toHex(payload);
            flip(damaged, bit);
        }
    }
}

TEST(PointsBitFlipTest, manyFlippedBitsAreAValueOrTheError)
{
    SeededRandom random(4);
    for (const QByteArray &payload : payloadsToDamage()) {
        for (int round = 0; round < 100; ++round) {
            // Behind the count, so that most get past the header.
            QByteArray damaged = payload;
            for (quint64 flips = 2 + random.below(20); flips > 0; --flips)
                flip(damaged, 64 + qsizetype(random.below(quint64(payload.size() - 8) * 8)));
            ASSERT_TRUE(readersAgree(damaged)) << toHex(damaged);
        }
    }
}
