#pragma once

#include <QElapsedTimer>
#include <QString>

namespace kyv::tool {

/// One line on standard error that shows how far a job is and how long it still takes.
///
/// Shown only where standard error is a terminal; drawn at most ten times a second and wiped when
/// the object goes away.
class ProgressBar
{
public:
    /// A bar for a job of \a total bytes. Nothing is ever drawn unless \a wanted.
    ProgressBar(bool wanted, qint64 total);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /// \a done bytes of the job are done; \a what names the part under way.
    void update(qint64 done, const QString &what);
    /// Wipes the line, so that something else can be written.
    void wipe();

private:
    bool m_shown;
    bool m_drawn = false;
    qint64 m_total;
    QElapsedTimer m_sinceStart;
    QElapsedTimer m_sinceDrawn;
};

/// The line that update() draws: \a done of \a total bytes after \a seconds.
QString progressLine(qint64 done, qint64 total, double seconds, const QString &what);

} // namespace kyv::tool
