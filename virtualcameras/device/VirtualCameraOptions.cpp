#include "VirtualCameraOptions.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstdlib>
#include <set>

namespace vcam {

namespace {

bool toNumber(const std::string& text, long long min, long long max, long long& value)
{
    errno = 0;
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' && errno == 0 && value >= min && value <= max;
}

} // namespace

const char* VirtualCameraOptions::Usage()
{
    return "usage: pellix-virtual-camera --serial SERIAL [--address 127.X.Y.Z] [options]\n"
           "Serves one simulated camera over its own transport, control and image stream: a GigE\n"
           "Vision camera on a loopback address, a USB3 Vision camera as a virtual USB device in\n"
           "$PELLIX_VIRTUAL_USB_DIR.\n"
           "  --address ADDR           loopback IPv4 address to answer on (port 3956), GigE Vision only\n"
           "  --serial SERIAL          the camera to serve: serial number, id or extended id\n"
           "  --description FILE       simulator description to take the camera from (default: the demo set)\n"
           "  --buffer BYTES           size of FileAccessBuffer and largest FileAccessLength\n"
           "  --buffer-length follows  FileAccessBuffer is as long as FileAccessLength was last set\n"
           "  --reset-delay MS         how long a DeviceReset keeps the camera off the network\n"
           "  --command-delay NAME=MS  the command NAME completes MS milliseconds after it is written\n"
           "  --lifetime SECONDS       stop after this long (default: when interrupted)\n"
           "  --print-xml              print the GenICam description and exit\n"
           "  -h, --help               this text\n"
           "  --version                the version\n";
}

bool VirtualCameraOptions::Parse(const std::vector<std::string>& arguments, VirtualCameraOptions& options,
                                 std::string& error)
{
    options = VirtualCameraOptions();
    for (size_t i = 0; i < arguments.size(); ++i)
    {
        const std::string& option = arguments[i];
        if (option == "--help" || option == "-h")
        {
            options.help = true;
            return true;
        }
        if (option == "--version")
        {
            options.version = true;
            return true;
        }
        if (option == "--print-xml")
        {
            options.printXml = true;
            continue;
        }
        static const std::set<std::string> valued = {"--address",     "--serial",          "--description",
                                                     "--buffer",      "--buffer-length",   "--reset-delay",
                                                     "--lifetime",    "--command-delay"};
        if (!valued.count(option))
        {
            error = option.rfind('-', 0) == 0 ? "unknown option " + option : "unexpected argument " + option;
            return false;
        }
        if (i + 1 >= arguments.size())
        {
            error = option + " needs a value";
            return false;
        }
        const std::string& value = arguments[++i];
        long long number = 0;
        if (option == "--address")
        {
            in_addr parsed{};
            if (inet_pton(AF_INET, value.c_str(), &parsed) != 1)
            {
                error = "not an IPv4 address: " + value;
                return false;
            }
            options.address = ntohl(parsed.s_addr);
            if ((options.address >> 24) != 127)
            {
                error = value + " is not a loopback address (127.x.y.z)";
                return false;
            }
        }
        else if (option == "--serial")
            options.serial = value;
        else if (option == "--description")
            options.description = value;
        else if (option == "--buffer")
        {
            if (!toNumber(value, 4, 1 << 24, number))
            {
                error = "--buffer takes 4 to 16777216 bytes";
                return false;
            }
            options.bufferSize = static_cast<uint32_t>(number);
        }
        else if (option == "--buffer-length")
        {
            if (value != "fixed" && value != "follows")
            {
                error = "--buffer-length takes fixed or follows";
                return false;
            }
            options.bufferFollowsLength = value == "follows";
        }
        else if (option == "--reset-delay")
        {
            if (!toNumber(value, 0, 600000, number))
            {
                error = "--reset-delay takes 0 to 600000 ms";
                return false;
            }
            options.resetDelayMs = static_cast<int>(number);
        }
        else if (option == "--command-delay")
        {
            const size_t equals = value.find('=');
            if (equals == std::string::npos || equals == 0 ||
                !toNumber(value.substr(equals + 1), -1, 600000, number))
            {
                error = "--command-delay takes NAME=MS with MS from -1 (never) to 600000";
                return false;
            }
            options.commandDelays.emplace_back(value.substr(0, equals), static_cast<int>(number));
        }
        else if (option == "--lifetime")
        {
            if (!toNumber(value, 1, 7 * 24 * 3600, number))
            {
                error = "--lifetime takes 1 to 604800 seconds";
                return false;
            }
            options.lifetimeSeconds = static_cast<unsigned>(number);
        }
    }
    if (options.serial.empty())
    {
        error = "--serial is required";
        return false;
    }
    return true;
}

} // namespace vcam
