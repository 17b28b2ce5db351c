// The survey as people read it.

#include "SurveyReport.h"

#include "../Console.h"
#include "../TextTable.h"

#include <QFileInfo>

#include <algorithm>

namespace kyv::tool {

namespace {

constexpr double doublesPerPoint = 16; // bytes of x and y as doubles
constexpr double planarPerPoint = 12;  // bytes of x as a double and y as a float
constexpr double megabyte = 1e6;
constexpr qsizetype namedAtMost = 3; // spectra of one kind; --json names them all

QString decimals(double value, int digits)
{
    return QString::number(value, 'f', digits);
}

QString ratio(double numerator, double denominator, int digits)
{
    return denominator > 0 ? decimals(numerator / denominator, digits) : QStringLiteral("-");
}

/// "2.85x"
QString times(double numerator, double denominator)
{
    return denominator > 0 ? decimals(numerator / denominator, 2) + QLatin1Char('x')
                           : QStringLiteral("-");
}

QString mostly(qsizetype part, qsizetype whole)
{
    return part == whole ? QStringLiteral("all") : grouped(part);
}

QString changeText(double change)
{
    return change == 0 ? QStringLiteral("none") : QString::number(change, 'g', 3);
}

/// An id short enough for a list: of a vendor's "controllerType=0 ... scan=7" the scan alone.
QString shortId(const NamedSpectrum &spectrum)
{
    if (spectrum.id.isEmpty())
        return QStringLiteral("number %1").arg(spectrum.index);
    for (const QString &part : spectrum.id.split(QLatin1Char(' ')))
        if (part.startsWith(QStringLiteral("scan=")))
            return oneLine(part, 48);
    return oneLine(spectrum.id, 48);
}

/// "scan=1, scan=5, scan=7 and 12 more"
QString someIds(const QList<const NamedSpectrum *> &spectra)
{
    QStringList ids;
    for (const NamedSpectrum *spectrum : spectra.first(std::min(spectra.size(), namedAtMost)))
        ids << shortId(*spectrum);
    QString text = ids.join(QStringLiteral(", "));
    if (spectra.size() > namedAtMost)
        text += QStringLiteral(" and %1 more").arg(grouped(spectra.size() - namedAtMost));
    return text;
}

/// One line for each reason: how many of \a total spectra it concerns, and which.
QString reasonLines(const QString &title, const QList<NamedSpectrum> &spectra, qsizetype total)
{
    QMap<QString, QList<const NamedSpectrum *>> byReason;
    for (const NamedSpectrum &spectrum : spectra)
        byReason[spectrum.reason].append(&spectrum);
    QString text;
    for (auto group = byReason.begin(); group != byReason.end(); ++group)
        text += QStringLiteral("  %1: %2 of %3: %4\n      (%5)\n")
                    .arg(title, grouped(group->size()), counted(total, "spectrum", "spectra"),
                         oneLine(group.key()), someIds(*group));
    return text;
}

QString countedNames(const QMap<QString, qsizetype> &names)
{
    QStringList parts;
    for (auto name = names.begin(); name != names.end(); ++name)
        parts << QStringLiteral("%1 (%2)").arg(oneLine(name.key(), 60), grouped(name.value()));
    return parts.join(QStringLiteral("; "));
}

QString methodTable(const QList<MethodSurvey> &methods)
{
    TextTable table({QStringLiteral("method"), QStringLiteral("bytes/\npoint"),
                     QStringLiteral("smaller than\nplanar"), QStringLiteral("\ndoubles"),
                     QStringLiteral("encode\nMB/s"), QStringLiteral("\nMpt/s"),
                     QStringLiteral("decode\nMB/s"), QStringLiteral("\nMpt/s"),
                     QStringLiteral("exact\nspectra"), QStringLiteral("exact\nm/z"),
                     QStringLiteral("exact\nint."), QStringLiteral("largest\nint. change")});
    for (const MethodSurvey &method : methods) {
        const double points = double(method.points);
        const double bytes = double(method.encodedBytes);
        table.addRow({method.method, ratio(bytes, points, 2), times(planarPerPoint * points, bytes),
                      times(doublesPerPoint * points, bytes),
                      ratio(doublesPerPoint * points / megabyte, method.encodeSeconds, 0),
                      ratio(points / megabyte, method.encodeSeconds, 1),
                      ratio(doublesPerPoint * points / megabyte, method.decodeSeconds, 0),
                      ratio(points / megabyte, method.decodeSeconds, 1),
                      mostly(method.exact, method.spectra), mostly(method.exactX, method.spectra),
                      mostly(method.exactY, method.spectra),
                      changeText(method.largestIntensityChange)});
    }
    return table.text(2);
}

/// What the file holds, in two or three lines.
QString contents(const FileSurvey &file)
{
    const runs::RunSummary &summary = file.summary;
    QStringList kinds;
    if (file.profileSpectra > 0)
        kinds << QStringLiteral("%1 profile").arg(grouped(file.profileSpectra));
    if (file.centroidSpectra > 0)
        kinds << QStringLiteral("%1 centroid").arg(grouped(file.centroidSpectra));
    QString text = QStringLiteral("  ") + counted(summary.spectra, "spectrum", "spectra");
    if (!kinds.isEmpty())
        text += QStringLiteral(" (%1)").arg(kinds.join(QStringLiteral(", ")));
    text += QStringLiteral(", ") + counted(summary.points, "point", "points")
            + QStringLiteral(", longest %1").arg(grouped(file.longestSpectrum));
    if (summary.chromatograms > 0)
        text += QStringLiteral("; %1, not surveyed")
                    .arg(counted(summary.chromatograms, "chromatogram", "chromatograms"));
    text += QStringLiteral("\n  file %1").arg(humanSize(summary.fileBytes));
    if (summary.xmlBytes != summary.fileBytes)
        text += QStringLiteral(", unpacked %1").arg(humanSize(summary.xmlBytes));
    text += QStringLiteral("; points as doubles %1\n")
                .arg(humanSize(summary.points * qint64(doublesPerPoint)));
    return text;
}

QString notes(const FileSurvey &file)
{
    const runs::RunSummary &summary = file.summary;
    QString text;
    if (!summary.arrayFormats.isEmpty())
        text += QStringLiteral("  arrays stored as: %1\n").arg(countedNames(summary.arrayFormats));
    if (!summary.otherArrays.isEmpty())
        text += QStringLiteral("  arrays beside, not surveyed: %1\n")
                    .arg(countedNames(summary.otherArrays));
    if (!summary.unknownCompressions.isEmpty())
        text += QStringLiteral("  arrays in a compression that is not read: %1\n")
                    .arg(countedNames(summary.unknownCompressions));
    text += reasonLines(QStringLiteral("not surveyed"), file.notSurveyed, summary.spectra);
    for (const MethodSurvey &method : file.methods)
        text += reasonLines(method.method, method.changed, method.spectra);
    return text;
}

QString fileReport(const FileSurvey &file, bool quiet)
{
    QString text = oneLine(file.path) + QLatin1Char('\n') + contents(file);
    if (file.failure)
        text += QStringLiteral("  read up to byte %1 only: %2\n")
                    .arg(grouped(file.failure->byteOffset), oneLine(file.failure->reason));
    if (file.summary.points > 0)
        text += QLatin1Char('\n') + methodTable(file.methods);
    else
        text += QStringLiteral("  nothing to survey\n");
    if (!quiet) {
        const QString remarks = notes(file);
        if (!remarks.isEmpty())
            text += QLatin1Char('\n') + remarks;
    }
    return text + QLatin1Char('\n');
}

QString totalReport(const QList<FileSurvey> &files)
{
    QMap<QString, MethodSurvey> sums;
    for (const FileSurvey &file : files)
        for (const MethodSurvey &method : file.methods)
            addTo(&sums[method.method], method);
    QList<MethodSurvey> methods = sums.values();
    std::stable_sort(methods.begin(), methods.end(),
                     [](const MethodSurvey &a, const MethodSurvey &b) {
                         return a.encodedBytes < b.encodedBytes;
                     });
    if (methods.isEmpty())
        return {};
    return QStringLiteral("all %1 files: %2, %3\n\n")
               .arg(files.size())
               .arg(counted(methods.constFirst().spectra, "spectrum", "spectra"),
                    counted(methods.constFirst().points, "point", "points"))
           + methodTable(methods);
}

} // namespace

QString textReport(QList<FileSurvey> files, bool quiet)
{
    std::stable_sort(files.begin(), files.end(), [](const FileSurvey &a, const FileSurvey &b) {
        return a.summary.points > b.summary.points;
    });
    QString text;
    QList<FileSurvey> surveyed;
    for (const FileSurvey &file : files) {
        if (file.failure && file.summary.spectra == 0)
            continue; // standard error has said it
        text += fileReport(file, quiet);
        surveyed.append(file);
    }
    if (surveyed.size() > 1)
        text += totalReport(surveyed) + QLatin1Char('\n');
    if (!quiet && !surveyed.isEmpty())
        text += QStringLiteral("MB: 10^6 bytes of points, 16 bytes a point; Mpt: 10^6 points; "
                               "of each call the fastest time.\n"
                               "Exact: spectra that come back bit for bit; int.: intensities.\n");
    return text;
}

} // namespace kyv::tool
