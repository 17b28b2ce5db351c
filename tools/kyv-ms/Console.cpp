#include "Console.h"

#include <QLocale>

#include <array>
#include <cstdio>

namespace kyv::tool {

bool printOut(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    const auto size = std::size_t(bytes.size());
    return std::fwrite(bytes.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0;
}

void printError(const QString &line)
{
    std::fprintf(stderr, "%s\n", line.toUtf8().constData());
}

QString oneLine(const QString &text, qsizetype length)
{
    QString line = text;
    for (QChar &character : line)
        if (!character.isPrint() && !character.isSurrogate())
            character = QLatin1Char(' ');
    if (line.size() <= length)
        return line;
    return line.first(length / 2) + QStringLiteral("...") + line.last(length / 2 - 3);
}

QString grouped(qint64 number)
{
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(number);
}

QString humanSize(qint64 bytes)
{
    constexpr std::array<const char *, 5> units{"B", "kB", "MB", "GB", "TB"};
    double size = double(bytes);
    std::size_t unit = 0;
    while (size >= 999.5 && unit + 1 < units.size()) {
        size /= 1000;
        ++unit;
    }
    const int decimals = unit == 0 || size >= 99.95 ? 0 : size >= 9.995 ? 1 : 2;
    return QString::number(size, 'f', decimals) + QLatin1Char(' ') + QLatin1String(units[unit]);
}

QString counted(qint64 number, const char *one, const char *many)
{
    return grouped(number) + QLatin1Char(' ') + QLatin1String(number == 1 ? one : many);
}

} // namespace kyv::tool
