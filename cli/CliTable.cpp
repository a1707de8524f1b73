#include "CliTable.h"

#include <algorithm>

namespace {

const QChar kEllipsis(0x2026);
const QString kGap = QStringLiteral("  ");

} // namespace

CliTable::CliTable(const QStringList& headers)
    : m_headers(headers)
    , m_columns(headers.size())
{
}

void CliTable::SetRightAligned(int column)
{
    m_right.insert(column);
}

void CliTable::SetShrinkable(int column, Qt::TextElideMode mode)
{
    m_shrinkable.insert(column, mode);
}

void CliTable::AddRow(const QStringList& cells)
{
    m_columns = std::max(m_columns, int(cells.size()));
    m_lines.append({cells, false});
    ++m_rowCount;
}

void CliTable::AddHeading(const QString& text)
{
    m_lines.append({{text}, true});
}

QString CliTable::Elided(const QString& text, int width, Qt::TextElideMode mode)
{
    if (text.size() <= width || mode == Qt::ElideNone)
        return text;
    if (width <= 1)
        return QString(kEllipsis).left(std::max(width, 0));
    const int kept = width - 1;
    switch (mode)
    {
    case Qt::ElideLeft:
        return kEllipsis + text.right(kept);
    case Qt::ElideMiddle:
        return text.left((kept + 1) / 2) + kEllipsis + text.right(kept / 2);
    default:
        return text.left(kept) + kEllipsis;
    }
}

QString CliTable::Text(int width) const
{
    const bool withHeader = !m_headers.isEmpty();
    auto cell = [](const QStringList& cells, int c) { return c < cells.size() ? cells.at(c) : QString(); };
    QVector<int> widths(m_columns, 0);
    QVector<int> least(m_columns, 0);
    for (int c = 0; c < m_columns; ++c)
    {
        least[c] = withHeader ? cell(m_headers, c).size() : 1;
        widths[c] = withHeader ? least[c] : 0;
        for (const Line& line : m_lines)
            if (!line.heading)
                widths[c] = std::max(widths[c], int(cell(line.cells, c).size()));
    }
    if (width > 0)
    {
        int total = m_columns > 0 ? (m_columns - 1) * kGap.size() : 0;
        for (int w : widths)
            total += w;
        // One character at a time from the column where it shortens the fewest cells
        // (the widest of those): a few long names are cut before the many short ones.
        auto cut = [&](int c) {
            int cells = 0;
            for (const Line& line : m_lines)
                cells += !line.heading && cell(line.cells, c).size() >= widths[c];
            return cells;
        };
        while (total > width)
        {
            int chosen = -1;
            for (int c : m_shrinkable.keys())
            {
                if (c >= m_columns || widths[c] <= least[c])
                    continue;
                if (chosen < 0 || cut(c) < cut(chosen) || (cut(c) == cut(chosen) && widths[c] > widths[chosen]))
                    chosen = c;
            }
            if (chosen < 0)
                break;
            --widths[chosen];
            --total;
        }
    }

    auto row = [&](const QStringList& cells) {
        QString text;
        for (int c = 0; c < m_columns; ++c)
        {
            const bool last = c + 1 == m_columns;
            const QString content = Elided(cell(cells, c), widths[c], m_shrinkable.value(c, Qt::ElideNone));
            text += m_right.contains(c) ? content.rightJustified(widths[c])
                                        : (last ? content : content.leftJustified(widths[c]));
            if (!last)
                text += kGap;
        }
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        return text;
    };
    QStringList lines;
    if (withHeader)
    {
        lines << row(m_headers);
        QStringList rules;
        for (int w : widths)
            rules << QString(w, QLatin1Char('-'));
        lines << row(rules);
    }
    for (const Line& line : m_lines)
        lines << (line.heading ? line.cells.first() : row(line.cells));
    QString text;
    for (const QString& line : lines)
        text += (width > 0 ? Elided(line, width, Qt::ElideRight) : line) + QLatin1Char('\n');
    return text;
}
