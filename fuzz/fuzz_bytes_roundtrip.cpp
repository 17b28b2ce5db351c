// Any bytes: the byte codec writes the stream that the reference codec writes, cut where the
// capacity cuts it, and gives the bytes back. The first byte of an input chooses the size of the
// model's block, so that short inputs reach gluing, carving and restarts, and the path.

#include "ByteCoder.h"
#include "ReferenceByteCodec.h"

#include <cstdint>
#include <cstdlib>

using namespace kyv::test;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    static constexpr quint32 blockBytes[] = {1 << 20, 1 << 13, 1 << 14, 24000};
    const quint32 block = blockBytes[data[0] & 3];
    const std::vector<ByteCoder::Path> paths = bytePaths();
    const ByteCoder::Path path = paths[(data[0] >> 2) % paths.size()];
    const QByteArray input(reinterpret_cast<const char *>(data + 1), qsizetype(size) - 1);

    ByteCoder coder(block, 2, path);
    const qsizetype capacity = 2 * input.size() + 64;
    const QByteArray stream = coder.encode(input, capacity);
    require(stream.size() < capacity);
    require(coder.encode(input, input.size()) == stream.left(input.size()));
    require(coder.decode(stream, input.size()) == input);
    require(coder.decode(stream, input.size() + 1) == input);

    reference::ReferenceByteCodec reference(reference::BlockSize::ofBytes(block));
    require(reference.encode(input, capacity) == stream);
    return 0;
}
