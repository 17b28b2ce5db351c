#include "FileArgument.h"

#include "Console.h"

#include <QFile>

#include <CLI/CLI.hpp>

namespace kyv::tool {

QString pathOf(const std::string &argument)
{
    return QFile::decodeName(QByteArray::fromStdString(argument));
}

QString shownName(const std::string &argument, const char *standardStream)
{
    return argument == "-" ? QLatin1String(standardStream) : oneLine(pathOf(argument));
}

CLI::Validator namesAFile()
{
    return CLI::Validator(
        [](const std::string &name) {
            return name.empty() ? std::string("the name is empty") : std::string();
        },
        "");
}

} // namespace kyv::tool
