// kyv-ms simulate: a realistic run out of a seed, for a first look with no data at hand.

#include "Commands.h"
#include "Console.h"
#include "ExitCode.h"
#include "FileArgument.h"
#include "OutputFile.h"
#include "ProgressBar.h"
#include "simulate/MzmlWriter.h"
#include "simulate/Simulator.h"

#include <QFileInfo>

#include <CLI/CLI.hpp>

#include <charconv>
#include <map>
#include <memory>

namespace kyv::tool {

namespace {

struct SimulateOptions
{
    std::string file;
    std::string kind = "mixed";
    runs::SimulationSettings settings;
    bool zlib = false;
    bool quiet = false;
    bool noProgress = false;
};

constexpr const char *footer = R"(
The same settings give the same bytes on every machine (with --zlib, with the same
release of libdeflate).

Examples:
  kyv-ms simulate run.mzML                        60 spectra of several instruments
  kyv-ms simulate run.mzML --kind orbitrap --spectra 200 --seed 7
  kyv-ms simulate run.mzML && kyv-ms survey run.mzML)";

const std::map<std::string, runs::SimulatedKind> &kinds()
{
    using runs::SimulatedKind;
    static const std::map<std::string, SimulatedKind> kinds{
        {"mixed", SimulatedKind::Mixed},       {"tof", SimulatedKind::Tof},
        {"counting", SimulatedKind::Counting}, {"orbitrap", SimulatedKind::Orbitrap},
        {"centroid", SimulatedKind::Centroid},
    };
    return kinds;
}

/// Nothing to object to, or a message: as the command line wants it.
std::string notASeed(const std::string &text)
{
    quint64 seed = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seed);
    return error == std::errc() && stop == end ? std::string()
                                               : "not a number from 0 to 2^64 - 1: \"" + text + '"';
}

ExitCode simulate(const SimulateOptions &options)
{
    const runs::Simulator simulator(options.settings);
    const QString path = pathOf(options.file);
    const QString name = shownName(options.file, "standard output");
    OutputFile output(path);
    const auto failed = [&] {
        printError(QStringLiteral("kyv-ms: %1: %2").arg(name, output.error()));
        return IoFailure;
    };
    if (!output.isOpen())
        return failed();

    qsizetype points = 0;
    runs::MzmlWriter writer(output.device());
    bool written = writer.begin(QFileInfo(path).completeBaseName(), simulator.count());
    {
        ProgressBar bar(!options.quiet && !options.noProgress, simulator.count());
        for (qsizetype i = 0; i < simulator.count() && written; ++i) {
            runs::Spectrum spectrum = simulator.spectrum(i);
            if (options.zlib)
                spectrum.x.compression = spectrum.y.compression = runs::ArrayCompression::Zlib;
            points += spectrum.points.size();
            written = writer.write(spectrum);
            bar.update(i, QStringLiteral("simulating"));
        }
    }
    written = written && writer.end();
    if (!written || !output.commit())
        return failed();
    const QString line = QStringLiteral("%1: %2, %3, %4, seed %5")
                             .arg(name, counted(simulator.count(), "spectrum", "spectra"),
                                  counted(points, "point", "points"), humanSize(writer.bytes()))
                             .arg(options.settings.seed);
    if (options.quiet)
        return Success;
    if (options.file == "-")
        printError(line); // the run itself is on standard output
    else
        printOut(line + QLatin1Char('\n'));
    return Success;
}

} // namespace

void addSimulateCommand(CLI::App &application, int *exitCode)
{
    auto options = std::make_shared<SimulateOptions>();
    CLI::App *command =
        application.add_subcommand("simulate", "Write a realistic, seeded mzML run");
    command->footer(footer);
    command
        ->add_option("OUT", options->file,
                     "The run to write, replaced if it exists; - for standard output")
        ->required()
        ->check(namesAFile())
        ->type_name("");
    command->add_option("--kind", options->kind, "mixed, tof, counting, orbitrap or centroid")
        ->check(CLI::Validator(
            [](const std::string &name) {
                return kinds().count(name) ? std::string() : "there is no kind \"" + name + '"';
            },
            ""))
        ->type_name("NAME")
        ->capture_default_str();
    command->add_option("--spectra", options->settings.spectra, "How many spectra")
        ->check(CLI::Range(0, 10000000).description(""))
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--seed", options->settings.seed, "Any number from 0 to 2^64 - 1")
        ->check(CLI::Validator(notASeed, ""))
        ->type_name("N")
        ->capture_default_str();
    command->add_flag("--zlib", options->zlib, "Compress the arrays");
    command->add_flag("--quiet", options->quiet, "Say nothing but failures");
    command->add_flag("--no-progress", options->noProgress, "No progress bar on a terminal");
    command->callback([options, exitCode] {
        options->settings.kind = kinds().at(options->kind);
        *exitCode = simulate(*options);
    });
}

} // namespace kyv::tool
