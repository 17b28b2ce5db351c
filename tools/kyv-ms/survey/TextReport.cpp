// The survey as people read it.

#include "SurveyReport.h"

#include "../Console.h"
#include "../TextTable.h"

#include <QFileInfo>

#include <algorithm>

namespace kyv::tool {

namespace {

constexpr double megabyte = 1e6;
constexpr qsizetype namedAtMost = 3; // spectra of one kind; --json names them

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
    if (spectra.size() == namedLimit)
        text += QStringLiteral("      (of these, only the first %1 are counted)\n")
                    .arg(grouped(namedLimit));
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

/// "0.71 %"
QString percentText(double share)
{
    return share == 0 ? QStringLiteral("none")
                      : QString::number(100 * share, 'g', 3) + QStringLiteral(" %");
}

QString packTable(const QList<PackSurvey> &methods)
{
    constexpr double floatBytes = 4;
    TextTable table({QStringLiteral("intensities alone"), QStringLiteral("bytes/\nintensity"),
                     QStringLiteral("smaller\nthan floats"), QStringLiteral("pack\nMB/s"),
                     QStringLiteral("\nMint/s"), QStringLiteral("unpack\nMB/s"),
                     QStringLiteral("\nMint/s"), QStringLiteral("exact\nspectra"),
                     QStringLiteral("relative error\nRMS"), QStringLiteral("\nlargest"),
                     QStringLiteral("became\nzero")});
    for (const PackSurvey &method : methods) {
        const double count = double(method.intensities);
        const double bytes = double(method.packedBytes);
        const double positive = double(std::max<qsizetype>(method.positive, 1));
        table.addRow({method.method, ratio(bytes, count, 2), times(floatBytes * count, bytes),
                      ratio(floatBytes * count / megabyte, method.packSeconds, 0),
                      ratio(count / megabyte, method.packSeconds, 1),
                      ratio(floatBytes * count / megabyte, method.unpackSeconds, 0),
                      ratio(count / megabyte, method.unpackSeconds, 1),
                      mostly(method.exact, method.spectra), percentText(method.rmsRelativeError()),
                      percentText(method.largestRelativeError),
                      percentText(double(method.becameZero) / positive)});
    }
    return table.text(2);
}

QString contentTable(const QList<ContentSurvey> &contents)
{
    TextTable table({QStringLiteral("byte service"), QStringLiteral("size"),
                     QStringLiteral("compressed"), QStringLiteral("times\nsmaller"),
                     QStringLiteral("compress\nMB/s"), QStringLiteral("decompress\nMB/s"),
                     QStringLiteral("\npieces"), QStringLiteral("come\nback"),
                     QStringLiteral("are\ncut")});
    for (const ContentSurvey &content : contents) {
        const double bytes = double(content.bytes);
        table.addRow({content.content, humanSize(content.bytes), humanSize(content.compressedBytes),
                      times(bytes, double(content.compressedBytes)),
                      ratio(bytes / megabyte, content.compressSeconds, 1),
                      ratio(bytes / megabyte, content.decompressSeconds, 1),
                      grouped(content.pieces), mostly(content.exact, content.pieces),
                      content.cut == 0 ? QStringLiteral("none") : grouped(content.cut)});
    }
    return table.text(2);
}

/// The three tables of one file or of all.
QString tables(const QList<MethodSurvey> &methods, const QList<PackSurvey> &intensities,
               const QList<ContentSurvey> &contents)
{
    QString text = QLatin1Char('\n') + methodTable(methods);
    if (!intensities.isEmpty())
        text += QLatin1Char('\n') + packTable(intensities);
    if (!contents.isEmpty())
        text += QLatin1Char('\n') + contentTable(contents);
    return text;
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
    for (const PackSurvey &method : file.intensities)
        text += reasonLines(method.method, method.unusable, method.spectra);
    for (const ContentSurvey &content : file.contents)
        if (content.sampled)
            text += QStringLiteral("  %1: only the first %2 were taken\n")
                        .arg(content.content, humanSize(content.bytes));
    return text;
}

QString fileReport(const FileSurvey &file, bool quiet)
{
    QString text = oneLine(file.path) + QLatin1Char('\n') + contents(file);
    if (file.failure)
        text += QStringLiteral("  read up to byte %1 only: %2\n")
                    .arg(grouped(file.failure->byteOffset), oneLine(file.failure->reason));
    if (file.summary.points > 0)
        text += tables(file.methods, file.intensities, file.contents);
    else
        text += QStringLiteral("  nothing to survey\n");
    if (!quiet) {
        const QString remarks = notes(file);
        if (!remarks.isEmpty())
            text += QLatin1Char('\n') + remarks;
    }
    return text + QLatin1Char('\n');
}

/// One row for each name in \a lists, summed over them, in the order of the first list.
template <typename Row>
QList<Row> summed(const QList<QList<Row>> &lists, QString Row::*name)
{
    QList<Row> sums;
    for (const QList<Row> &rows : lists) {
        for (const Row &row : rows) {
            auto sum = std::find_if(sums.begin(), sums.end(),
                                    [&](const Row &known) { return known.*name == row.*name; });
            if (sum == sums.end())
                sum = sums.insert(sums.end(), Row());
            addTo(&*sum, row);
        }
    }
    return sums;
}

QString totalReport(const QList<FileSurvey> &files)
{
    QList<QList<MethodSurvey>> methodLists;
    QList<QList<PackSurvey>> packLists;
    QList<QList<ContentSurvey>> contentLists;
    qint64 spectra = 0;
    qint64 points = 0;
    for (const FileSurvey &file : files) {
        methodLists.append(file.methods);
        packLists.append(file.intensities);
        contentLists.append(file.contents);
        spectra += file.summary.spectra;
        points += file.summary.points;
    }
    QList<MethodSurvey> methods = summed(methodLists, &MethodSurvey::method);
    std::stable_sort(methods.begin(), methods.end(),
                     [](const MethodSurvey &a, const MethodSurvey &b) {
                         return a.encodedBytes < b.encodedBytes;
                     });
    return QStringLiteral("all %1 files: %2, %3\n")
               .arg(files.size())
               .arg(counted(spectra, "spectrum", "spectra"), counted(points, "point", "points"))
           + tables(methods, summed(packLists, &PackSurvey::method),
                    summed(contentLists, &ContentSurvey::content));
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
        text += QStringLiteral(
            "MB: 10^6 bytes, of points (16 bytes a point), intensities (4 bytes) or the content; "
            "Mpt, Mint: 10^6\npoints, intensities. Times: the fastest of several calls. Exact: "
            "bit for bit; int.: intensities.\nErrors: of positive intensities, as 32-bit floats. "
            "Cut: the byte service cuts what does not shrink.\n");
    return text;
}

} // namespace kyv::tool
