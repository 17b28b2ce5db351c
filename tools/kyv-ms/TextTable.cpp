#include "TextTable.h"

#include <algorithm>

namespace kyv::tool {

namespace {

constexpr qsizetype gap = 2;

} // namespace

TextTable::TextTable(const QStringList &headings)
{
    qsizetype height = 0;
    for (const QString &heading : headings)
        height = std::max(height, heading.count(QLatin1Char('\n')) + 1);
    m_head.fill(QStringList(headings.size()), height);
    for (qsizetype column = 0; column < headings.size(); ++column) {
        const QStringList lines = headings[column].split(QLatin1Char('\n'));
        for (qsizetype i = 0; i < lines.size(); ++i)
            m_head[height - lines.size() + i][column] = lines[i];
    }
}

void TextTable::addRow(const QStringList &cells)
{
    Q_ASSERT(cells.size() == m_head.constFirst().size());
    m_rows.append(cells);
}

QString TextTable::text(int indent) const
{
    QList<qsizetype> widths(m_head.constFirst().size(), 0);
    for (const QStringList &cells : m_head + m_rows)
        for (qsizetype column = 0; column < widths.size(); ++column)
            widths[column] = std::max(widths[column], cells[column].size());
    QString text;
    for (const QStringList &cells : m_head + m_rows)
        text += line(cells, widths, indent);
    return text;
}

QString TextTable::line(const QStringList &cells, const QList<qsizetype> &widths, int indent) const
{
    QString line(indent, QLatin1Char(' '));
    for (qsizetype column = 0; column < cells.size(); ++column) {
        const QString &cell = cells[column];
        line += column == 0 ? cell.leftJustified(widths[column])
                            : cell.rightJustified(widths[column] + gap);
    }
    while (line.endsWith(QLatin1Char(' ')))
        line.chop(1);
    return line + QLatin1Char('\n');
}

} // namespace kyv::tool
