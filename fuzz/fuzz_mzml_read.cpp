// Any bytes at all as an mzML file: the reader ends in spectra or in a refusal of one line.

#include "mzml/Run.h"

#include <QBuffer>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QBuffer buffer;
    buffer.setData(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    buffer.open(QIODevice::ReadOnly);

    qint64 textBytes = 0;
    qsizetype spectra = 0;
    qsizetype points = 0;
    kyv::runs::RunHandlers handlers;
    handlers.textWithoutArrays = [&](const char *, qsizetype count) { textBytes += count; };
    handlers.spectrum = [&](kyv::runs::Spectrum &&spectrum) {
        ++spectra;
        points += spectrum.points.size();
        return true;
    };
    const kyv::runs::RunReading run = kyv::runs::readRun(buffer, handlers);

    bool holds = run.summary.spectra == spectra && run.summary.points == points
                 && textBytes <= run.summary.xmlBytes;
    if (run.failure)
        holds = holds && !run.failure->reason.isEmpty() && run.failure->byteOffset >= 0
                && run.failure->byteOffset <= run.summary.xmlBytes;
    if (!holds)
        std::abort();
    return 0;
}
