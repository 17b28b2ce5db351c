// Any bytes as a packed list of intensities: a value or an error, the one that the reference
// reader gives, whichever loop restores the levels.

#include "PackerFuzz.h"

#include "internal/IntensityKernels.h"
#include "internal/IntensityQuantizer.h"
#include "internal/LevelMemo.h"

using namespace kyv::fuzz;
using namespace kyv::compressor;

namespace {

SkippedRecords skippedRecords;

/// The integer list in a packed list; an empty one where there is none.
AnnouncedList announcedBy(const QByteArray &packed, kyv::reference::StreamKind kind)
{
    kyv::reference::FieldReader head(packed, kind);
    const auto parameters = kyv::reference::readParameters(head);
    const bool hasLevels = parameters && parameters->method != 0;
    return AnnouncedList(hasLevels ? head : kyv::reference::FieldReader({}, kind));
}

void compareWithReference(const QByteArray &packed, kyv::reference::StreamKind kind,
                          const kyv::Error &error, const QList<float> &intensities)
{
    const auto expected = kyv::reference::readIntensities(packed, kind);
    require((expected.outcome == kyv::reference::Outcome::Ok) != error.hasError(),
            "errors are those of the format");
    if (error.hasError())
        return;
    require(expected.intensities.size() == std::size_t(intensities.size()), "length");
    for (qsizetype i = 0; i < intensities.size(); ++i)
        require(sameFloat(expected.intensities[std::size_t(i)], intensities[i]), "intensities");
}

/// Restores the levels with every set of loops.
void compareKernels(const MsDataPacker::RawIntensities &raw, const QList<float> &intensities)
{
    const internal::IntensityQuantizer quantizer(raw.parameters);
    QList<float> restored(intensities.size());
    for (const internal::IntensityKernels *kernels : internal::availableIntensityKernels()) {
        internal::LevelMemo memo(quantizer, *kernels);
        memo.restore(raw.intensities.constData(), std::size_t(restored.size()), restored.data());
        for (qsizetype i = 0; i < restored.size(); ++i)
            require(sameFloat(restored[i], intensities[i]), kernels->name);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const auto kind = streamKind(data[0]);
    const QByteArray packed(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    const AnnouncedList announced = announcedBy(packed, kind);
    if (skippedRecords.skips(announced))
        return 0;

    QDataStream stream(packed);
    apply(kind, stream);
    QList<float> intensities;
    const kyv::Error error = MsDataPacker::unpack(&intensities, stream);
    if (announced.isShort())
        compareWithReference(packed, kind, error, intensities);

    QDataStream rawStream(packed);
    apply(kind, rawStream);
    const auto raw = MsDataPacker::unpackRaw(rawStream);
    if (!raw.hasValue())
        return 0;
    require(!error.hasError(), "levels can be read only where intensities can");
    require(raw.value().intensities.size() == intensities.size(), "as many levels as intensities");
    if (announced.isShort())
        compareKernels(raw.value(), intensities);
    return 0;
}
