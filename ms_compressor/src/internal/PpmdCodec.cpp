#include "internal/PpmdCodec.h"

#include "internal/PpmdCoding.h"

namespace kyv::compressor::internal {

PpmdCodec::Result PpmdCodec::encode(const quint8 *input, qint32 inputLength, quint8 *output,
                                    qint32 capacity) const noexcept
{
    return PpmdEncoding<PortableScan>(m_memory, m_maxOrder)
        .run(input, inputLength, output, capacity);
}

PpmdCodec::Result PpmdCodec::decode(const quint8 *input, qint32 inputLength, quint8 *output,
                                    qint32 capacity) const noexcept
{
    return PpmdDecoding<PortableScan>(m_memory, m_maxOrder)
        .run(input, inputLength, output, capacity);
}

} // namespace kyv::compressor::internal
