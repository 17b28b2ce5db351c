#pragma once

#include <QString>

namespace kyv::tool {

/// Writes \a text to standard output; false if it does not arrive (a full disk, a closed pipe).
bool printOut(const QString &text);

/// Writes one line to standard error, below whatever a progress bar left there.
void printError(const QString &line);

/// \a text as one line of printable characters, cut in its middle if it is longer than \a length:
/// names and ids come from files and must not steer the terminal.
QString oneLine(const QString &text, qsizetype length = 200);

/// A number with blanks for thousands in the English way: 1,234,567.
QString grouped(qint64 number);

/// A size in decimal units with three digits: "5.50 MB".
QString humanSize(qint64 bytes);

/// "1 spectrum", "1,234 spectra".
QString counted(qint64 number, const char *one, const char *many);

} // namespace kyv::tool
