// Any stream with any announced size: the byte codec ends, stays inside its block and gives what
// the reference codec gives. An input starts with the choice of block and path, then two bytes of
// announced size.

#include "ByteCoderChoice.h"

#include <cstdint>
#include <cstdlib>

using namespace kyv::test;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static ByteCoderChoice choice;
    if (size < 3)
        return 0;
    const qsizetype announced = (data[1] | data[2] << 8) & 0x1FFF;
    const QByteArray stream(reinterpret_cast<const char *>(data + 3), qsizetype(size) - 3);
    if (choice.coder(data[0]).decode(stream, announced)
        != choice.reference(data[0]).decode(stream, announced)) {
        std::abort();
    }
    return 0;
}
