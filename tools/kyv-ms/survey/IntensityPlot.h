#pragma once

#include <QList>
#include <QMap>
#include <QPair>
#include <QStringList>

namespace kyv::tool {

/// Draws what quantizing does to intensities: original against restored, and the relative error by
/// intensity, both on logarithmic axes, as one SVG without scripts.
///
/// Counts land in cells of a twentieth of a decade, so the drawing stays small however many
/// intensities there are. Intensities of 0 and below are left out: they come back as 0.
class IntensityPlot
{
public:
    void add(const QList<float> &original, const QList<float> &restored);

    /// The drawing, with \a files in its title.
    QByteArray svg(const QStringList &files) const;

private:
    using Cell = QPair<int, int>; // column and row, in twentieths of a decade
    struct Column
    {
        qint64 count = 0;
        double largest = 0;
        double squares = 0;
    };

    QMap<Cell, qint64> m_restored; // by original and restored intensity
    QMap<Cell, qint64> m_errors;   // by original intensity and relative error
    QMap<int, qint64> m_zeros;     // that became 0, by original intensity
    QMap<int, qint64> m_exact;     // by original intensity
    QMap<int, Column> m_columns;   // by original intensity
};

} // namespace kyv::tool
