#ifndef CLI_CLITABLE_H
#define CLI_CLITABLE_H

#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

// A plain text table: a header row, a rule, and the rows, columns padded to the
// widest cell and two blanks apart.
class CliTable
{
public:
    explicit CliTable(const QStringList& headers);

    void SetRightAligned(int column);
    void AddRow(const QStringList& cells);
    int RowCount() const { return m_rows.size(); }
    QString Text() const;

private:
    QStringList m_headers;
    QVector<QStringList> m_rows;
    QSet<int> m_right;
};

#endif
