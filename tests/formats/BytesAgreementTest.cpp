// The byte codec beside its literal reference, over seeded data and arbitrary bytes, in blocks
// from 8 KiB to 1 GiB and on every path; and one digest that every build has to give.

#include "ByteCoder.h"
#include "ByteCorpus.h"
#include "ReferenceByteCodec.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <deque>
#include <functional>

using namespace kyv::test;
using reference::BlockSize;
using reference::RarePaths;
using reference::ReferenceByteCodec;

namespace {

constexpr quint32 Mebibyte = ByteCoder::Mebibyte;

struct Sample
{
    ByteKind kind;
    int size;
    quint32 blockBytes;
    quint64 seed;
};

/// Inputs whose models grow, are glued, carved, cut down and restarted; two gluing passes without
/// a restart between them (9 MiB), and a rescale that ends in a restart (the last kind, 1 MiB).
std::vector<Sample> digestSamples()
{
    std::vector<Sample> samples;
    for (int kind = 0; kind < ByteKindCount; ++kind) {
        for (const int size : {1, 7, 100, 3000, 60000})
            samples.push_back({ByteKind(kind), size, Mebibyte, 1});
        samples.push_back({ByteKind(kind), 20000, 1024 * Mebibyte, 2});
        samples.push_back({ByteKind(kind), 20000, 1 << 13, 3});
        samples.push_back({ByteKind(kind), 50000, 48 << 10, 4});
    }
    samples.push_back({ByteKind::Churn, 160000, Mebibyte, 1});
    samples.push_back({ByteKind::MzPlane, 150000, Mebibyte, 5});
    samples.push_back({ByteKind::Random, 1000000, 9 * Mebibyte, 1});
    return samples;
}

std::string digestOf(const std::function<QByteArray(const Sample &, const QByteArray &)> &encode)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const Sample &sample : digestSamples()) {
        const QByteArray input = seededBytes(sample.kind, sample.size, sample.seed);
        hash.addData(encode(sample, input));
    }
    return hash.result().toHex().toStdString();
}

// What every compiler, optimisation level and processor has to give.
constexpr char Digest[] = "0f698fb37846debf8965734834cb6cc0f44ad42a03ef385224e3a8bea09b08c6";
constexpr char InputDigest[] = "4ce7d9149f444a5614652d065e5bd58bea9b74e21a928d1b8ae8d2f2739942c4";

} // namespace

TEST(BytesAgreementTest, seededInputsAreTheSameEverywhere)
{
    EXPECT_EQ(digestOf([](const Sample &, const QByteArray &input) { return input; }), InputDigest);
}

TEST(BytesAgreementTest, referenceGivesTheDigest)
{
    RarePaths seen;
    EXPECT_EQ(digestOf([&](const Sample &sample, const QByteArray &input) {
                  ReferenceByteCodec codec(BlockSize::ofBytes(sample.blockBytes));
                  const QByteArray stream = codec.encode(input, 2 * input.size() + 64);
                  const RarePaths &paths = codec.rarePaths();
                  seen.restarts += paths.restarts;
                  seen.carves += paths.carves;
                  seen.rescalesToBinary += paths.rescalesToBinary;
                  seen.failedShrinks += paths.failedShrinks;
                  seen.rootEscapes += paths.rootEscapes;
                  if (paths.gluings > paths.restarts + 1)
                      seen.laterGluings += paths.gluings - paths.restarts - 1;
                  return stream;
              }),
              Digest);
    EXPECT_GT(seen.restarts, 100u);
    EXPECT_GT(seen.carves, 10000u);
    EXPECT_GT(seen.rescalesToBinary, 1000u);
    EXPECT_GT(seen.failedShrinks, 0u);
    EXPECT_GT(seen.rootEscapes, 100000u);
    EXPECT_GT(seen.laterGluings, 0u);
}

TEST(BytesAgreementTest, codecGivesTheDigestOnEveryPath)
{
    for (const ByteCoder::Path path : bytePaths()) {
        EXPECT_EQ(digestOf([path](const Sample &sample, const QByteArray &input) {
                      ByteCoder coder(sample.blockBytes, 2, path);
                      const QByteArray stream = coder.encode(input, 2 * input.size() + 64);
                      EXPECT_TRUE(coder.decode(stream, input.size()) == input);
                      EXPECT_TRUE(coder.decode(stream, input.size() + 1) == input);
                      return stream;
                  }),
                  Digest)
            << "on path " << int(path);
    }
}

/// 2,000 seeded inputs, 100,000 with KYV_THOROUGH=1: the stream of the reference, the input back,
/// the cut stream a prefix, and the reference reads what the codec wrote.
TEST(BytesAgreementTest, codecAndReferenceAgreeOnSeededInputs)
{
    const bool thorough = qEnvironmentVariableIntValue("KYV_THOROUGH") != 0;
    const quint64 cases = thorough ? 100000 : 2000;
    struct Pair
    {
        explicit Pair(BlockSize size)
            : reference(size)
        {}
        ReferenceByteCodec reference;
        std::vector<ByteCoder> coders;
    };
    std::deque<Pair> pairs;
    for (const quint32 blockBytes : {Mebibyte, quint32(1) << 13, quint32(24000)}) {
        Pair &pair = pairs.emplace_back(BlockSize::ofBytes(blockBytes));
        for (const ByteCoder::Path path : bytePaths())
            pair.coders.emplace_back(blockBytes, 2, path);
    }
    quint64 uncut = 0;
    for (quint64 seed = 0; seed < cases; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SeededNumbers numbers(seed ^ 0xB17E5);
        const ByteKind kind = ByteKind(numbers.below(ByteKindCount));
        const int size = numbers.below(1 << (1 + numbers.below(13)));
        const QByteArray input = seededBytes(kind, size, seed);
        Pair &pair = pairs[std::size_t(numbers.below(int(pairs.size())))];
        const QByteArray stream = pair.reference.encode(input, 2 * size + 64);
        ByteCoder &coder = pair.coders[std::size_t(numbers.below(int(pair.coders.size())))];
        ASSERT_TRUE(coder.encode(input, 2 * size + 64) == stream);
        const QByteArray cut = coder.encode(input, size);
        ASSERT_TRUE(cut == stream.left(size));
        ASSERT_TRUE(coder.decode(stream, size) == input);
        ASSERT_TRUE(pair.reference.decode(stream, size) == input);
        if (cut.size() < size) {
            ++uncut;
            ASSERT_TRUE(coder.decode(cut, size) == input);
        }
    }
    EXPECT_GT(uncut, cases / 3);
    if (thorough)
        std::printf("%llu inputs, %llu of them not cut\n", cases, uncut);
}

// From order 4 on, the escapes of one end mark can meet the same estimate twice.
TEST(BytesAgreementTest, codecAndReferenceAgreeAtOtherOrders)
{
    for (const int order : {3, 4, 16}) {
        ReferenceByteCodec codec(BlockSize::ofBytes(1 << 14), order);
        ByteCoder coder(1 << 14, order);
        for (quint64 seed = 0; seed < 4000; ++seed) {
            SeededNumbers numbers(seed ^ 0x0DE5);
            const int alphabet = 2 + numbers.below(6);
            QByteArray input(numbers.below(400), Qt::Uninitialized);
            for (char &byte : input)
                byte = char('a' + numbers.below(alphabet));
            const QByteArray stream = codec.encode(input, 2 * input.size() + 64);
            ASSERT_EQ(coder.encode(input, 2 * input.size() + 64), stream)
                << "order " << order << ", seed " << seed;
            ASSERT_EQ(coder.decode(stream, input.size() + 1), input)
                << "order " << order << ", seed " << seed;
        }
    }
}

TEST(BytesAgreementTest, codecAndReferenceAgreeOnAnyBytes)
{
    ReferenceByteCodec codec(BlockSize::ofBytes(1 << 13));
    ByteCoder coder(1 << 13);
    EXPECT_TRUE(rc::check("any bytes", [&](const std::vector<char> &bytes) {
        const QByteArray input(bytes.data(), qsizetype(bytes.size()));
        const QByteArray stream = coder.encode(input, 2 * input.size() + 64);
        RC_ASSERT(stream == codec.encode(input, 2 * input.size() + 64));
        RC_ASSERT(coder.decode(stream, input.size() + 1) == input);
        RC_ASSERT(codec.decode(stream, input.size() + 1) == input);
    }));
}
