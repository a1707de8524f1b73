#ifndef CLI_CLITABLE_H
#define CLI_CLITABLE_H

#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

// A plain text table: a header row, a rule, and the rows, columns padded to the
// widest cell and two blanks apart. Headings may stand between the rows, on lines of
// their own. Without headers there is no header row and no rule.
class CliTable
{
public:
    explicit CliTable(const QStringList& headers);

    void SetRightAligned(int column);
    // A column whose cells may be shortened to make the table fit a width; the
    // ellipsis goes where mode says.
    void SetShrinkable(int column, Qt::TextElideMode mode);
    void AddRow(const QStringList& cells);
    void AddHeading(const QString& text);
    int RowCount() const { return m_rowCount; }
    // With a width, no line is longer: shrinkable columns give up characters, down to
    // the length of their header, where that shortens the fewest cells; what is still
    // too long, a heading included, is cut with an ellipsis. 0: no limit.
    QString Text(int width = 0) const;

    // text shortened to at most width characters, with an ellipsis where mode says.
    static QString Elided(const QString& text, int width, Qt::TextElideMode mode);

private:
    struct Line
    {
        QStringList cells; // one cell: a heading
        bool heading = false;
    };

    QStringList m_headers;
    int m_columns = 0;
    QVector<Line> m_lines;
    int m_rowCount = 0;
    QSet<int> m_right;
    QMap<int, Qt::TextElideMode> m_shrinkable;
};

#endif
