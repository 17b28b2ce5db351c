// The survey as programs read it. The keys are documented in docs/kyv-ms.md.

#include "SurveyReport.h"

#include "KyvMsVersion.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace kyv::tool {

namespace {

constexpr int reportVersion = 1;

/// A quotient, or null where there is nothing to divide by.
QJsonValue quotient(double numerator, double denominator)
{
    return denominator > 0 ? QJsonValue(numerator / denominator) : QJsonValue();
}

QJsonObject counts(const QMap<QString, qsizetype> &names)
{
    QJsonObject object;
    for (auto name = names.begin(); name != names.end(); ++name)
        object.insert(name.key(), qint64(name.value()));
    return object;
}

QJsonArray spectra(const QList<NamedSpectrum> &named)
{
    QJsonArray array;
    for (const NamedSpectrum &spectrum : named)
        array.append(QJsonObject{{QStringLiteral("index"), qint64(spectrum.index)},
                                 {QStringLiteral("id"), spectrum.id},
                                 {QStringLiteral("byteOffset"), spectrum.byteOffset},
                                 {QStringLiteral("reason"), spectrum.reason}});
    return array;
}

QJsonObject methodObject(const MethodSurvey &method)
{
    const double points = double(method.points);
    const double bytes = double(method.encodedBytes);
    return {
        {QStringLiteral("method"), method.method},
        {QStringLiteral("encodedBytes"), method.encodedBytes},
        {QStringLiteral("bytesPerPoint"), quotient(bytes, points)},
        {QStringLiteral("ratioToPlanar"), quotient(planarPerPoint * points, bytes)},
        {QStringLiteral("ratioToDoubles"), quotient(doublesPerPoint * points, bytes)},
        {QStringLiteral("encodeMBPerSecond"),
         quotient(doublesPerPoint * points / 1e6, method.encodeSeconds)},
        {QStringLiteral("encodeMPointsPerSecond"), quotient(points / 1e6, method.encodeSeconds)},
        {QStringLiteral("decodeMBPerSecond"),
         quotient(doublesPerPoint * points / 1e6, method.decodeSeconds)},
        {QStringLiteral("decodeMPointsPerSecond"), quotient(points / 1e6, method.decodeSeconds)},
        {QStringLiteral("exactSpectra"), qint64(method.exact)},
        {QStringLiteral("exactMzSpectra"), qint64(method.exactX)},
        {QStringLiteral("exactIntensitySpectra"), qint64(method.exactY)},
        {QStringLiteral("largestIntensityChange"), method.largestIntensityChange},
        {QStringLiteral("largestRelativeIntensityChange"), method.largestRelativeIntensityChange},
        {QStringLiteral("largestMzChange"), method.largestMzChange},
        {QStringLiteral("changedSpectra"), spectra(method.changed)},
    };
}

QJsonObject packObject(const PackSurvey &method)
{
    const double count = double(method.intensities);
    const double bytes = double(method.packedBytes);
    return {
        {QStringLiteral("method"), method.method},
        {QStringLiteral("packedBytes"), method.packedBytes},
        {QStringLiteral("bytesPerIntensity"), quotient(bytes, count)},
        {QStringLiteral("ratioToFloats"), quotient(4 * count, bytes)},
        {QStringLiteral("packMBPerSecond"), quotient(4 * count / 1e6, method.packSeconds)},
        {QStringLiteral("packMIntensitiesPerSecond"), quotient(count / 1e6, method.packSeconds)},
        {QStringLiteral("unpackMBPerSecond"), quotient(4 * count / 1e6, method.unpackSeconds)},
        {QStringLiteral("unpackMIntensitiesPerSecond"),
         quotient(count / 1e6, method.unpackSeconds)},
        {QStringLiteral("exactSpectra"), qint64(method.exact)},
        {QStringLiteral("positiveIntensities"), qint64(method.positive)},
        {QStringLiteral("becameZero"), qint64(method.becameZero)},
        {QStringLiteral("becameZeroShare"),
         quotient(double(method.becameZero), double(method.positive))},
        {QStringLiteral("largestRelativeError"), method.largestRelativeError},
        {QStringLiteral("rmsRelativeError"), method.rmsRelativeError()},
        {QStringLiteral("unusableSpectra"), spectra(method.unusable)},
    };
}

QJsonObject contentObject(const ContentSurvey &content)
{
    const double bytes = double(content.bytes);
    return {
        {QStringLiteral("content"), content.content},
        {QStringLiteral("pieces"), qint64(content.pieces)},
        {QStringLiteral("bytes"), content.bytes},
        {QStringLiteral("compressedBytes"), content.compressedBytes},
        {QStringLiteral("ratio"), quotient(bytes, double(content.compressedBytes))},
        {QStringLiteral("compressMBPerSecond"), quotient(bytes / 1e6, content.compressSeconds)},
        {QStringLiteral("decompressMBPerSecond"), quotient(bytes / 1e6, content.decompressSeconds)},
        {QStringLiteral("exactPieces"), qint64(content.exact)},
        {QStringLiteral("cutPieces"), qint64(content.cut)},
        {QStringLiteral("sampled"), content.sampled},
    };
}

template <typename Row>
QJsonArray objects(const QList<Row> &rows, QJsonObject (*object)(const Row &))
{
    QJsonArray array;
    for (const Row &row : rows)
        array.append(object(row));
    return array;
}

QJsonObject fileObject(const FileSurvey &file)
{
    const runs::RunSummary &summary = file.summary;
    QJsonObject object{
        {QStringLiteral("file"), file.path},
        {QStringLiteral("fileBytes"), summary.fileBytes},
        {QStringLiteral("xmlBytes"), summary.xmlBytes},
        {QStringLiteral("spectra"), qint64(summary.spectra)},
        {QStringLiteral("profileSpectra"), qint64(file.profileSpectra)},
        {QStringLiteral("centroidSpectra"), qint64(file.centroidSpectra)},
        {QStringLiteral("points"), qint64(summary.points)},
        {QStringLiteral("longestSpectrum"), qint64(file.longestSpectrum)},
        {QStringLiteral("chromatograms"), qint64(summary.chromatograms)},
        {QStringLiteral("arrayFormats"), counts(summary.arrayFormats)},
        {QStringLiteral("otherArrays"), counts(summary.otherArrays)},
        {QStringLiteral("unknownCompressions"), counts(summary.unknownCompressions)},
        {QStringLiteral("notSurveyed"), spectra(file.notSurveyed)},
        {QStringLiteral("methods"), objects(file.methods, methodObject)},
        {QStringLiteral("intensities"), objects(file.intensities, packObject)},
        {QStringLiteral("contents"), objects(file.contents, contentObject)},
    };
    if (file.failure)
        object.insert(
            QStringLiteral("failure"),
            QJsonObject{{QStringLiteral("kind"), file.failure->kind == runs::ReadFailure::Kind::Io
                                                     ? QStringLiteral("io")
                                                     : QStringLiteral("corrupt")},
                        {QStringLiteral("byteOffset"), file.failure->byteOffset},
                        {QStringLiteral("reason"), file.failure->reason}});
    return object;
}

} // namespace

QByteArray jsonReport(const QList<FileSurvey> &files)
{
    QJsonArray array;
    for (const FileSurvey &file : files)
        array.append(fileObject(file));
    const QJsonObject report{{QStringLiteral("version"), reportVersion},
                             {QStringLiteral("tool"), QStringLiteral("kyv-ms " KYV_MS_VERSION)},
                             {QStringLiteral("files"), array}};
    return QJsonDocument(report).toJson(QJsonDocument::Indented);
}

} // namespace kyv::tool
