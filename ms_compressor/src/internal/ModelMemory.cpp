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

/// Owns the block of one thread; its destructor runs at the end of the thread.
struct ThreadBlock
{
    ModelMemory::Block block;

    ThreadBlock() = default;
    ThreadBlock(const ThreadBlock &) = delete;
    ThreadBlock &operator=(const ThreadBlock &) = delete;
    ~ThreadBlock() { release(); }

    void release() noexcept
    {
        if (block.size == 0)
            return;
        ::operator delete(block.bytes - ModelMemory::guardBytes, blockAlignment);
        block = {};
    }
};

ThreadBlock &threadBlock() noexcept
{
    thread_local ThreadBlock owner;
    return owner;
}

} // namespace

ModelMemory::Block ModelMemory::start(quint32 mebibytes)
{
    Q_ASSERT(mebibytes >= 1 && mebibytes < 4096);
    const quint32 size = mebibytes << 20;
    ThreadBlock &owner = threadBlock();
    if (owner.block.size == size)
        return owner.block;
    owner.release();
    const auto memory = ::operator new(size_t(size) + 2 * guardBytes, blockAlignment);
    owner.block = {static_cast<quint8 *>(memory) + guardBytes, size};
    return owner.block;
}

void ModelMemory::stop() noexcept
{
    threadBlock().release();
}

ModelMemory::Block ModelMemory::current() noexcept
{
    return threadBlock().block;
}

} // namespace kyv::compressor::internal
