// The rare half of the range coder: what is not settled by one shift of whole bytes.

#include "internal/RangeCoder.h"

namespace kyv::compressor::internal {

RangeEncoder RangeEncoder::normalizedBytewise(RangeEncoder coder) noexcept
{
    while (true) {
        if ((coder.m_low ^ (coder.m_low + coder.m_range)) >= ppmd::rangeTop) {
            if (coder.m_range >= ppmd::rangeBottom)
                return coder;
            coder.m_range = (0 - coder.m_low) & (ppmd::rangeBottom - 1);
        }
        coder.shift();
    }
}

RangeEncoder RangeEncoder::widened(RangeEncoder coder, quint32 total) noexcept
{
    while (total > coder.m_range) {
        coder.m_range = (0 - coder.m_low) & 0xFFFF;
        coder.shift();
    }
    return coder;
}

RangeDecoder RangeDecoder::normalizedBytewise(RangeDecoder coder) noexcept
{
    while (true) {
        if ((coder.m_low ^ (coder.m_low + coder.m_range)) >= ppmd::rangeTop) {
            if (coder.m_range >= ppmd::rangeBottom)
                return coder;
            coder.m_range = (0 - coder.m_low) & (ppmd::rangeBottom - 1);
        }
        coder.shift();
    }
}

RangeDecoder RangeDecoder::widened(RangeDecoder coder, quint32 total) noexcept
{
    while (total > coder.m_range) {
        coder.m_range = (0 - coder.m_low) & 0xFFFF;
        coder.shift();
    }
    return coder;
}

} // namespace kyv::compressor::internal
