// kyv-ms survey: what every method of the library makes of the spectra of mzML runs.

#include "Commands.h"
#include "Console.h"
#include "ExitCode.h"
#include "FileArgument.h"
#include "OutputFile.h"
#include "ProgressBar.h"
#include "mzml/Run.h"
#include "survey/BytesSurvey.h"
#include "survey/IntensityPlot.h"
#include "survey/IntensitySurvey.h"
#include "survey/PointsSurvey.h"
#include "survey/SurveyReport.h"

#include <QFileInfo>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace kyv::tool {

namespace {

struct SurveyOptions
{
    std::vector<std::string> files;
    std::string plot;
    bool json = false;
    bool quiet = false;
    bool noProgress = false;
    int repeats = 3;
};

constexpr const char *footer = R"(
Examples:
  kyv-ms survey run.mzML.gz             how small, how fast, and is it exact?
  kyv-ms survey *.mzML                  several runs, and a total
  kyv-ms survey --json run.mzML | jq '.files[0].methods[] | {method, bytesPerPoint}'
  kyv-ms survey --plot error.svg run.mzML   see what quantizing does before trusting it
  kyv-ms simulate run.mzML && kyv-ms survey run.mzML

Exit codes: 0 all runs read, 1 some of several failed, 2 usage, 3 corrupt or
refused input, 5 a file cannot be opened, read or written.)";

/// Reads one run and puts its spectra through the library.
FileSurvey surveyFile(const QString &path, const SurveyOptions &options, IntensityPlot *plot,
                      const runs::ProgressHandler &progress)
{
    FileSurvey survey;
    survey.path = path;
    PointsSurvey points(options.repeats);
    IntensitySurvey intensities(options.repeats, plot);
    BytesSurvey bytes(options.repeats);
    runs::RunHandlers handlers;
    handlers.progress = progress;
    handlers.textWithoutArrays = [&](const char *text, qsizetype size) {
        bytes.addText(text, size);
    };
    handlers.spectrum = [&](runs::Spectrum &&spectrum) {
        survey.profileSpectra += spectrum.shape == runs::SpectrumShape::Profile;
        survey.centroidSpectra += spectrum.shape == runs::SpectrumShape::Centroid;
        survey.longestSpectrum = std::max(survey.longestSpectrum, spectrum.points.size());
        if (spectrum.setAside.isEmpty()) {
            points.add(spectrum);
            intensities.add(spectrum);
            bytes.add(spectrum);
        } else {
            addNamed(&survey.notSurveyed, spectrum, spectrum.setAside);
        }
        return true;
    };
    runs::RunReading reading = runs::readRun(path, handlers);
    survey.summary = reading.summary;
    survey.failure = reading.failure;
    survey.methods = points.takeMethods();
    survey.intensities = intensities.takeMethods();
    survey.contents = bytes.takeContents();
    return survey;
}

/// One file's failure alone decides; among several, 1 says that the others are fine.
ExitCode exitCodeOf(const QList<FileSurvey> &files)
{
    qsizetype failed = 0;
    ExitCode code = Success;
    for (const FileSurvey &file : files) {
        if (!file.failure)
            continue;
        ++failed;
        if (code != Corrupt)
            code = file.failure->kind == runs::ReadFailure::Kind::Io ? IoFailure : Corrupt;
    }
    return failed > 0 && failed < files.size() ? SomeFailed : code;
}

/// "kyv-ms: FILE: byte OFFSET: REASON"; a file that does not open has no offset.
QString failureLine(const FileSurvey &file)
{
    QString line = QStringLiteral("kyv-ms: %1: ").arg(oneLine(file.path));
    if (file.failure->kind == runs::ReadFailure::Kind::Corrupt)
        line += QStringLiteral("byte %1: ").arg(file.failure->byteOffset);
    return line + oneLine(file.failure->reason);
}

bool writePlot(const IntensityPlot &plot, const QStringList &files, const std::string &path)
{
    OutputFile output(pathOf(path));
    const QByteArray svg = plot.svg(files);
    if (output.isOpen() && output.device().write(svg) == svg.size() && output.commit())
        return true;
    printError(
        QStringLiteral("kyv-ms: %1: %2").arg(shownName(path, "standard output"), output.error()));
    return false;
}

ExitCode survey(const SurveyOptions &options)
{
    QStringList paths;
    qint64 totalBytes = 0;
    for (const std::string &file : options.files) {
        paths << pathOf(file);
        totalBytes += QFileInfo(paths.last()).size();
    }
    ProgressBar bar(!options.quiet && !options.noProgress, totalBytes);
    QList<FileSurvey> files;
    qint64 doneBytes = 0;
    IntensityPlot plot;
    for (const QString &path : paths) {
        const QString name = QFileInfo(path).fileName();
        files.append(
            surveyFile(path, options, options.plot.empty() ? nullptr : &plot,
                       [&](qint64 bytesRead, qint64) { bar.update(doneBytes + bytesRead, name); }));
        doneBytes += QFileInfo(path).size();
        if (files.last().failure) {
            bar.wipe();
            printError(failureLine(files.last()));
        }
    }
    bar.wipe();
    const QString report =
        options.json ? QString::fromUtf8(jsonReport(files)) : textReport(files, options.quiet);
    if (!printOut(report)) {
        printError(QStringLiteral("kyv-ms: the report cannot be written"));
        return IoFailure;
    }
    const bool anyRead = std::any_of(files.begin(), files.end(), [](const FileSurvey &file) {
        return !file.failure || file.summary.points > 0;
    });
    if (!options.plot.empty() && anyRead && !writePlot(plot, paths, options.plot))
        return IoFailure;
    return exitCodeOf(files);
}

} // namespace

void addSurveyCommand(CLI::App &application, int *exitCode)
{
    auto options = std::make_shared<SurveyOptions>();
    CLI::App *command = application.add_subcommand(
        "survey", "Tell how small and how fast each method makes mzML runs, and what comes back");
    command->footer(footer);
    command->add_option("RUN", options->files, "mzML runs (.mzML, .mzML.gz)")
        ->required()
        ->check(namesAFile())
        ->type_name("");
    command->add_flag("--json", options->json, "A report for programs");
    command->add_option("--plot", options->plot, "Draw what quantizing does to the intensities")
        ->check(namesAFile())
        ->type_name("OUT.svg");
    command->add_flag("--quiet", options->quiet,
                      "Tables and failures alone: no remarks, no progress");
    command->add_flag("--no-progress", options->noProgress, "No progress bar on a terminal");
    command
        ->add_option("--repeat", options->repeats,
                     "Time each call up to so often; the fastest counts")
        ->check(CLI::Range(1, 1000).description(""))
        ->type_name("N")
        ->capture_default_str();
    command->callback([options, exitCode] { *exitCode = survey(*options); });
}

} // namespace kyv::tool
