#include "internal/ModelMemory.h"

#include <QFile>

#include <gtest/gtest.h>

#include <new>
#include <thread>

#include <unistd.h>

namespace {

using namespace kyv::compressor::internal;

qint64 residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

TEST(ModelMemoryTest, aBlockOfTheSameSizeIsKept)
{
    const ModelMemory::Block first = ModelMemory::start(1);
    ASSERT_NE(first.bytes, nullptr);
    EXPECT_EQ(first.size, 1u << 20);
    EXPECT_EQ(ModelMemory::start(1).bytes, first.bytes);
    EXPECT_EQ(ModelMemory::current().bytes, first.bytes);
    ModelMemory::stop();
}

TEST(ModelMemoryTest, anotherSizeReplacesTheBlock)
{
    ModelMemory::start(1);
    const ModelMemory::Block second = ModelMemory::start(2);
    EXPECT_EQ(second.size, 2u << 20);
    EXPECT_EQ(ModelMemory::current().size, 2u << 20);
    ModelMemory::stop();
}

TEST(ModelMemoryTest, stopReleasesAndMayBeRepeated)
{
    ModelMemory::start(1);
    ModelMemory::stop();
    EXPECT_EQ(ModelMemory::current().size, 0u);
    EXPECT_EQ(ModelMemory::current().bytes, nullptr);
    ModelMemory::stop();
}

TEST(ModelMemoryTest, everyThreadHasItsOwn)
{
    const ModelMemory::Block here = ModelMemory::start(1);
    std::thread([&] {
        EXPECT_EQ(ModelMemory::current().size, 0u);
        EXPECT_NE(ModelMemory::start(1).bytes, here.bytes);
        ModelMemory::stop();
        ModelMemory::start(1); // released by the end of the thread; the leak checker would tell
    }).join();
    EXPECT_EQ(ModelMemory::current().bytes, here.bytes);
    ModelMemory::stop();
}

TEST(ModelMemoryTest, theWholeBlockAndItsGuardsMayBeUsed)
{
    const ModelMemory::Block block = ModelMemory::start(1);
    const quint32 guard = ModelMemory::guardBytes;
    std::fill_n(block.bytes - guard, block.size + 2 * guard, quint8(7));
    EXPECT_EQ(block.bytes[block.size - 1], 7);
    ModelMemory::stop();
}

TEST(ModelMemoryTest, aFreshBlockIsAddressSpaceOnly)
{
    const qint64 before = residentBytes();
    if (before < 0)
        GTEST_SKIP() << "needs /proc/self/statm";
    ModelMemory::start(1024);
    EXPECT_LT(residentBytes() - before, 1 << 20);
    ModelMemory::stop();
}

} // namespace
