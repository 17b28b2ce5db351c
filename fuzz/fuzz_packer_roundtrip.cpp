// Any floats, with parameters derived from them or taken from the input: raw lists come back bit
// for bit, levels and restored intensities are those of the formula, whichever loop computes
// them; the same bytes as integers come back as they were.

#include "PackerFuzz.h"

#include "internal/IntensityKernels.h"
#include "internal/IntensityQuantizer.h"

#include <vector>

using namespace kyv::fuzz;
using namespace kyv::compressor;

namespace {

constexpr qsizetype parameterBytes = 2 + 4 * 4; // in a stream of single precision

/// Parameters with the fields that \a fields holds.
PackParameters parametersFrom(const QByteArray &fields)
{
    QByteArray record = QByteArray::fromHex("000101") + fields;
    QDataStream stream(record);
    stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
    return PackParameters::read(stream).value();
}

kyv::reference::Parameters asReference(const PackParameters &parameters)
{
    return {1,
            parameters.bits(),
            parameters.bitOffset(),
            parameters.power(),
            parameters.singleCount(),
            parameters.rawOffset(),
            parameters.rawMax()};
}

void rawListsComeBack(const std::vector<float> &values, kyv::reference::StreamKind kind)
{
    QByteArray packed;
    QDataStream out(&packed, QIODevice::WriteOnly);
    apply(kind, out);
    const auto raw = PackParameters::create(values.data(), values.size(), PackMethod::RawData);
    require(!MsDataPacker::pack(out, values.data(), quint32(values.size()), raw).hasError(), "raw");
    QDataStream in(packed);
    apply(kind, in);
    QList<float> restored;
    require(!MsDataPacker::unpack(&restored, in).hasError(), "raw lists can be read");
    require(std::size_t(restored.size()) == values.size()
                && (values.empty()
                    || std::memcmp(restored.constData(), values.data(), values.size() * 4) == 0),
            "raw lists come back bit for bit");
}

void levelsAreThoseOfTheFormula(const std::vector<float> &values, const PackParameters &parameters)
{
    QByteArray packed;
    require(
        !MsDataPacker::pack(&packed, values.data(), quint32(values.size()), parameters).hasError(),
        "quantizing does not fail");
    const auto raw = MsDataPacker::unpackRaw(packed);
    require(raw.hasValue() && std::size_t(raw.value().intensities.size()) == values.size(),
            "as many levels as intensities");
    QList<float> restored;
    require(!MsDataPacker::unpack(&restored, packed).hasError(), "quantized lists can be read");

    const auto reference = asReference(parameters);
    const internal::IntensityQuantizer quantizer(parameters);
    std::vector<quint32> levels(values.size());
    for (const internal::IntensityKernels *kernels : internal::availableIntensityKernels()) {
        kernels->quantize(quantizer, values.data(), values.size(), levels.data());
        for (std::size_t i = 0; i < values.size(); ++i)
            require(levels[i] == raw.value().intensities[qsizetype(i)], kernels->name);
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        require(levels[i] == kyv::reference::levelOf(values[i], reference), "levels");
        require(
            sameFloat(restored[qsizetype(i)], kyv::reference::intensityOf(levels[i], reference)),
            "intensities");
    }
}

void integersComeBack(const QByteArray &bytes, kyv::reference::StreamKind kind)
{
    QList<quint32> values(bytes.size() / 4);
    if (!values.isEmpty())
        std::memcpy(values.data(), bytes.constData(), std::size_t(values.size()) * 4);
    QByteArray packed;
    QDataStream out(&packed, QIODevice::WriteOnly);
    apply(kind, out);
    require(!MsDataPacker::pack(out, values.constData(), quint32(values.size())).hasError(),
            "pack");
    QDataStream in(packed);
    apply(kind, in);
    QList<quint32> restored;
    require(!MsDataPacker::unpack(&restored, in).hasError() && restored == values,
            "integers come back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::uint8_t choice = data[0];
    const auto kind = streamKind(choice);
    QByteArray bytes(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    integersComeBack(bytes, kind);

    const bool ownParameters = (choice & 4) != 0 && bytes.size() >= parameterBytes;
    const QByteArray fields = ownParameters ? bytes.left(parameterBytes) : QByteArray();
    bytes.remove(0, fields.size());
    std::vector<float> values(std::size_t(bytes.size() / 4));
    if (!values.empty())
        std::memcpy(values.data(), bytes.constData(), values.size() * 4);
    rawListsComeBack(values, kind);

    const auto derived =
        PackParameters::create(values.data(), values.size(), PackMethod::Quantizing);
    require(sameFloat(derived.singleCount(), kyv::reference::singleCountBySorting(values)),
            "the single count is that of the rule");
    levelsAreThoseOfTheFormula(values, ownParameters ? parametersFrom(fields) : derived);
    return 0;
}
