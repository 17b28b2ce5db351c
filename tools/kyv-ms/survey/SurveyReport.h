#pragma once

#include "../mzml/Run.h"

#include <QList>
#include <QString>

namespace kyv::tool {

/// A spectrum that does not come back bit for bit, or was not surveyed.
struct NamedSpectrum
{
    qsizetype index = 0;
    QString id;
    qint64 byteOffset = 0;
    QString reason;
};

/// What one method of the points service makes of the spectra of a run.
struct MethodSurvey
{
    QString method;
    qsizetype spectra = 0;
    qsizetype points = 0;
    qint64 encodedBytes = 0;
    double encodeSeconds = 0; ///< Sum over the spectra of the fastest of several calls.
    double decodeSeconds = 0;
    qsizetype exactX = 0;                      ///< Spectra whose m/z all come back bit for bit.
    qsizetype exactY = 0;                      ///< The same for intensities.
    qsizetype exact = 0;                       ///< Both.
    double largestIntensityChange = 0;         ///< |restored - original|.
    double largestRelativeIntensityChange = 0; ///< The same divided by |original|, where not 0.
    double largestMzChange = 0;
    QList<NamedSpectrum> changed; ///< All that are not exact, in the order of the run.
};

/// What a survey found out about one file.
struct FileSurvey
{
    QString path;
    runs::RunSummary summary;
    std::optional<runs::ReadFailure> failure;
    qsizetype profileSpectra = 0;
    qsizetype centroidSpectra = 0;
    qsizetype longestSpectrum = 0;    ///< In points.
    QList<NamedSpectrum> notSurveyed; ///< Spectra whose arrays give no points.
    QList<MethodSurvey> methods;      ///< Smallest result first.
};

/// Adds the figures of \a more to those of \a sum, for a total over several files.
void addTo(MethodSurvey *sum, const MethodSurvey &more);

/// The report for people: files from the largest to the smallest, methods from the smallest result
/// to the largest, and what must be said about them.
QString textReport(QList<FileSurvey> files, bool quiet);

/// The report for programs; its keys are documented in docs/kyv-ms.md.
QByteArray jsonReport(const QList<FileSurvey> &files);

} // namespace kyv::tool
