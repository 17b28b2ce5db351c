#pragma once

#include <QList>
#include <QPointF>
#include <QString>

#include <bit>
#include <initializer_list>
#include <string>

namespace kyv::test {

/// The pattern of \a value: the integer with the same bits.
inline quint64 pattern(double value)
{
    return std::bit_cast<quint64>(value);
}

/// The double with the pattern \a bits.
inline double fromPattern(quint64 bits)
{
    return std::bit_cast<double>(bits);
}

/// Points with these x patterns and y = 0.
inline QList<QPointF> pointsFromPatterns(std::initializer_list<quint64> patterns)
{
    QList<QPointF> points;
    for (const quint64 bits : patterns)
        points.append(QPointF(fromPattern(bits), 0.0));
    return points;
}

/// Points with these y, at x = 1, 2, 3, ...
inline QList<QPointF> pointsFromY(const QList<double> &y)
{
    QList<QPointF> points;
    for (const double value : y)
        points.append(QPointF(double(points.size() + 1), value));
    return points;
}

/// The points as text, bit for bit: two lists are the same exactly if their texts are equal, NaNs
/// and signs of zeros included. QPointF's own comparison forgives small differences.
inline std::string exactText(const QList<QPointF> &points)
{
    QString text;
    for (const QPointF &point : points) {
        text += QStringLiteral("(%1 %2) ")
                    .arg(pattern(point.x()), 16, 16, QLatin1Char('0'))
                    .arg(pattern(point.y()), 16, 16, QLatin1Char('0'));
    }
    return text.toStdString();
}

/// True if the points have the same patterns; the fast form of comparing exactText().
inline bool sameBits(const QList<QPointF> &a, const QList<QPointF> &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (pattern(a[i].x()) != pattern(b[i].x()) || pattern(a[i].y()) != pattern(b[i].y()))
            return false;
    }
    return true;
}

/// True for the lists whose x the bit-compressed payload restores bit for bit
/// (docs/formats/points-bit-compressed.md, section 8): one sign and at least two patterns.
inline bool restoresX(const QList<QPointF> &points)
{
    bool hasTwoPatterns = points.isEmpty();
    for (const QPointF &point : points) {
        const quint64 change = pattern(point.x()) ^ pattern(points.first().x());
        if (change >> 63)
            return false;
        hasTwoPatterns = hasTwoPatterns || change != 0;
    }
    return hasTwoPatterns;
}

/// What the bit-compressed payload makes of the intensity \a y.
inline double storedY(double y)
{
    return y == 0.0 ? 0.0 : double(float(y));
}

/// The list that a list with restoresX() comes back as.
inline QList<QPointF> storedPoints(QList<QPointF> points)
{
    for (QPointF &point : points)
        point.setY(storedY(point.y()));
    return points;
}

} // namespace kyv::test
