// The model's block belongs to a thread: several objects on one, one destroyed, eight threads at
// once, a call on a thread that has no block.

#include "ByteCorpus.h"

#include "internal/ModelMemory.h"

#include <ms_compressor/Compressor.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

using namespace kyv::test;
using kyv::compressor::CompressedData;
using kyv::compressor::Compressor;
using kyv::compressor::internal::ModelMemory;

namespace {

constexpr quint32 Gibibyte = 1u << 30;

void roundTrip(Compressor &compressor, const QByteArray &input)
{
    const CompressedData compressed = compressor.compress(input);
    ASSERT_LT(compressed.data.size(), input.size());
    ASSERT_TRUE(compressor.decompress(compressed) == input);
}

} // namespace

TEST(BytesThreadTest, objectsOfOneThreadShareOneBlock)
{
    const Compressor first;
    const ModelMemory::Block block = ModelMemory::current();
    EXPECT_EQ(block.size, Gibibyte);
    const Compressor second;
    EXPECT_EQ(ModelMemory::current().bytes, block.bytes);
    const Compressor copy(second);
    EXPECT_EQ(ModelMemory::current().bytes, block.bytes);
}

TEST(BytesThreadTest, destroyingAnyObjectReleasesTheBlock)
{
    auto first = std::make_unique<Compressor>();
    auto second = std::make_unique<Compressor>();
    second.reset();
    EXPECT_EQ(ModelMemory::current().size, 0u);
    const Compressor third;
    EXPECT_EQ(ModelMemory::current().size, Gibibyte);
    first.reset();
    EXPECT_EQ(ModelMemory::current().size, 0u);
}

TEST(BytesThreadTest, callAfterAnotherObjectWasDestroyedTakesABlock)
{
    Compressor compressor;
    const QByteArray input = seededBytes(ByteKind::Xml, 5000, 1);
    const CompressedData before = compressor.compress(input);
    {
        const Compressor other;
    }
    EXPECT_EQ(ModelMemory::current().size, 0u);
    EXPECT_TRUE(compressor.compress(input).data == before.data);
    EXPECT_EQ(ModelMemory::current().size, Gibibyte);
    {
        const Compressor other;
    }
    EXPECT_TRUE(compressor.decompress(before) == input);
}

TEST(BytesThreadTest, callOnAThreadWithoutABlockTakesOne)
{
    Compressor compressor;
    const QByteArray input = seededBytes(ByteKind::Text, 5000, 2);
    std::thread([&] {
        EXPECT_EQ(ModelMemory::current().size, 0u);
        roundTrip(compressor, input);
        EXPECT_EQ(ModelMemory::current().size, Gibibyte);
    }).join(); // the thread's end releases its block
    EXPECT_EQ(ModelMemory::current().size, Gibibyte);
    roundTrip(compressor, input);
}

TEST(BytesThreadTest, objectMayEndOnAnotherThread)
{
    auto compressor = std::make_unique<Compressor>();
    std::thread([&] { compressor.reset(); }).join();
    EXPECT_EQ(ModelMemory::current().size, Gibibyte); // released here, by whoever comes next
    {
        const Compressor other;
    }
    EXPECT_EQ(ModelMemory::current().size, 0u);
}

TEST(BytesThreadTest, interleavedCallsDoNotInfluenceEachOther)
{
    Compressor a;
    Compressor b;
    const QByteArray text = seededBytes(ByteKind::Text, 20000, 3);
    const QByteArray plane = seededBytes(ByteKind::IntensityPlane, 20000, 3);
    const CompressedData textAlone = Compressor(a).compress(text);
    const CompressedData planeAlone = Compressor(a).compress(plane);
    const CompressedData textFirst = a.compress(text);
    const CompressedData planeSecond = b.compress(plane);
    EXPECT_TRUE(textFirst.data == textAlone.data);
    EXPECT_TRUE(planeSecond.data == planeAlone.data);
    EXPECT_TRUE(b.decompress(textFirst) == text);
    EXPECT_TRUE(a.compress(plane).data == planeAlone.data);
    EXPECT_TRUE(a.decompress(planeSecond) == plane);
}

TEST(BytesThreadTest, eightThreadsAtOnce)
{
    std::vector<QByteArray> inputs;
    std::vector<QByteArray> streams;
    Compressor compressor;
    for (quint64 seed = 0; seed < 8; ++seed) {
        inputs.push_back(seededBytes(ByteKind::Xml, 30000, seed));
        streams.push_back(compressor.compress(inputs.back()).data);
    }
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 8; ++i) {
        threads.emplace_back([&inputs, &streams, i] {
            for (std::size_t round = 0; round < 6; ++round) {
                Compressor own;
                const std::size_t k = (i + round) % 8;
                const CompressedData compressed = own.compress(inputs[k]);
                EXPECT_TRUE(compressed.data == streams[k]);
                EXPECT_TRUE(own.decompress(compressed) == inputs[k]);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}
