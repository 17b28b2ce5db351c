#include "BitsRequired.h"

#include "CpuFeatures.h"

#include <algorithm>
#include <bit>

namespace kyv::compressor::internal {

namespace detail {

quint32 maxPortable(const quint32 *values, std::size_t count, quint32 largest) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        largest = std::max(largest, values[i]);
    return largest;
}

} // namespace detail

quint32 largestOf(const quint32 *values, std::size_t count) noexcept
{
#ifdef KYV_HAS_SSE41
    if (count >= 8 && cpuFeatures().sse42)
        return detail::maxSse41(values, count, 0);
#endif
    return detail::maxPortable(values, count, 0);
}

quint32 bitsRequired(const quint32 *values, std::size_t count) noexcept
{
    return quint32(std::bit_width(largestOf(values, count)));
}

} // namespace kyv::compressor::internal
