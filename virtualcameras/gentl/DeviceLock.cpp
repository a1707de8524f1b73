#include "DeviceLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace vcam::gentl {

namespace {

// Open-file-description locks: asking whether one could be taken takes nothing, so a
// look at the list never gets in the way of an application opening a camera.
struct flock wholeFile(short type)
{
    struct flock lock{};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

std::string directory()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::string dir = runtime && *runtime ? std::string(runtime) : "/tmp";
    dir += "/pellix-gentl-" + std::to_string(static_cast<unsigned long>(getuid()));
    mkdir(dir.c_str(), 0700);
    return dir;
}

} // namespace

std::string DeviceLock::_Path(const std::string& key)
{
    uint64_t hash = 1469598103934665603ull;
    for (char c : key)
        hash = (hash ^ static_cast<uint8_t>(c)) * 1099511628211ull;
    char name[32];
    std::snprintf(name, sizeof name, "/%016llx.lock", static_cast<unsigned long long>(hash));
    return directory() + name;
}

DeviceLock::~DeviceLock()
{
    Release();
}

bool DeviceLock::Take(const std::string& key)
{
    Release();
    m_fd = open(_Path(key).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_fd < 0)
        return true; // nowhere to keep locks: nothing to share with
    struct flock lock = wholeFile(F_WRLCK);
    if (fcntl(m_fd, F_OFD_SETLK, &lock) == 0)
        return true;
    Release();
    return false;
}

void DeviceLock::Release()
{
    if (m_fd >= 0)
        close(m_fd);
    m_fd = -1;
}

bool DeviceLock::HeldElsewhere(const std::string& key)
{
    const int fd = open(_Path(key).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct flock lock = wholeFile(F_WRLCK);
    const bool held = fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    close(fd);
    return held;
}

} // namespace vcam::gentl
