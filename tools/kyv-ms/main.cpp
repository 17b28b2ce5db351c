// kyv-ms: surveys, simulates and stores mass-spectrometry data from the command line.

#include "Commands.h"
#include "Console.h"
#include "ExitCode.h"
#include "KyvMsVersion.h"

#include <CLI/CLI.hpp>

#include <new>

int main(int argc, char **argv)
{
    using namespace kyv::tool;
    CLI::App application("Makes mass-spectrometry data small and brings them back.\n\n"
                         "Exit codes: 0 success, 1 some of several inputs failed, 2 usage,\n"
                         "3 corrupt or refused input, 5 a file cannot be opened, read or written.",
                         "kyv-ms");
    application.set_version_flag("--version", "kyv-ms " KYV_MS_VERSION);
    application.require_subcommand(1);
    application.get_formatter()->column_width(26);

    int exitCode = Success;
    addSurveyCommand(application, &exitCode);
    addSimulateCommand(application, &exitCode);
    addBytesCommand(application, &exitCode);
    try {
        application.parse(argc, argv);
    } catch (const std::bad_alloc &) {
        printError(QStringLiteral("kyv-ms: not enough memory (the byte service's model needs 1 GiB "
                                  "of address space)"));
        return IoFailure;
    } catch (const CLI::ParseError &error) {
        return application.exit(error) == 0 ? Success : Usage;
    }
    return exitCode;
}
