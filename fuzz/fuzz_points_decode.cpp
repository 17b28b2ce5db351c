// Any bytes as a bit-compressed point payload: the library's decoder and the literal reader give
// the same list, or both the one error.

#include "PointsAgreement.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // No copy: a QByteArray of its own has room behind its end, where a stray read goes unseen.
    const QByteArray payload =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    if (!kyv::test::readersAgree(payload))
        std::abort();
    return 0;
}
