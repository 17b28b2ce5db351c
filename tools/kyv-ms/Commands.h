#pragma once

namespace CLI {
class App;
}

/// The subcommands of kyv-ms. Each adds its arguments to the application and, when it is chosen,
/// leaves its ExitCode in \a exitCode.
namespace kyv::tool {

void addSurveyCommand(CLI::App &application, int *exitCode);
void addSimulateCommand(CLI::App &application, int *exitCode);
void addBytesCommand(CLI::App &application, int *exitCode);

} // namespace kyv::tool
