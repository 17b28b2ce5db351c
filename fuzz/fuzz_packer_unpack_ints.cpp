// Any bytes as an integer list record: a value or an error, the one that the reference reader
// gives; and a list that was read survives being packed again.

#include "PackerFuzz.h"

using namespace kyv::fuzz;
using kyv::compressor::MsDataPacker;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static SkippedRecords skippedRecords;
    if (size == 0)
        return 0;
    const auto kind = streamKind(data[0]);
    const QByteArray record(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    const AnnouncedList announced{kyv::reference::FieldReader(record, kind)};
    if (skippedRecords.skips(announced))
        return 0;

    QDataStream stream(record);
    apply(kind, stream);
    QList<quint32> values;
    const kyv::Error error = MsDataPacker::unpack(&values, stream);
    if (announced.isShort()) {
        kyv::reference::FieldReader reader(record, kind);
        const auto expected = kyv::reference::readIntegerList(reader);
        require(expected.has_value() != error.hasError(), "errors are those of the format");
        if (expected)
            require(QList<quint32>(expected->begin(), expected->end()) == values,
                    "values are those of the format");
    }
    if (error.hasError())
        return 0;

    QByteArray packed;
    QDataStream out(&packed, QIODevice::WriteOnly);
    apply(kind, out);
    require(!MsDataPacker::pack(out, values.constData(), quint32(values.size())).hasError(),
            "a list that was read can be packed");
    QDataStream in(packed);
    apply(kind, in);
    QList<quint32> again;
    require(!MsDataPacker::unpack(&again, in).hasError() && again == values,
            "packing and unpacking is the identity");
    return 0;
}
