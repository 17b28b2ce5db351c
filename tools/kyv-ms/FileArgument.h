#pragma once

#include <QString>

#include <string>

namespace CLI {
class Validator;
}

namespace kyv::tool {

/// The path that an argument of the command line names.
QString pathOf(const std::string &argument);

/// How messages name it: the path in one line, or \a standardStream for "-".
QString shownName(const std::string &argument, const char *standardStream);

/// Refuses an empty name.
CLI::Validator namesAFile();

} // namespace kyv::tool
