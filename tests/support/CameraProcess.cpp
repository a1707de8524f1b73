#include "CameraProcess.h"

#include "aravis/GvcpClient.h"

#include <Rendezvous.h>
#include <gvcp/GvcpProtocol.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
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

CameraProcess::CameraProcess(ChildCommand command, QString address)
    : m_command(std::move(command))
    , m_address(std::move(address))
{
}

CameraProcess::~CameraProcess()
{
    Stop();
}

bool CameraProcess::Start(QString& error)
{
    Stop();
    if (m_command.Program().isEmpty() || !QFileInfo(m_command.Program()).isExecutable())
    {
        error = QStringLiteral("the camera program %1 cannot be run").arg(m_command.Program());
        return false;
    }
    // Everything the child needs is prepared here: after fork only exec-safe calls.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QStringList line = m_command.CommandLine(environment);
    std::vector<QByteArray> args;
    for (const QString& argument : line)
        args.push_back(argument.toLocal8Bit());
    std::vector<QByteArray> variables;
    for (const QString& variable : environment.toStringList())
        variables.push_back(variable.toLocal8Bit());
    auto pointers = [](std::vector<QByteArray>& strings) {
        std::vector<char*> list;
        for (QByteArray& string : strings)
            list.push_back(string.data());
        list.push_back(nullptr);
        return list;
    };
    std::vector<char*> argv = pointers(args);
    std::vector<char*> envp = pointers(variables);

    m_pid = fork();
    if (m_pid == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    if (m_pid < 0)
    {
        error = QStringLiteral("the camera on %1 could not be started").arg(m_address);
        return false;
    }

    QElapsedTimer timer;
    timer.start();
    const bool usb = m_address.startsWith('/');
    std::unique_ptr<grb::aravis::GvcpClient> gvcp;
    if (!usb)
        gvcp = std::make_unique<grb::aravis::GvcpClient>(m_address.toStdString());
    auto answers = [&] {
        if (usb)
        {
            const int device = vusb::Rendezvous::Connect(m_address.toStdString());
            if (device >= 0)
                close(device);
            QThread::msleep(device >= 0 ? 0 : 20);
            return device >= 0;
        }
        uint32_t privilege = 0;
        return gvcp->ReadRegister(grb::gvcp::kControlChannelPrivilege, privilege) == GrbErrorSuccess;
    };
    while (timer.elapsed() < kStartPatienceMs)
    {
        if (answers())
            return true;
        if (waitpid(m_pid, nullptr, WNOHANG) == m_pid)
        {
            m_pid = -1;
            error = QStringLiteral("the camera on %1 exited at once").arg(m_address);
            return false;
        }
    }
    Stop();
    error = QStringLiteral("the camera on %1 did not answer").arg(m_address);
    return false;
}

void CameraProcess::Stop()
{
    if (m_pid <= 0)
        return;
    kill(m_pid, SIGTERM);
    if (!reaped(m_pid, kStopPatienceMs))
        Kill();
    m_pid = -1;
}

void CameraProcess::Kill()
{
    if (m_pid <= 0)
        return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}
