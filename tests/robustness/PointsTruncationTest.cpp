// Every prefix of a hundred payloads: the codec gives the value or the error that the literal
// reader gives.

#include "Hex.h"
#include "PointsPayloads.h"

#include <gtest/gtest.h>

using namespace kyv::test;

TEST(PointsTruncationTest, everyPrefixIsAValueOrTheError)
{
    qsizetype values = 0;
    qsizetype errors = 0;
    for (const QByteArray &payload : payloadsToDamage()) {
        for (qsizetype size = 0; size < payload.size(); ++size) {
            const QByteArray prefix = payload.first(size);
            ASSERT_TRUE(readersAgree(prefix)) << size << " bytes of " << toHex(payload);
            ++(decodedText(prefix) == inconsistentText ? errors : values);
        }
    }
    // The empty prefix is the empty list, and little else is: the y stream comes last.
    EXPECT_GE(values, 100);
    EXPECT_GT(errors, 10 * values);
}

TEST(PointsTruncationTest, everyPrefixWithAYOffsetInsideIsAValueOrTheError)
{
    // The y offset moved into what is left: now the x stream is what ends too early.
    for (const QByteArray &payload : payloadsToDamage()) {
        for (qsizetype size = 10; size < payload.size(); size += 3) {
            QByteArray prefix = payload.first(size);
            for (const qsizetype yOffset : {size - 1, size - 9, size / 2}) {
                prefix[4] = char(yOffset);
                prefix[5] = char(yOffset >> 8);
                ASSERT_TRUE(readersAgree(prefix)) << toHex(prefix);
            }
        }
    }
}
