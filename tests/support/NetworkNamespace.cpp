#include "NetworkNamespace.h"

#include "ChildCommand.h"

#include <QFile>
#include <QStringList>

#include <arpa/inet.h>
#include <linux/capability.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool writeFile(const char* path, const QByteArray& text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

// As "unshare -n" does for root, or "unshare -rn" (a user namespace mapping us to
// root) where that is refused.
bool unshareNetwork(QString& reason)
{
    if (unshare(CLONE_NEWNET) == 0)
        return true;
    const QString direct = QString::fromLocal8Bit(std::strerror(errno));
    const QByteArray uid = QByteArray::number(static_cast<qulonglong>(getuid()));
    const QByteArray gid = QByteArray::number(static_cast<qulonglong>(getgid()));
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 && writeFile("/proc/self/setgroups", "deny") &&
        writeFile("/proc/self/uid_map", "0 " + uid + " 1") && writeFile("/proc/self/gid_map", "0 " + gid + " 1"))
        return true;
    reason = QStringLiteral("no network namespace could be made (%1; with a user namespace of its own: %2)")
                 .arg(direct, QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

bool bringLoopbackUp(QString& reason)
{
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    bool ok = s >= 0 && ioctl(s, SIOCGIFFLAGS, &request) == 0;
    if (ok)
    {
        request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_RUNNING);
        ok = ioctl(s, SIOCSIFFLAGS, &request) == 0;
    }
    if (!ok)
        reason = QStringLiteral("loopback did not come up: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
    if (s >= 0)
        close(s);
    return ok;
}

// As an alias "lo:N", the way the fake camera finds an address: on an interface.
bool addLoopbackAddress(int alias, const QString& address, QString& reason)
{
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::snprintf(request.ifr_name, IFNAMSIZ, "lo:%d", alias);
    auto* in = reinterpret_cast<sockaddr_in*>(&request.ifr_addr);
    in->sin_family = AF_INET;
    bool ok = s >= 0 && inet_pton(AF_INET, address.toLatin1().constData(), &in->sin_addr) == 1 &&
              ioctl(s, SIOCSIFADDR, &request) == 0;
    if (ok)
    {
        inet_pton(AF_INET, "255.0.0.0", &in->sin_addr);
        ok = ioctl(s, SIOCSIFNETMASK, &request) == 0;
    }
    if (!ok)
        reason = QStringLiteral("%1 could not be added to loopback: %2")
                     .arg(address, QString::fromLocal8Bit(std::strerror(errno)));
    if (s >= 0)
        close(s);
    return ok;
}

bool onlyLoopback(QString& reason)
{
    struct if_nameindex* names = if_nameindex();
    if (!names)
    {
        reason = QStringLiteral("the network interfaces cannot be listed");
        return false;
    }
    QStringList others;
    for (struct if_nameindex* i = names; i->if_index != 0; ++i)
        if (std::strcmp(i->if_name, "lo") != 0)
            others << QString::fromLocal8Bit(i->if_name);
    if_freenameindex(names);
    if (!others.isEmpty())
        reason = QStringLiteral("the namespace has other interfaces: %1").arg(others.join(QStringLiteral(", ")));
    return others.isEmpty();
}

// qemu-user opens a packet socket but does not translate its receive ring, so Aravis's
// packet-socket receiver, which it uses whenever it may (CAP_NET_RAW), never sees a GigE
// Vision stream packet under emulation. Without the capability, for this process and
// what it starts, Aravis receives on its ordinary UDP socket.
bool dropRawSockets(QString& reason)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    const unsigned bit = 1u << (CAP_NET_RAW % 32);
    bool ok = prctl(PR_CAPBSET_DROP, CAP_NET_RAW, 0, 0, 0) == 0 && syscall(SYS_capget, &header, data) == 0;
    if (ok)
    {
        data[CAP_NET_RAW / 32].effective &= ~bit;
        data[CAP_NET_RAW / 32].permitted &= ~bit;
        data[CAP_NET_RAW / 32].inheritable &= ~bit;
        ok = syscall(SYS_capset, &header, data) == 0;
    }
    if (!ok)
        reason = QStringLiteral("raw sockets could not be given up under emulation: %1")
                     .arg(QString::fromLocal8Bit(std::strerror(errno)));
    return ok;
}

} // namespace

bool NetworkNamespace::Enter(const QStringList& extraLoopbackAddresses, QString& reason)
{
    if (!unshareNetwork(reason) || !bringLoopbackUp(reason) || !onlyLoopback(reason))
        return false;
    for (int i = 0; i < extraLoopbackAddresses.size(); ++i)
        if (!addLoopbackAddress(i + 1, extraLoopbackAddresses[i], reason))
            return false;
    return !ChildCommand::Emulated() || dropRawSockets(reason);
}
