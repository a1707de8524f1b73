#ifndef VUSB_RENDEZVOUS_H
#define VUSB_RENDEZVOUS_H

#include <string>
#include <vector>

namespace vusb {

// Where virtual USB devices meet their hosts: a directory with one Unix-domain socket
// per device on the bus. PELLIX_VIRTUAL_USB_DIR names it; else
// $XDG_RUNTIME_DIR/pellix-virtual-usb, else /tmp/pellix-virtual-usb-UID.
class Rendezvous
{
public:
    static constexpr const char* kVariable = "PELLIX_VIRTUAL_USB_DIR";
    static constexpr const char* kSuffix = ".usb";

    static std::string Directory();
    // Makes the directory (only the user may enter one it makes); false with the reason,
    // also when it is a link or another user's.
    static bool Prepare(const std::string& directory, std::string& error);
    // The socket of the device named name (letters, digits, '.', '-', '_'; others become '_').
    static std::string SocketPath(const std::string& directory, const std::string& name);
    // The sockets in the directory, sorted.
    static std::vector<std::string> Sockets(const std::string& directory);
    // A connected stream socket to path, or -1 (errno tells why).
    static int Connect(const std::string& path);
};

} // namespace vusb

#endif
