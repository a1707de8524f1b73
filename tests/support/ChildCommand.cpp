#include "ChildCommand.h"

namespace {

const QString kPreload = QStringLiteral("LD_PRELOAD");
// qemu's way of setting the emulated program's environment, read by the emulator only.
const QString kGuestEnvironment = QStringLiteral("QEMU_SET_ENV");

// The emulator and its options, separated by "|".
QStringList emulator()
{
    return QStringLiteral(PELLIX_TEST_EMULATOR).split(QLatin1Char('|'), Qt::SkipEmptyParts);
}

} // namespace

ChildCommand::ChildCommand(QString program, QStringList arguments, bool target)
    : m_program(std::move(program))
    , m_arguments(std::move(arguments))
    , m_target(target)
{
}

ChildCommand ChildCommand::Target(QString program, QStringList arguments)
{
    return ChildCommand(std::move(program), std::move(arguments), true);
}

ChildCommand ChildCommand::Host(QString program, QStringList arguments)
{
    return ChildCommand(std::move(program), std::move(arguments), false);
}

bool ChildCommand::Emulated()
{
    return !emulator().isEmpty();
}

QStringList ChildCommand::CommandLine(QProcessEnvironment& environment) const
{
    if (!Emulated())
        return QStringList{m_program} + m_arguments;
    const QString preload = environment.value(kPreload);
    environment.remove(kPreload);
    if (!m_target)
    {
        environment.remove(kGuestEnvironment);
        return QStringList{m_program} + m_arguments;
    }
    // Left in the environment, so that a process started again with it keeps the preload.
    if (!preload.isEmpty())
        environment.insert(kGuestEnvironment, kPreload + QLatin1Char('=') + preload);
    return emulator() << m_program << m_arguments;
}

void ChildCommand::Start(QProcess& process) const
{
    QProcessEnvironment environment = process.processEnvironment();
    if (environment.isEmpty())
        environment = QProcessEnvironment::systemEnvironment();
    QStringList line = CommandLine(environment);
    process.setProcessEnvironment(environment);
    const QString program = line.takeFirst();
    process.start(program, line);
}
