#include "CliCommand.h"

#include "CameraResolver.h"

#include <QJsonArray>
#include <QJsonDocument>

CliCommand::CliCommand(CliSession& session, const CliOptions& options, CliConsole& console)
    : m_session(session)
    , m_options(options)
    , m_console(console)
{
}

CliCommand::~CliCommand() = default;

ExitCode CliCommand::_resolve(const QString& name, CameraInfoMap& camera)
{
    CameraResolver resolver(m_session.Cameras());
    QVector<CameraInfoMap> candidates;
    const CameraResolver::Outcome outcome = resolver.Resolve(name, camera, candidates);
    if (outcome == CameraResolver::Outcome::Found)
        return ExitCode::Success;

    const QString message = _reportUnresolved(name, outcome, candidates);
    QJsonArray list;
    for (const CameraInfoMap& candidate : candidates)
        list.append(CameraResolver::ToJson(candidate));
    return _finish(ExitCode::CameraNotFound,
                   QJsonObject{{QStringLiteral("error"), message}, {QStringLiteral("candidates"), list}});
}

QString CliCommand::_reportUnresolved(const QString& name, CameraResolver::Outcome outcome,
                                      const QVector<CameraInfoMap>& candidates)
{
    const QString message = CameraResolver::ErrorText(name, outcome, candidates.size());
    if (candidates.isEmpty())
        m_console.Error(message);
    else
        m_console.Error(message + (outcome == CameraResolver::Outcome::Ambiguous
                                       ? QStringLiteral(":")
                                       : QStringLiteral("; the cameras present are:")));
    for (const QString& line : CameraResolver::CandidateLines(candidates, m_console.ErrWidth()))
        m_console.Detail(line);
    return message;
}

ExitCode CliCommand::_fail(ExitCode code, const QString& message)
{
    m_console.Error(message);
    return _finish(code, QJsonObject{{QStringLiteral("error"), message}});
}

void CliCommand::_printJson(const QJsonObject& document)
{
    m_console.Raw(QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented)));
}

ExitCode CliCommand::_finish(ExitCode code, QJsonObject document)
{
    if (m_options.json)
    {
        document.insert(QStringLiteral("ok"), code == ExitCode::Success);
        document.insert(QStringLiteral("exitCode"), static_cast<int>(code));
        _printJson(document);
    }
    return code;
}

ExitCode CliCommand::_batchCode(int succeeded, int failed)
{
    if (failed == 0)
        return ExitCode::Success;
    return succeeded > 0 ? ExitCode::PartlyFailed : ExitCode::Failed;
}
