#include "Rendezvous.h"

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace vusb {

std::string Rendezvous::Directory()
{
    const char* chosen = std::getenv(kVariable);
    if (chosen && *chosen)
        return chosen;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime)
        return std::string(runtime) + "/pellix-virtual-usb";
    return "/tmp/pellix-virtual-usb-" + std::to_string(getuid());
}

bool Rendezvous::Prepare(const std::string& directory, std::string& error)
{
    if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
    {
        error = "cannot make " + directory + ": " + std::strerror(errno);
        return false;
    }
    // Not a link, and not someone else's: another user could listen in on the bus there.
    struct stat info{};
    if (lstat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    {
        error = directory + " is not a directory";
        return false;
    }
    if (info.st_uid != getuid())
    {
        error = directory + " belongs to another user";
        return false;
    }
    return true;
}

std::string Rendezvous::SocketPath(const std::string& directory, const std::string& name)
{
    std::string file;
    for (char c : name)
        file += (std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '_') ? c : '_';
    if (file.empty() || file[0] == '.')
        file.insert(file.begin(), '_');
    return directory + "/" + file + kSuffix;
}

std::vector<std::string> Rendezvous::Sockets(const std::string& directory)
{
    std::vector<std::string> paths;
    DIR* dir = opendir(directory.c_str());
    if (!dir)
        return paths;
    const size_t suffix = std::strlen(kSuffix);
    while (const dirent* entry = readdir(dir))
    {
        const std::string name = entry->d_name;
        if (name.size() > suffix && name.compare(name.size() - suffix, suffix, kSuffix) == 0)
            paths.push_back(directory + "/" + name);
    }
    closedir(dir);
    std::sort(paths.begin(), paths.end());
    return paths;
}

int Rendezvous::Connect(const std::string& path)
{
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path)
    {
        errno = ENAMETOOLONG;
        return -1;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (s < 0)
        return -1;
    if (connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        const int saved = errno;
        close(s);
        errno = saved;
        return -1;
    }
    return s;
}

} // namespace vusb
