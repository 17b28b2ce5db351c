// A hand-written SVG: two panels of cells, darker where more intensities fall.

#include "IntensityPlot.h"

#include "../Console.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kyv::tool {

namespace {

constexpr int cellsPerDecade = 20;
constexpr double canvasWidth = 1080;
constexpr double canvasHeight = 590;
constexpr double panelWidth = 430;
constexpr double panelHeight = 390;
constexpr double panelTop = 104;
constexpr double leftPanel = 80;
constexpr double rightPanel = 620;
constexpr double band = 10;     // height of the row beside a panel for what has no logarithm
constexpr double bandGap = 8;   // between that row and the panel
constexpr int mostDecades = 10; // of intensity; what lies below stands in the first column

constexpr auto cellColor = "#1f5fa8";
constexpr auto zeroColor = "#c0392b";
constexpr auto exactColor = "#2e8b57";

int cellOf(double value)
{
    return int(std::floor(std::log10(value) * cellsPerDecade));
}

QString number(double value)
{
    return QString::number(value, 'f', 2);
}

/// "1", "100", "10^6"
QString powerOfTen(int exponent)
{
    if (exponent >= 0 && exponent <= 4)
        return QString::number(qint64(std::pow(10, exponent)));
    return QStringLiteral("10<tspan dy=\"-5\" font-size=\"9\">%1</tspan>").arg(exponent);
}

/// "100 %", "0.1 %", of 10^exponent
QString percent(int exponent)
{
    const int decimals = std::max(0, -(exponent + 2));
    return QString::number(std::pow(10, exponent + 2), 'f', decimals) + QStringLiteral(" %");
}

QString percentOf(double share)
{
    return QString::number(100 * share, 'g', 3) + QStringLiteral(" %");
}

QString text(double x, double y, const QString &content, const char *attributes)
{
    return QStringLiteral("<text x=\"%1\" y=\"%2\" %3>%4</text>\n")
        .arg(number(x), number(y), QLatin1String(attributes), content);
}

QString line(double x1, double y1, double x2, double y2, const char *attributes)
{
    return QStringLiteral("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%4\" %5/>\n")
        .arg(number(x1), number(y1), number(x2), number(y2), QLatin1String(attributes));
}

/// How dark a cell is, 1 to shades: by the logarithm of its count, so that single intensities can
/// be seen.
constexpr int shades = 8;

int shadeOf(qint64 count, qint64 largest)
{
    return 1 + int((shades - 1) * std::log1p(double(count)) / std::log1p(double(largest)));
}

/// Unit squares drawn as one path for each shade, which keeps the file small.
class Squares
{
public:
    void add(int column, int row, int shade)
    {
        m_paths[shade] += QStringLiteral("M%1 %2h1v1h-1z").arg(column).arg(row);
    }

    /// The squares, moved and stretched by \a transform.
    QString svg(const QString &transform, const char *color) const
    {
        QString svg = QStringLiteral("<g transform=\"%1\" fill=\"%2\">\n")
                          .arg(transform, QLatin1String(color));
        for (auto path = m_paths.begin(); path != m_paths.end(); ++path)
            svg += QStringLiteral("<path fill-opacity=\"%1\" d=\"%2\"/>\n")
                       .arg(number(0.1 + 0.9 * path.key() / shades), path.value());
        return svg + QStringLiteral("</g>\n");
    }

private:
    QMap<int, QString> m_paths;
};

template <typename Counts>
qint64 largestOf(const Counts &counts)
{
    return counts.isEmpty() ? 0 : *std::max_element(counts.begin(), counts.end());
}

/// A range of whole decades, in cells.
struct Range
{
    int first = 0;
    int last = cellsPerDecade;

    static Range around(int from, int to)
    {
        const auto decade = [](int cell) { return int(std::floor(double(cell) / cellsPerDecade)); };
        return {decade(from) * cellsPerDecade, (decade(to) + 1) * cellsPerDecade};
    }
    int cells() const { return last - first; }
    int clamped(int cell) const { return std::clamp(cell, first, last - 1); }
};

/// One panel: where a cell of its two axes lies on the canvas.
struct Panel
{
    double left;
    Range x;
    Range y;

    double width() const { return panelWidth / x.cells(); }
    double height() const { return panelHeight / y.cells(); }
    double xOf(double cell) const { return left + (cell - x.first) * width(); }
    double yOf(double cell) const { return panelTop + panelHeight - (cell - y.first) * height(); }

    QString frame(const QString &xTitle, const QString &yTitle, bool errors) const;
    QString cells(const QMap<QPair<int, int>, qint64> &all) const;
    QString row(const QMap<int, qint64> &all, double top, const char *color) const;
};

QString Panel::frame(const QString &xTitle, const QString &yTitle, bool errors) const
{
    constexpr double bottom = panelTop + panelHeight;
    QString svg;
    // Not every decade of a wide range has room for its label.
    const int xStep = std::max(1, x.cells() / cellsPerDecade / 7);
    const int yStep = std::max(1, y.cells() / cellsPerDecade / 10);
    for (int cell = x.first; cell <= x.last; cell += cellsPerDecade) {
        svg += line(xOf(cell), panelTop, xOf(cell), bottom, "class=\"grid\"");
        const int exponent = cell / cellsPerDecade;
        if ((exponent - x.first / cellsPerDecade) % xStep == 0)
            svg += text(xOf(cell), bottom + 40, powerOfTen(exponent),
                        "class=\"tick\" text-anchor=\"middle\"");
    }
    for (int cell = y.first; cell <= y.last; cell += cellsPerDecade) {
        svg += line(left, yOf(cell), left + panelWidth, yOf(cell), "class=\"grid\"");
        const int exponent = cell / cellsPerDecade;
        if ((exponent - y.first / cellsPerDecade) % yStep == 0)
            svg += text(left - 8, yOf(cell) + 4, errors ? percent(exponent) : powerOfTen(exponent),
                        "class=\"tick\" text-anchor=\"end\"");
    }
    svg += QStringLiteral("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" class=\"frame\"/>\n")
               .arg(number(left), number(panelTop), number(panelWidth), number(panelHeight));
    svg +=
        text(left + panelWidth / 2, bottom + 60, xTitle, "class=\"axis\" text-anchor=\"middle\"");
    svg += text(left, panelTop - 28, yTitle, "class=\"axis\"");
    return svg;
}

QString Panel::cells(const QMap<QPair<int, int>, qint64> &all) const
{
    QMap<QPair<int, int>, qint64> counts;
    for (auto cell = all.begin(); cell != all.end(); ++cell)
        counts[{x.clamped(cell.key().first), y.clamped(cell.key().second)}] += cell.value();
    const qint64 largest = largestOf(counts);
    Squares squares;
    for (auto cell = counts.begin(); cell != counts.end(); ++cell)
        squares.add(cell.key().first - x.first, y.last - 1 - cell.key().second,
                    shadeOf(cell.value(), largest));
    return squares.svg(QStringLiteral("translate(%1 %2) scale(%3 %4)")
                           .arg(left)
                           .arg(panelTop)
                           .arg(width())
                           .arg(height()),
                       cellColor);
}

QString Panel::row(const QMap<int, qint64> &all, double top, const char *color) const
{
    QMap<int, qint64> counts;
    for (auto cell = all.begin(); cell != all.end(); ++cell)
        counts[x.clamped(cell.key())] += cell.value();
    const qint64 largest = largestOf(counts);
    Squares squares;
    for (auto cell = counts.begin(); cell != counts.end(); ++cell)
        squares.add(cell.key() - x.first, 0, shadeOf(cell.value(), largest));
    return squares.svg(
        QStringLiteral("translate(%1 %2) scale(%3 %4)").arg(left).arg(top).arg(width()).arg(band),
        color);
}

/// A line through (cell of intensity, relative error).
QString curve(const Panel &panel, const QList<QPair<int, double>> &points, const char *attributes)
{
    QStringList corners;
    for (const auto &[cell, error] : points) {
        const double row = std::clamp(std::log10(error) * cellsPerDecade, double(panel.y.first),
                                      double(panel.y.last));
        corners << number(panel.xOf(cell + 0.5)) + QLatin1Char(',') + number(panel.yOf(row));
    }
    return QStringLiteral("<polyline points=\"%1\" fill=\"none\" %2/>\n")
        .arg(corners.join(QLatin1Char(' ')), QLatin1String(attributes));
}

/// The curve of the mean error with its legend; columns of a few stray intensities are left out.
template <typename Columns>
QString rmsCurve(const Panel &panel, const Columns &columns)
{
    qint64 all = 0;
    for (const auto &column : columns)
        all += column.count;
    QList<QPair<int, double>> rms;
    for (auto column = columns.begin(); column != columns.end(); ++column)
        if (column->squares > 0 && column->count * 10000 >= all && column.key() >= panel.x.first)
            rms.append({column.key(), std::sqrt(column->squares / double(column->count))});
    const double right = panel.left + panelWidth;
    return curve(panel, rms, "stroke=\"#e67e22\" stroke-width=\"2\"")
           + line(right - 130, panelTop - 32, right - 108, panelTop - 32,
                  "stroke=\"#e67e22\" stroke-width=\"2\"")
           + text(right, panelTop - 28, QStringLiteral("RMS by intensity"),
                  "class=\"tick\" text-anchor=\"end\"");
}

QString titleOf(const QStringList &files)
{
    QStringList names;
    for (const QString &file : files.first(std::min<qsizetype>(files.size(), 2)))
        names << oneLine(QFileInfo(file).fileName(), 48).toHtmlEscaped();
    QString title = names.join(QStringLiteral(", "));
    if (files.size() > 2)
        title += QStringLiteral(" and %1 more").arg(files.size() - 2);
    return title;
}

constexpr auto style = R"(<style>
text { font-family: "DejaVu Sans", Helvetica, Arial, sans-serif; fill: #222 }
.title { font-size: 17px; font-weight: bold }
.note { font-size: 12px; fill: #555 }
.axis { font-size: 13px }
.tick { font-size: 11px; fill: #444 }
.grid { stroke: #ddd; stroke-width: 1 }
.frame { fill: none; stroke: #444; stroke-width: 1 }
</style>
)";

} // namespace

void IntensityPlot::add(const QList<float> &original, const QList<float> &restored)
{
    constexpr double smallestError = 1e-6; // what is smaller stands in the lowest row
    for (qsizetype i = 0; i < original.size(); ++i) {
        const double in = double(original[i]);
        const double out = double(restored[i]);
        if (!(in > 0) || !std::isfinite(in) || !std::isfinite(out))
            continue;
        const int column = cellOf(in);
        const double error = std::abs(out - in) / in;
        Column &sums = m_columns[column];
        ++sums.count;
        sums.largest = std::max(sums.largest, error);
        sums.squares += error * error;
        if (out > 0)
            ++m_restored[{column, cellOf(out)}];
        if (out == 0)
            ++m_zeros[column];
        else if (error == 0)
            ++m_exact[column];
        else
            ++m_errors[{column, cellOf(std::max(error, smallestError))}];
    }
}

QByteArray IntensityPlot::svg(const QStringList &files) const
{
    Column all;
    for (const Column &column : m_columns) {
        all.count += column.count;
        all.largest = std::max(all.largest, column.largest);
        all.squares += column.squares;
    }
    const qint64 zeros = std::accumulate(m_zeros.begin(), m_zeros.end(), qint64(0));
    const qint64 exact = std::accumulate(m_exact.begin(), m_exact.end(), qint64(0));
    const double count = double(std::max<qint64>(all.count, 1));

    Range intensities;
    if (!m_columns.isEmpty())
        intensities = Range::around(m_columns.firstKey(), m_columns.lastKey());
    intensities.first =
        std::max(intensities.first, intensities.last - mostDecades * cellsPerDecade);
    int smallest = -3 * cellsPerDecade;
    int largest = -1;
    for (auto cell = m_errors.begin(); cell != m_errors.end(); ++cell) {
        smallest = std::min(smallest, cell.key().second);
        largest = std::max(largest, cell.key().second);
    }
    const Panel left{leftPanel, intensities, intensities};
    const Panel right{rightPanel, intensities, Range::around(smallest, largest)};

    QString svg = QStringLiteral("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %1 %2\" "
                                 "width=\"%1\" height=\"%2\">\n")
                      .arg(canvasWidth)
                      .arg(canvasHeight)
                  + QLatin1String(style)
                  + QStringLiteral("<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n");
    svg += text(leftPanel, 30, QStringLiteral("Quantizing intensities: ") + titleOf(files),
                "class=\"title\"");
    svg += text(leftPanel, 50,
                QStringLiteral("%1 positive intensities; relative error: RMS %2, largest %3; "
                               "%4 became 0, %5 exact")
                    .arg(grouped(all.count), percentOf(std::sqrt(all.squares / count)),
                         percentOf(all.largest), percentOf(double(zeros) / count),
                         percentOf(double(exact) / count)),
                "class=\"note\"");

    svg += left.frame(QStringLiteral("original intensity"), QStringLiteral("restored intensity"),
                      false);
    svg += line(left.left, left.yOf(left.y.first), left.left + panelWidth, left.yOf(left.y.last),
                "stroke=\"#999\" stroke-dasharray=\"4 3\"");
    svg += left.cells(m_restored);
    const double above = panelTop - bandGap - band;
    const double below = panelTop + panelHeight + bandGap;
    svg += left.row(m_zeros, below, zeroColor);
    svg += text(left.left - 8, below + 9, QStringLiteral("became 0"),
                "class=\"tick\" text-anchor=\"end\"");

    svg += right.frame(QStringLiteral("original intensity"),
                       QStringLiteral("relative error of the restored intensity"), true);
    svg += right.cells(m_errors);
    svg += right.row(m_zeros, above, zeroColor);
    svg += text(right.left - 8, above + 9, QStringLiteral("became 0"),
                "class=\"tick\" text-anchor=\"end\"");
    svg += right.row(m_exact, below, exactColor);
    svg += text(right.left - 8, below + 9, QStringLiteral("exact"),
                "class=\"tick\" text-anchor=\"end\"");
    svg += rmsCurve(right, m_columns);

    QString note = QStringLiteral("Darker: more intensities. Intensities of 0 and below are left "
                                  "out; they come back as 0.");
    if (!m_columns.isEmpty() && m_columns.firstKey() < intensities.first)
        note += QStringLiteral(" What is smaller than the axis begins stands in its first column.");
    svg += text(leftPanel, canvasHeight - 10, note, "class=\"note\"");
    return (svg + QStringLiteral("</svg>\n")).toUtf8();
}

} // namespace kyv::tool
