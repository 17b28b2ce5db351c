#pragma once

#include <QByteArray>

#include <string>

namespace kyv::test {

/// Bytes from a text of hexadecimal digits; blanks and '|' group them for the reader.
inline QByteArray fromHex(const char *digits)
{
    return QByteArray::fromHex(QByteArray(digits).replace('|', ' '));
}

/// Bytes as hexadecimal digits, a blank between two bytes; what a failing comparison prints.
inline std::string toHex(const QByteArray &bytes)
{
    return bytes.toHex(' ').toStdString();
}

} // namespace kyv::test
