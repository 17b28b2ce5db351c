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

/// So many spectra of one kind are named at most, so that a run of nothing else fits in memory.
constexpr qsizetype namedLimit = 10000;

/// Adds \a spectrum to \a list, for \a reason, unless that is full.
void addNamed(QList<NamedSpectrum> *list, const runs::Spectrum &spectrum, const QString &reason);

/// Bytes of a point with x and y as doubles, and with y as a float: what methods are compared to.
constexpr double doublesPerPoint = 16;
constexpr double planarPerPoint = 12;

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

/// What one method of the intensity service makes of the intensities of a run, as 32-bit floats.
struct PackSurvey
{
    QString method;
    qsizetype spectra = 0;
    qsizetype intensities = 0;
    qint64 packedBytes = 0;
    double packSeconds = 0; ///< Deriving the parameters included.
    double unpackSeconds = 0;
    qsizetype exact = 0;             ///< Spectra whose intensities all come back bit for bit.
    qsizetype positive = 0;          ///< Intensities above 0; the errors are theirs.
    qsizetype becameZero = 0;        ///< Those of them that come back as 0.
    double largestRelativeError = 0; ///< |restored - original| / original.
    double squaredErrors = 0;        ///< Sum of the squares of all relative errors.
    QList<NamedSpectrum> unusable;   ///< Spectra that this method must not be used for.

    double rmsRelativeError() const;
};

/// What the byte service makes of one kind of content of a run.
struct ContentSurvey
{
    QString content;
    qsizetype pieces = 0; ///< Calls: one a spectrum, or one for all of the XML.
    qint64 bytes = 0;
    qint64 compressedBytes = 0;
    double compressSeconds = 0;
    double decompressSeconds = 0;
    qsizetype exact = 0;  ///< Pieces that come back.
    qsizetype cut = 0;    ///< Pieces that did not shrink and were cut.
    bool sampled = false; ///< Only the beginning of the run was taken.
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
    QList<PackSurvey> intensities;    ///< RawData, Quantizing.
    QList<ContentSurvey> contents;    ///< XML, m/z planes, intensity planes.
};

/// Adds the figures of \a more to those of \a sum, for a total over several files.
void addTo(MethodSurvey *sum, const MethodSurvey &more);
void addTo(PackSurvey *sum, const PackSurvey &more);
void addTo(ContentSurvey *sum, const ContentSurvey &more);

/// The report for people: files from the largest to the smallest, methods from the smallest result
/// to the largest, and what must be said about them.
QString textReport(QList<FileSurvey> files, bool quiet);

/// The report for programs; its keys are documented in docs/kyv-ms.md.
QByteArray jsonReport(const QList<FileSurvey> &files);

} // namespace kyv::tool
