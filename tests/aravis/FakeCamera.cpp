#include "FakeCamera.h"

#include "aravis/GvcpClient.h"

#include <QElapsedTimer>
#include <QStandardPaths>
#include <QThread>

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

constexpr int kStartPatienceMs = 10000;
constexpr int kStopPatienceMs = 3000;

bool reaped(pid_t pid, int patienceMs)
{
    QElapsedTimer timer;
    timer.start();
    do
    {
        if (waitpid(pid, nullptr, WNOHANG) == pid)
            return true;
        QThread::msleep(20);
    } while (timer.elapsed() < patienceMs);
    return false;
}

} // namespace

FakeCamera::FakeCamera(QString address, QString serial, QString description)
    : m_address(std::move(address))
    , m_serial(std::move(serial))
    , m_description(std::move(description))
{
}

FakeCamera::~FakeCamera()
{
    Stop();
}

QString FakeCamera::Program()
{
    return QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
}

bool FakeCamera::Start(QString& error)
{
    Stop();
    const QString program = Program();
    if (program.isEmpty())
    {
        error = QStringLiteral("arv-fake-gv-camera-0.8 is not installed (Debian package aravis-tools)");
        return false;
    }
    // Everything the child needs is prepared here: after fork only exec-safe calls.
    std::vector<QByteArray> args{program.toLocal8Bit(), "-i", m_address.toLatin1(), "-s", m_serial.toLatin1()};
    if (!m_description.isEmpty())
    {
        args.push_back("-g");
        args.push_back(m_description.toLocal8Bit());
    }
    std::vector<char*> argv;
    for (QByteArray& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    m_pid = fork();
    if (m_pid == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (m_pid < 0)
    {
        error = QStringLiteral("the fake camera could not be started");
        return false;
    }

    QElapsedTimer timer;
    timer.start();
    grb::aravis::GvcpClient gvcp(m_address.toStdString());
    while (timer.elapsed() < kStartPatienceMs)
    {
        uint32_t privilege = 0;
        if (gvcp.ReadRegister(grb::aravis::GvcpClient::kControlChannelPrivilege, privilege) == GrbErrorSuccess)
            return true;
        if (waitpid(m_pid, nullptr, WNOHANG) == m_pid)
        {
            m_pid = -1;
            error = QStringLiteral("the fake camera on %1 exited at once").arg(m_address);
            return false;
        }
    }
    Stop();
    error = QStringLiteral("the fake camera on %1 did not answer").arg(m_address);
    return false;
}

void FakeCamera::Stop()
{
    if (m_pid <= 0)
        return;
    kill(m_pid, SIGTERM);
    if (!reaped(m_pid, kStopPatienceMs))
    {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    m_pid = -1;
}
