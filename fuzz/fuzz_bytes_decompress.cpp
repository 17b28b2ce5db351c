// Any stream with any announced size: the byte codec ends, stays inside its block and gives what
// the reference codec gives. An input starts with the choice of block and path, then two bytes of
// announced size.

#include "ByteCoder.h"
#include "ReferenceByteCodec.h"

#include <cstdint>
#include <cstdlib>

using namespace kyv::test;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 3)
        return 0;
    static constexpr quint32 blockBytes[] = {1 << 20, 1 << 13, 1 << 14, 24000};
    const quint32 block = blockBytes[data[0] & 3];
    const std::vector<ByteCoder::Path> paths = bytePaths();
    const ByteCoder::Path path = paths[(data[0] >> 2) % paths.size()];
    const qsizetype announced = (data[1] | data[2] << 8) & 0x1FFF;
    const QByteArray stream(reinterpret_cast<const char *>(data + 3), qsizetype(size) - 3);

    ByteCoder coder(block, 2, path);
    const QByteArray decoded = coder.decode(stream, announced);
    reference::ReferenceByteCodec reference(reference::BlockSize::ofBytes(block));
    if (decoded != reference.decode(stream, announced))
        std::abort();
    return 0;
}
