// How a test starts another program, the same natively and in a cross build.
//
// The programs this project builds are the target's: in a cross build they run through
// the emulator that CTest runs the tests with (CMAKE_CROSSCOMPILING_EMULATOR), as do
// programs taken from the target's packages. Programs of the machine itself (Aravis's
// tools on the PATH) run as they are. What a test preloads (the libusb stand-in) is a
// target library: under emulation LD_PRELOAD goes to the emulated program only (through
// the emulator's QEMU_SET_ENV), never to a program of this machine, whose loader would
// refuse it with an error on standard error. A test preloaded that way hands it on to the
// target programs it starts.
#ifndef TESTS_SUPPORT_CHILDCOMMAND_H
#define TESTS_SUPPORT_CHILDCOMMAND_H

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

class ChildCommand
{
public:
    // A program built for the target: one of this project's, or from a target package.
    static ChildCommand Target(QString program, QStringList arguments = {});
    // A program of the machine that runs the tests.
    static ChildCommand Host(QString program, QStringList arguments = {});
    // True when target programs run through an emulator.
    static bool Emulated();

    // The program itself, not the emulator that runs it.
    const QString& Program() const { return m_program; }

    // The command line to execute, the path of what runs first; environment (by default
    // this process's) is changed to what it runs in.
    QStringList CommandLine(QProcessEnvironment& environment) const;
    // Starts it in the environment set on process, or else in this process's.
    void Start(QProcess& process) const;

private:
    ChildCommand(QString program, QStringList arguments, bool target);

    QString m_program;
    QStringList m_arguments;
    bool m_target;
};

#endif
