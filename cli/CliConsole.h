#ifndef CLI_CLICONSOLE_H
#define CLI_CLICONSOLE_H

#include <QIODevice>
#include <QMutex>
#include <QString>

// Standard output, standard error and standard input of the program, safe to use from
// several threads. Results go to standard output; messages and the progress line to
// standard error. On a terminal, the progress line stays at the bottom: every message
// is written above it.
class CliConsole
{
public:
    CliConsole(QIODevice* out, QIODevice* err, QIODevice* in);

    void SetTerminal(bool errIsTerminal, bool inIsTerminal, int width, bool outIsTerminal = false);
    void SetQuiet(bool quiet) { m_quiet = quiet; }
    void SetJson(bool json) { m_json = json; }
    bool Quiet() const { return m_quiet; }
    bool Json() const { return m_json; }
    bool ErrIsTerminal() const { return m_errTerminal; }
    bool InIsTerminal() const { return m_inTerminal; }
    int Width() const { return m_width; }
    // The width lines on standard output or standard error keep to: the terminal's, or
    // 0 (no limit) where it is not a terminal.
    int OutWidth() const { return m_outTerminal ? m_width : 0; }
    int ErrWidth() const { return m_errTerminal ? m_width : 0; }

    // A name from a camera as it may be shown: on a terminal, control characters are
    // written as escapes (\n, \t, \x1b) rather than acted on.
    QString Shown(const QString& name) const;

    // A result line on standard output, for the table and text forms (not with --json).
    void Result(const QString& line);
    // Text written to standard output as it is.
    void Raw(const QString& text);
    // "pellix-fa: message" on standard error, also when quiet.
    void Error(const QString& message);
    void Warning(const QString& message);
    // A further line of an error (candidates, hints), also when quiet.
    void Detail(const QString& line);
    // A progress or state line on standard error, unless quiet.
    void Note(const QString& message);

    // The redrawn bottom line on a terminal; empty text takes it away.
    void Status(const QString& line);

    // Asks a yes/no question on standard error and reads the answer; only called when
    // standard input is a terminal.
    bool Ask(const QString& question);

private:
    void _write(QIODevice* device, const QString& text);

    QIODevice* m_out;
    QIODevice* m_err;
    QIODevice* m_in;
    bool m_errTerminal = false;
    bool m_outTerminal = false;
    bool m_inTerminal = false;
    int m_width = 80;
    bool m_quiet = false;
    bool m_json = false;
    QString m_status;
    QMutex m_mutex;
};

#endif
