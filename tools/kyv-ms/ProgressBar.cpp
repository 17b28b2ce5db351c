#include "ProgressBar.h"

#include "Console.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace kyv::tool {

namespace {

constexpr qint64 redrawMilliseconds = 100;

/// "12 s", "3 min 05 s", "2 h 10 min".
QString duration(double seconds)
{
    const qint64 whole = qint64(seconds + 0.5);
    if (whole < 60)
        return QStringLiteral("%1 s").arg(whole);
    if (whole < 3600)
        return QStringLiteral("%1 min %2 s")
            .arg(whole / 60)
            .arg(whole % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1 h %2 min")
        .arg(whole / 3600)
        .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

ProgressBar::ProgressBar(bool wanted, qint64 total)
    : m_shown(wanted && isatty(STDERR_FILENO))
    , m_total(total)
{
    m_sinceStart.start();
    m_sinceDrawn.start();
}

ProgressBar::~ProgressBar()
{
    wipe();
}

void ProgressBar::update(qint64 done, const QString &what)
{
    if (!m_shown || m_sinceDrawn.elapsed() < redrawMilliseconds)
        return;
    m_sinceDrawn.restart();
    m_drawn = true;
    const double seconds = double(m_sinceStart.elapsed()) / 1000;
    std::fprintf(stderr, "\r\033[K%s",
                 progressLine(done, m_total, seconds, what).toUtf8().constData());
    std::fflush(stderr);
}

void ProgressBar::wipe()
{
    if (!m_drawn)
        return;
    m_drawn = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

QString progressLine(qint64 done, qint64 total, double seconds, const QString &what)
{
    constexpr int width = 24;
    const double share = total > 0 ? std::clamp(double(done) / double(total), 0.0, 1.0) : 0.0;
    const int filled = int(share * width);
    QString line =
        QStringLiteral("[%1%2] %3 %  ")
            .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('.')))
            .arg(int(share * 100), 3);
    if (share > 0 && seconds >= 1)
        line += QStringLiteral("%1 left  ").arg(duration(seconds / share - seconds));
    return line + oneLine(what, 32);
}

} // namespace kyv::tool
