// The thread's block of model memory.
//
// A gibibyte for every thread is affordable because the allocator hands out address space and the
// system adds memory where it is first written. So nothing here clears or copies the block.

#include "internal/ModelMemory.h"

#include <new>

namespace kyv::compressor::internal {

namespace {

// Blocks begin on a cache line, so that records straddle lines as rarely as they can.
constexpr std::align_val_t blockAlignment{64};
static_assert(ModelMemory::guardBytes % 64 == 0);

// Without a destructor, so that it can still be asked when the thread's other variables are gone:
// a Compressor with static storage is destroyed after them.
thread_local ModelMemory::Block threadBlock;

void release() noexcept
{
    if (threadBlock.size == 0)
        return;
    ::operator delete(threadBlock.bytes - ModelMemory::guardBytes, blockAlignment);
    threadBlock = {};
}

/// Releases the block at the end of the thread.
struct EndOfThread
{
    EndOfThread() = default;
    EndOfThread(const EndOfThread &) = delete;
    EndOfThread &operator=(const EndOfThread &) = delete;
    ~EndOfThread() { release(); }
};

} // namespace

ModelMemory::Block ModelMemory::start(quint32 mebibytes)
{
    Q_ASSERT(mebibytes >= 1 && mebibytes < 4096);
    const quint32 size = mebibytes << 20;
    if (threadBlock.size == size)
        return threadBlock;
    thread_local const EndOfThread endOfThread; // made where the thread first has a block
    release();
    void *memory = ::operator new(size_t(size) + 2 * guardBytes, blockAlignment);
    threadBlock = {static_cast<quint8 *>(memory) + guardBytes, size};
    return threadBlock;
}

void ModelMemory::stop() noexcept
{
    release();
}

ModelMemory::Block ModelMemory::current() noexcept
{
    return threadBlock;
}

} // namespace kyv::compressor::internal
