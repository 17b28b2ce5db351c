// A packed bit array: unsigned integers of one width, stored back to back in 32-bit words.
//
// One heap block holds the head (width, count, two reserved words) and the words. Single items
// are read and written here; runs go to the kernels of their width. See
// docs/formats/packed-bit-array.md for the layout.

#include "PackedBitArray.h"

#include "PackedBitKernels.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kyv::compressor::internal {

static_assert(sizeof(PackedBitArray) == 4 * sizeof(quint32), "the words follow four head words");
static_assert(alignof(PackedBitArray) == alignof(quint32));

namespace {

/// Where an item begins: its word, and its lowest bit's place in that word.
struct ItemPlace
{
    std::size_t word;
    quint32 shift;
};

ItemPlace placeOf(quint32 width, quint32 index) noexcept
{
    const quint64 bit = quint64(width) * index;
    return {std::size_t(bit / 32), quint32(bit % 32)};
}

quint32 itemMask(quint32 width) noexcept
{
    return quint32((quint64(1) << width) - 1);
}

bool hasKernels(quint32 width) noexcept
{
    return width >= 1 && width <= quint32(widestItem);
}

} // namespace

PackedBitArray *create(quint32 width, quint32 count) noexcept
{
    const quint64 wordsNeeded = packedWordCount(width, count);
    // At most 2^59 words, so the size fits 64 bits; a narrower size_t is what may overflow.
    const quint64 bytes = sizeof(PackedBitArray) + wordsNeeded * sizeof(quint32);
    if (bytes > quint64(PTRDIFF_MAX))
        return nullptr;
    void *const block = std::malloc(std::size_t(bytes));
    if (!block)
        return nullptr;
    auto *const head = static_cast<quint32 *>(block);
    head[0] = width;
    head[1] = count;
    // Format: packed-bit-array.md, "The last word". Without words this is the last reserved one.
    head[3 + wordsNeeded] = 0;
    return static_cast<PackedBitArray *>(block);
}

void destroy(PackedBitArray *array) noexcept
{
    std::free(array);
}

quint64 wordCount(const PackedBitArray *array) noexcept
{
    return packedWordCount(array->width, array->count);
}

quint32 *words(PackedBitArray *array) noexcept
{
    return reinterpret_cast<quint32 *>(array + 1);
}

const quint32 *words(const PackedBitArray *array) noexcept
{
    return reinterpret_cast<const quint32 *>(array + 1);
}

quint32 get(const PackedBitArray *array, quint32 index) noexcept
{
    const quint32 width = array->width;
    const auto [first, shift] = placeOf(width, index);
    const quint32 *const word = words(array) + first;
    quint32 item = word[0] >> shift;
    if (width > 32 - shift)
        item |= word[1] << (32 - shift);
    return item & itemMask(width);
}

void set(PackedBitArray *array, quint32 index, quint32 value) noexcept
{
    const quint32 width = array->width;
    const quint32 mask = itemMask(width);
    const auto [first, shift] = placeOf(width, index);
    quint32 *const word = words(array) + first;
    word[0] = (word[0] & ~(mask << shift)) | value << shift;
    if (const quint32 here = 32 - shift; width > here)
        word[1] = (word[1] & ~(mask >> here)) | value >> here;
}

void pack(PackedBitArray *array, quint32 start, const quint32 *items, quint32 n) noexcept
{
    if (hasKernels(array->width))
        packRun(int(array->width), words(array), start, items, n);
}

void unpack(const PackedBitArray *array, quint32 start, quint32 *items, quint32 n) noexcept
{
    if (!hasKernels(array->width))
        return;
    const quint32 *const begin = words(array);
    unpackRun(int(array->width), begin, begin + wordCount(array), start, items, n);
}

} // namespace kyv::compressor::internal
