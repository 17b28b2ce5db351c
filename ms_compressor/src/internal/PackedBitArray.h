#pragma once

#include "BitsRequired.h"

#include <QtGlobal>

namespace kyv::compressor::internal {

/// Head of a packed bit array: \a count unsigned integers of \a width bits (1 to 32), stored back
/// to back in the 32-bit words that follow this head in the same heap block.
///
/// The words are one string of bits: bit b is bit b % 32 of word b / 32, and item i occupies
/// bits i * width to i * width + width - 1, its lowest bit first. Bits past the last item are
/// zero in a fresh and fully packed array. Distinct arrays may be used by different threads.
///
/// Nothing below checks its arguments: items lie inside the array, values are below 2^width.
struct PackedBitArray
{
    quint32 width;
    quint32 count;
    quint32 reserved[2]; ///< no meaning; keeps the words 16 bytes into the block
};

/// A new array whose words are not initialised, but for the last one, which is zero; null if
/// the memory is not there. Belongs to the caller, who gives it to destroy().
[[nodiscard]] PackedBitArray *create(quint32 width, quint32 count) noexcept;

/// Releases an array; null is allowed.
void destroy(PackedBitArray *array) noexcept;

/// The words that the items take: width * count bits, rounded up.
quint64 wordCount(const PackedBitArray *array) noexcept;

/// The words themselves, wordCount() of them.
quint32 *words(PackedBitArray *array) noexcept;
const quint32 *words(const PackedBitArray *array) noexcept;

/// Item \a index. The width is 1 to 32.
quint32 get(const PackedBitArray *array, quint32 index) noexcept;

/// Stores \a value, which is below 2^width, as item \a index. The width is 1 to 32.
void set(PackedBitArray *array, quint32 index, quint32 value) noexcept;

/// Stores \a n items (at least 1) from item \a start on; those on both sides keep their values.
/// Does nothing for a width outside 1 to 32.
void pack(PackedBitArray *array, quint32 start, const quint32 *items, quint32 n) noexcept;

/// Copies \a n items (at least 1) from item \a start on. Does nothing for a width outside 1 to
/// 32, so with width 0 the caller fills \a items with zeros.
void unpack(const PackedBitArray *array, quint32 start, quint32 *items, quint32 n) noexcept;

} // namespace kyv::compressor::internal
