#include "CliConsole.h"

#include <QMutexLocker>

namespace {

const QString kProgram = QStringLiteral("pellix-fa");
// Back to the start of the line and clear it.
const QString kClearLine = QStringLiteral("\r\033[K");

} // namespace

CliConsole::CliConsole(QIODevice* out, QIODevice* err, QIODevice* in)
    : m_out(out)
    , m_err(err)
    , m_in(in)
{
}

void CliConsole::SetTerminal(bool errIsTerminal, bool inIsTerminal, int width, bool outIsTerminal)
{
    m_errTerminal = errIsTerminal;
    m_outTerminal = outIsTerminal;
    m_inTerminal = inIsTerminal;
    m_width = width > 20 ? width : 80;
}

QString CliConsole::Shown(const QString& name) const
{
    if (!m_outTerminal && !m_errTerminal)
        return name;
    QString shown;
    for (const QChar c : name)
    {
        const ushort code = c.unicode();
        if (code == '\n')
            shown += QStringLiteral("\\n");
        else if (code == '\t')
            shown += QStringLiteral("\\t");
        else if (code == '\r')
            shown += QStringLiteral("\\r");
        else if (code < 0x20 || code == 0x7F || (code >= 0x80 && code < 0xA0))
            shown += QStringLiteral("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
        else
            shown += c;
    }
    return shown;
}

void CliConsole::_write(QIODevice* device, const QString& text)
{
    if (!device)
        return;
    // Standard output and error share the terminal: the progress line is taken away
    // before anything else is written and drawn again after it.
    const bool hideStatus = m_errTerminal && !m_status.isEmpty();
    if (hideStatus && m_err)
        m_err->write(kClearLine.toUtf8());
    device->write(text.toUtf8());
    if (hideStatus && m_err)
        m_err->write(m_status.toUtf8());
}

void CliConsole::Result(const QString& line)
{
    QMutexLocker lock(&m_mutex);
    _write(m_out, line + QLatin1Char('\n'));
}

void CliConsole::Raw(const QString& text)
{
    QMutexLocker lock(&m_mutex);
    _write(m_out, text);
}

void CliConsole::Error(const QString& message)
{
    QMutexLocker lock(&m_mutex);
    _write(m_err, kProgram + QStringLiteral(": ") + message + QLatin1Char('\n'));
}

void CliConsole::Warning(const QString& message)
{
    QMutexLocker lock(&m_mutex);
    _write(m_err, kProgram + QStringLiteral(": warning: ") + message + QLatin1Char('\n'));
}

void CliConsole::Detail(const QString& line)
{
    QMutexLocker lock(&m_mutex);
    _write(m_err, line + QLatin1Char('\n'));
}

void CliConsole::Note(const QString& message)
{
    if (m_quiet)
        return;
    QMutexLocker lock(&m_mutex);
    _write(m_err, message + QLatin1Char('\n'));
}

void CliConsole::Status(const QString& line)
{
    if (!m_errTerminal || !m_err)
        return;
    QMutexLocker lock(&m_mutex);
    m_status = line;
    m_err->write((kClearLine + line).toUtf8());
}

bool CliConsole::Ask(const QString& question)
{
    if (!m_in)
        return false;
    {
        QMutexLocker lock(&m_mutex);
        _write(m_err, question + QStringLiteral(" [y/N] "));
    }
    const QString answer = QString::fromLocal8Bit(m_in->readLine(256)).trimmed().toLower();
    return answer == QLatin1String("y") || answer == QLatin1String("yes");
}
