// Measured runs: every spectrum of every mzML file in KYV_DATA_DIR through the bit codec.

#include "PointsCodecs.h"
#include "TestData.h"
#include "Thorough.h"

#include <mzml/Run.h>

#include <gtest/gtest.h>

#include <cstdio>

using namespace kyv;
using namespace kyv::test;

namespace {

/// What a run came to.
struct Tally
{
    qsizetype spectra = 0;
    qsizetype promised = 0; ///< Spectra that the format promises to restore.
    qsizetype points = 0;
};

void checkSpectrum(const runs::Spectrum &spectrum, Tally &tally)
{
    const QList<QPointF> &points = spectrum.points;
    const QByteArray payload = encoded(points);
    ++tally.spectra;
    tally.points += points.size();

    const auto decoded = compressor::internal::BitCompression().decode(payload);
    if (restoresX(points)) {
        ++tally.promised;
        ASSERT_TRUE(decoded.hasValue() && sameBits(decoded.value(), storedPoints(points)))
            << spectrum.id.toStdString();
    }
    // The literal reading is slow: all of the short spectra, and the first of the long ones.
    if (isThorough() || points.size() < 400 || tally.points == points.size()) {
        ASSERT_TRUE(payload == reference::encodeBitCompressed(points)) << spectrum.id.toStdString();
        ASSERT_TRUE(readersAgree(payload)) << spectrum.id.toStdString();
    }
}

Tally checkRun(const QString &path)
{
    Tally tally;
    runs::RunHandlers handlers;
    handlers.spectrum = [&](runs::Spectrum &&spectrum) {
        if (spectrum.setAside.isEmpty())
            checkSpectrum(spectrum, tally);
        return !testing::Test::HasFatalFailure();
    };
    const runs::RunReading reading = runs::readRun(path, handlers);
    EXPECT_FALSE(reading.failure)
        << reading.failure.value_or(runs::ReadFailure()).reason.toStdString();
    return tally;
}

} // namespace

TEST(PointsMeasuredRunsTest, everyPromisedSpectrumComesBackBitForBit)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_DATA_DIR");
    const QDir dir(folder);
    const QStringList files =
        dir.entryList({QStringLiteral("*.mzML"), QStringLiteral("*.mzML.gz")});
    ASSERT_FALSE(files.isEmpty());
    for (const QString &file : files) {
        SCOPED_TRACE(file.toStdString());
        const Tally tally = checkRun(dir.filePath(file));
        std::printf("%s: %lld spectra, %lld points, %lld restored bit for bit\n", qPrintable(file),
                    qlonglong(tally.spectra), qlonglong(tally.points), qlonglong(tally.promised));
    }
}
