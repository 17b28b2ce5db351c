// The same bytes from every compiler, optimisation level and processor: the payloads of a seeded
// set of lists, and the lists that come back, as one SHA-256 each.
//
// The stored digests are part of the format: a change that needs new ones changes stored bytes.

#include "PointsCodecs.h"
#include "SeededPoints.h"

#include <kyv_common_stable/PointConversions.h>

#include <QCryptographicHash>

#include <gtest/gtest.h>

using namespace kyv;
using namespace kyv::test;

namespace {

constexpr char listsDigest[] = "4348e1ced8e093ddcd306e92e3ae12ec693996dcf0f58c1985761a27478bff3e";
constexpr char payloadsDigest[] =
    "ef43afe0dd15e8bd6bd6d6112ac0de6ceedb75a347c08d545f9a7142ece91cf5";
constexpr char decodedDigest[] = "4cc00e831ea663e55f32f38bbd9fdbdfd6949059e72af44174c3937baf1ae6e3";

/// Every kind of x with every kind of y, from nothing up to 1500 points.
template <typename Visit>
void forEachList(const Visit &visit)
{
    constexpr qsizetype counts[] = {0, 1, 2, 3, 17, 100, 300, 1500};
    for (int x = 0; x < xKindCount; ++x) {
        for (int y = 0; y < yKindCount; ++y) {
            for (const qsizetype count : counts)
                visit(seededPoints(XKind(x), YKind(y), count, 20));
        }
    }
}

std::string digest(const QCryptographicHash &hash)
{
    return hash.result().toHex().toStdString();
}

} // namespace

TEST(PointsDigestTest, seededListsAreTheSameEverywhere)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    forEachList([&](const QList<QPointF> &points) {
        hash.addData(interpretAs(points, To<QByteArray>()).value());
    });
    EXPECT_EQ(digest(hash), listsDigest);
}

TEST(PointsDigestTest, payloadsAreTheSameEverywhere)
{
    QCryptographicHash codec(QCryptographicHash::Sha256);
    QCryptographicHash literal(QCryptographicHash::Sha256);
    forEachList([&](const QList<QPointF> &points) {
        codec.addData(encoded(points));
        literal.addData(reference::encodeBitCompressed(points));
    });
    EXPECT_EQ(digest(codec), payloadsDigest);
    EXPECT_EQ(digest(literal), payloadsDigest);
}

TEST(PointsDigestTest, decodedListsAreTheSameEverywhere)
{
    QCryptographicHash codec(QCryptographicHash::Sha256);
    QCryptographicHash literal(QCryptographicHash::Sha256);
    forEachList([&](const QList<QPointF> &points) {
        const QByteArray payload = encoded(points);
        codec.addData(QByteArray::fromStdString(decodedText(payload)));
        literal.addData(QByteArray::fromStdString(referenceText(payload)));
    });
    EXPECT_EQ(digest(codec), decodedDigest);
    EXPECT_EQ(digest(literal), decodedDigest);
}
