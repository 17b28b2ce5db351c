// Replaces malloc in the executable that it is linked to.

#include "AllocationWatch.h"

#include "Sanitizers.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#if defined(__GLIBC__) && !KYV_SANITIZER_ALLOCATES
#define KYV_WATCHES_MALLOC
#include <malloc.h>
#endif

namespace {

std::atomic<std::size_t> largestRequest = 0;
std::atomic<std::ptrdiff_t> taken = 0; // more or less: only its changes matter
std::atomic<std::ptrdiff_t> mostTaken = 0;
std::ptrdiff_t takenBefore = 0;
std::atomic<std::size_t> refusedFrom = ~std::size_t(0);

#ifdef KYV_WATCHES_MALLOC
void *note(std::size_t request, void *block) noexcept
{
    if (request > largestRequest)
        largestRequest = request;
    taken += std::ptrdiff_t(malloc_usable_size(block));
    if (taken > mostTaken)
        mostTaken = taken.load();
    return block;
}

void forget(void *block) noexcept
{
    taken -= std::ptrdiff_t(malloc_usable_size(block));
}
#endif

} // namespace

#ifdef KYV_WATCHES_MALLOC
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size)
{
    return size < refusedFrom ? note(size, __libc_malloc(size)) : nullptr;
}

void *calloc(std::size_t count, std::size_t size)
{
    return count * size < refusedFrom ? note(count * size, __libc_calloc(count, size)) : nullptr;
}

void *realloc(void *block, std::size_t size)
{
    if (size >= refusedFrom)
        return nullptr;
    forget(block);
    return note(size, __libc_realloc(block, size));
}

void free(void *block)
{
    forget(block);
    __libc_free(block);
}
}
#endif

namespace kyv::test {

bool AllocationWatch::isPossible() noexcept
{
#ifdef KYV_WATCHES_MALLOC
    return true;
#else
    return false;
#endif
}

void AllocationWatch::start() noexcept
{
    largestRequest = 0;
    takenBefore = taken;
    mostTaken = takenBefore;
}

AllocationWatch::Refusal::Refusal(std::size_t size) noexcept
{
    refusedFrom = size;
}

AllocationWatch::Refusal::~Refusal()
{
    refusedFrom = ~std::size_t(0);
}

AllocationWatch AllocationWatch::seen() noexcept
{
    return {largestRequest, std::size_t(mostTaken - takenBefore)};
}

} // namespace kyv::test
