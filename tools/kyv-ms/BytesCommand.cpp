// kyv-ms bytes: any file or stream through the byte service, framed so that nothing is lost.

#include "Commands.h"
#include "Console.h"
#include "ExitCode.h"
#include "FileArgument.h"
#include "OutputFile.h"
#include "ProgressBar.h"
#include "bytes/BytesFile.h"

#include <QFile>
#include <QFileInfo>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

#include <unistd.h>

namespace kyv::tool {

namespace {

struct BytesOptions
{
    std::string input = "-";
    std::string output = "-";
    bool verify = false;
    bool quiet = false;
    bool noProgress = false;
};

constexpr const char *footer = R"(
Examples:
  kyv-ms bytes compress notes.xml notes.xml.kyvb
  kyv-ms bytes decompress notes.xml.kyvb notes.xml
  kyv-ms bytes decompress --verify notes.xml.kyvb       is it sound? writes nothing
  tar c folder | kyv-ms bytes compress > folder.tar.kyvb)";

ExitCode failed(const QString &name, const BytesFailure &failure)
{
    QString line = QStringLiteral("kyv-ms: %1: ").arg(name);
    if (failure.code == Corrupt)
        line += QStringLiteral("byte %1: ").arg(failure.byteOffset);
    printError(line + oneLine(failure.reason));
    return failure.code;
}

bool openInput(QFile *file, const std::string &argument)
{
    if (argument == "-")
        return file->open(stdin, QIODevice::ReadOnly);
    file->setFileName(pathOf(argument));
    return file->open(QIODevice::ReadOnly);
}

/// "notes.xml: 5.12 MB in 2 blocks, 1.20 MB compressed (4.27x smaller)"
void tell(const BytesOptions &options, const BytesTotals &totals)
{
    if (options.quiet)
        return;
    QString line =
        QStringLiteral("%1: %2 in %3, %4 compressed")
            .arg(shownName(options.input, "standard input"), humanSize(totals.originalBytes),
                 counted(totals.blocks, "block", "blocks"), humanSize(totals.fileBytes));
    if (totals.fileBytes < totals.originalBytes)
        line += QStringLiteral(" (%1x smaller)")
                    .arg(double(totals.originalBytes) / double(totals.fileBytes), 0, 'f', 2);
    if (totals.storedBlocks > 0)
        line += QStringLiteral(", %1 stored uncompressed")
                    .arg(counted(totals.storedBlocks, "block", "blocks"));
    printError(line);
}

ExitCode compress(const BytesOptions &options)
{
    if (options.output == "-" && isatty(STDOUT_FILENO)) {
        printError(
            QStringLiteral("kyv-ms: name an output; compressed bytes do not go to a terminal"));
        return Usage;
    }
    QFile input;
    const QString inputName = shownName(options.input, "standard input");
    if (!openInput(&input, options.input))
        return failed(inputName, {IoFailure, 0, input.errorString()});
    OutputFile output(pathOf(options.output));
    const QString outputName = shownName(options.output, "standard output");
    if (!output.isOpen())
        return failed(outputName, {IoFailure, 0, output.error()});

    BytesTotals totals;
    ProgressBar bar(!options.quiet && !options.noProgress, input.size());
    const auto failure = compressBytes(
        input, output.device(), options.verify,
        [&](qint64 done) { bar.update(done, QStringLiteral("compressing")); }, &totals);
    bar.wipe();
    if (failure)
        return failed(failure->isOfTarget ? outputName : inputName, *failure);
    if (!output.commit())
        return failed(outputName, {IoFailure, 0, output.error()});
    tell(options, totals);
    return Success;
}

ExitCode decompress(const BytesOptions &options)
{
    QFile input;
    const QString inputName = shownName(options.input, "standard input");
    if (!openInput(&input, options.input))
        return failed(inputName, {IoFailure, 0, input.errorString()});
    std::unique_ptr<OutputFile> output;
    const QString outputName = shownName(options.output, "standard output");
    if (!options.verify) {
        output = std::make_unique<OutputFile>(pathOf(options.output));
        if (!output->isOpen())
            return failed(outputName, {IoFailure, 0, output->error()});
    }

    BytesTotals totals;
    ProgressBar bar(!options.quiet && !options.noProgress, input.size());
    const auto failure = decompressBytes(
        input, output ? &output->device() : nullptr,
        [&](qint64 done) { bar.update(done, QStringLiteral("decompressing")); }, &totals);
    bar.wipe();
    if (failure)
        return failed(failure->isOfTarget ? outputName : inputName, *failure);
    if (output && !output->commit())
        return failed(outputName, {IoFailure, 0, output->error()});
    tell(options, totals);
    return Success;
}

void addArguments(CLI::App *command, BytesOptions *options)
{
    command->footer(footer);
    command->add_option("IN", options->input, "The file to read; - for standard input")
        ->check(namesAFile())
        ->type_name("")
        ->capture_default_str();
    command->add_option("OUT", options->output, "The file to write; - for standard output")
        ->check(namesAFile())
        ->type_name("")
        ->capture_default_str();
    command->add_flag("--quiet", options->quiet, "Say nothing but failures");
    command->add_flag("--no-progress", options->noProgress, "No progress bar on a terminal");
}

} // namespace

void addBytesCommand(CLI::App &application, int *exitCode)
{
    CLI::App *bytes = application.add_subcommand("bytes", "Compress any bytes, or restore them");
    bytes->require_subcommand(1);
    bytes->footer(footer);

    auto packing = std::make_shared<BytesOptions>();
    CLI::App *compressing = bytes->add_subcommand("compress", "Compress a file or a stream");
    addArguments(compressing, packing.get());
    compressing->add_flag("--verify", packing->verify,
                          "Decompress each block and compare before it is written");
    compressing->callback([packing, exitCode] { *exitCode = compress(*packing); });

    auto unpacking = std::make_shared<BytesOptions>();
    CLI::App *decompressing = bytes->add_subcommand("decompress", "Restore what compress made");
    addArguments(decompressing, unpacking.get());
    decompressing->add_flag("--verify", unpacking->verify, "Check everything, write nothing");
    decompressing->callback([unpacking, exitCode] { *exitCode = decompress(*unpacking); });
}

} // namespace kyv::tool
