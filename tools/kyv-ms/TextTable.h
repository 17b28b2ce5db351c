#pragma once

#include <QList>
#include <QStringList>

namespace kyv::tool {

/// A table for people's eyes: the first column flush left, the others flush right, columns as wide
/// as their widest cell.
class TextTable
{
public:
    /// A column's heading may have several lines; they stand at the bottom of the head.
    explicit TextTable(const QStringList &headings);

    void addRow(const QStringList &cells);

    /// The whole table, each line beginning with \a indent blanks.
    QString text(int indent) const;

private:
    QString line(const QStringList &cells, const QList<qsizetype> &widths, int indent) const;

    QList<QStringList> m_head; // lines of one cell a column
    QList<QStringList> m_rows;
};

} // namespace kyv::tool
