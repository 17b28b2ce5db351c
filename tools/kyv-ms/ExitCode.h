#pragma once

namespace kyv::tool {

/// What kyv-ms answers to the shell.
enum ExitCode {
    Success = 0,
    SomeFailed = 1, ///< Some of several inputs failed, the others were dealt with.
    Usage = 2,      ///< The arguments make no sense.
    Corrupt = 3,    ///< The input is damaged or refused.
    IoFailure = 5,  ///< A file cannot be opened, read or written.
};

} // namespace kyv::tool
