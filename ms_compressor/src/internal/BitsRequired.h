#pragma once

#include <QtGlobal>

#include <cstddef>

namespace kyv::compressor::internal {

/// The largest of \a count values; 0 if there is none.
quint32 largestOf(const quint32 *values, std::size_t count) noexcept;

/// Significant bits of the largest of \a count values: 0 if all are 0 or there is none, else
/// floor(log2(largest)) + 1, which is 1 to 32.
quint32 bitsRequired(const quint32 *values, std::size_t count) noexcept;

namespace detail {

/// The larger of \a largest and the largest of \a count values.
quint32 maxPortable(const quint32 *values, std::size_t count, quint32 largest) noexcept;

/// The same eight values at a time. \a count is at least 8; only where the processor has SSE4.1.
quint32 maxSse41(const quint32 *values, std::size_t count, quint32 largest) noexcept;

} // namespace detail

} // namespace kyv::compressor::internal
