#include "CliTable.h"

#include <algorithm>

CliTable::CliTable(const QStringList& headers)
    : m_headers(headers)
{
}

void CliTable::SetRightAligned(int column)
{
    m_right.insert(column);
}

void CliTable::AddRow(const QStringList& cells)
{
    QStringList row = cells;
    while (row.size() < m_headers.size())
        row << QString();
    m_rows.append(row.mid(0, m_headers.size()));
}

QString CliTable::Text() const
{
    QVector<int> widths(m_headers.size(), 0);
    for (int c = 0; c < m_headers.size(); ++c)
    {
        widths[c] = m_headers.at(c).size();
        for (const QStringList& row : m_rows)
            widths[c] = std::max(widths[c], row.at(c).size());
    }
    auto line = [&](const QStringList& cells)
    {
        QString text;
        for (int c = 0; c < cells.size(); ++c)
        {
            const bool last = c + 1 == cells.size();
            QString cell = m_right.contains(c) ? cells.at(c).rightJustified(widths[c])
                                               : (last ? cells.at(c) : cells.at(c).leftJustified(widths[c]));
            text += cell;
            if (!last)
                text += QStringLiteral("  ");
        }
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        return text + QLatin1Char('\n');
    };
    QString text = line(m_headers);
    QStringList rules;
    for (int width : widths)
        rules << QString(width, QLatin1Char('-'));
    text += line(rules);
    for (const QStringList& row : m_rows)
        text += line(row);
    return text;
}
