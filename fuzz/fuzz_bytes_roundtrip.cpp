// Any bytes: the byte codec writes the stream that the reference codec writes, cut where the
// capacity cuts it, and gives the bytes back. The first byte of an input chooses the size of the
// model's block, so that short inputs reach gluing, carving and restarts, and the path.

#include "ByteCoderChoice.h"

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
    static ByteCoderChoice choice;
    if (size == 0)
        return 0;
    const QByteArray input(reinterpret_cast<const char *>(data + 1), qsizetype(size) - 1);
    ByteCoder &coder = choice.coder(data[0]);

    const qsizetype capacity = 2 * input.size() + 64;
    const QByteArray stream = coder.encode(input, capacity);
    require(stream == choice.reference(data[0]).encode(input, capacity));
    require(coder.encode(input, input.size()) == stream.left(input.size()));
    require(coder.decode(stream, input.size()) == input);
    require(coder.decode(stream, input.size() + 1) == input);
    return 0;
}
