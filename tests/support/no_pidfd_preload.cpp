// Preloaded into the tests of a cross build that run under qemu-user. qemu-user 7.2
// passes waitid(P_PIDFD) through to this machine's kernel, which supports it, but
// refuses clone(CLONE_PIDFD) with EINVAL. Qt's QProcess probes the first and then relies
// on the second, so under emulation every QProcess start failed. Answering the probe as
// a kernel without pidfds does makes QProcess start its children with a plain fork.
#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <sys/syscall.h>

namespace {

constexpr long kPidfdIdType = 3; // P_PIDFD, absent from older headers

using SyscallFunction = long (*)(long, ...);

} // namespace

extern "C" __attribute__((visibility("default"))) long syscall(long number, ...)
{
    // A system call takes at most six arguments, each a register's width.
    long arguments[6];
    va_list list;
    va_start(list, number);
    for (long& argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_waitid && arguments[0] == kPidfdIdType)
    {
        errno = EINVAL;
        return -1;
    }
    static const auto next = reinterpret_cast<SyscallFunction>(dlsym(RTLD_NEXT, "syscall"));
    return next(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}
