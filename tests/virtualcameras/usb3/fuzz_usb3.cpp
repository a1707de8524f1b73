// libFuzzer target for the virtual USB3 Vision camera's control message handling and
// the libusb stand-in's parsing of what a device sends. An input is a sequence of
// records (a kind and time byte, a 16-bit length, the bytes): control commands to a
// fresh camera, whose acknowledges are then read with a buffer of the size the next
// byte says; bytes a device sends on the virtual bus; configuration descriptors; and
// streaming settings with the frame they lay out. Built and run by scripts/fuzz.sh.
#include "ConfigParser.h"
#include "U3vStreamChannel.h"
#include "VirtualUsbCamera.h"

#include <FrameReader.h>
#include <UsbWire.h>

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

// A camera with a named file, a slot and a small buffer, so that inputs reach their
// ends; a reset keeps it away for the rest of the input.
const char* const kDescription =
    "camera id=F model=Fuzz serial=F1 transport=usb3 buffer=512 capacity=4096 reset-delay=600000 slots=Slot\n"
    "file selector=Userfile name=a.txt text=\"abc\"\n"
    "file selector=Slot size=600 seed=1\n";

std::string descriptionFile()
{
    char path[] = "/tmp/fuzz-usb3-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0 || write(fd, kDescription, std::strlen(kDescription)) < 0)
        std::abort();
    close(fd);
    static std::string removed;
    removed = path;
    std::atexit([] { unlink(removed.c_str()); });
    return path;
}

std::unique_ptr<vcam::VirtualUsbCamera> freshCamera()
{
    static const std::string description = descriptionFile();
    vcam::VirtualCameraOptions options;
    vcam::ServedCamera served;
    std::string error;
    if (!vcam::VirtualCameraOptions::Parse({"--serial", "F1", "--description", description}, options, error) ||
        !vcam::ServedCamera::Load(options, served, error))
        std::abort();
    std::unique_ptr<vcam::VirtualUsbCamera> camera = vcam::VirtualUsbCamera::Create(std::move(served), error);
    if (!camera)
        std::abort();
    return camera;
}

uint32_t get32(const uint8_t* p)
{
    return vusb::Get32(p);
}

void commands(vcam::U3vCamera& camera, const uint8_t* data, size_t size, size_t readSize,
              vcam::UsbFunction::Clock::time_point now)
{
    camera.Receive(0x01, data, size, now);
    std::vector<uint8_t> ack;
    while (camera.Send(0x81, readSize, now, ack) == vcam::UsbFunction::Sent::Data)
    {
        // Every acknowledge is whole and says its own length.
        if (ack.size() < 12 || get32(ack.data()) != 0x43563355 || size_t(ack[8] | ack[9] << 8) != ack.size() - 12 ||
            ack.size() > readSize)
            std::abort();
    }
}

void deviceBytes(const uint8_t* data, size_t size)
{
    for (bool fromDevice : {true, false})
    {
        vusb::FrameReader reader(fromDevice);
        reader.Append(data, size);
        vusb::Frame frame;
        while (reader.Next(frame) == vusb::FrameReader::Complete)
        {
            vusb::Reply reply;
            vusb::Setup setup;
            uint8_t endpoint = 0;
            uint32_t word = 0;
            const uint8_t* payload = nullptr;
            size_t length = 0;
            if (frame.body.size() > vusb::kMaxBody)
                std::abort();
            vusb::ParseReply(frame.body, reply);
            vusb::ParseSetup(frame.body, setup);
            vusb::ParseBulkIn(frame.body, endpoint, word);
            if (vusb::ParseBulkOut(frame.body, endpoint, payload, length) &&
                payload + length != frame.body.data() + frame.body.size())
                std::abort();
            vusb::ParseByte(frame.body, endpoint);
            vusb::ParseWord(frame.body, word);
        }
    }
}

void configuration(const uint8_t* data, size_t size)
{
    libusb_config_descriptor* config = vusb::ConfigParser::Parse(data, size);
    if (!config)
        return;
    // Everything the tree points at is there to be read.
    size_t sum = config->extra_length ? config->extra[config->extra_length - 1] : 0;
    for (int i = 0; i < config->bNumInterfaces; ++i)
        for (int s = 0; s < config->interface[i].num_altsetting; ++s)
        {
            const libusb_interface_descriptor& setting = config->interface[i].altsetting[s];
            sum += setting.extra_length ? setting.extra[setting.extra_length - 1] : 0;
            for (int e = 0; e < setting.bNumEndpoints; ++e)
                sum += setting.endpoint[e].bEndpointAddress +
                       (setting.endpoint[e].extra_length ? setting.endpoint[e].extra[setting.endpoint[e].extra_length - 1]
                                                         : 0);
        }
    vusb::ConfigParser::Free(config);
    if (sum == size_t(-1))
        std::abort();
}

void streamLayout(const uint8_t* data, size_t size)
{
    if (size < 12)
        return;
    vcam::U3vAddressSpace::StreamSettings settings;
    settings.payloadSize = data[0] | data[1] << 8;
    settings.payloadCount = data[2];
    settings.transfer1 = data[3] | data[4] << 8;
    settings.transfer2 = data[5] | data[6] << 8;
    grb::sim::SimFrame frame;
    frame.id = data[7];
    frame.height = data[8];
    frame.data.assign(data + 9, data + size);
    size_t payload = 0;
    const auto blocks = vcam::U3vStreamChannel::Blocks(frame, settings);
    for (size_t i = 1; i + 1 < blocks.size(); ++i)
        payload += blocks[i].size();
    // The trailer tells how much of the frame went out, and that is what went out.
    const std::vector<uint8_t>& trailer = blocks.back();
    if (blocks.size() < 2 || payload > frame.data.size() || vusb::Get64(trailer.data() + 20) != payload)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<vcam::VirtualUsbCamera> camera = freshCamera();
    auto now = vcam::UsbFunction::Clock::time_point() + std::chrono::hours(1);
    size_t at = 0;
    while (at + 3 <= size)
    {
        const uint8_t control = data[at];
        size_t length = size_t(data[at + 1]) << 8 | data[at + 2];
        at += 3;
        length = std::min(length, size - at);
        now += std::chrono::milliseconds(250 * (control >> 4));
        switch (control & 0x03)
        {
        case 0: {
            const size_t readSize = at + length < size ? size_t(data[at + length]) * 260 + 12 : 65536;
            commands(camera->Camera(), data + at, length, readSize, now);
            break;
        }
        case 1:
            deviceBytes(data + at, length);
            break;
        case 2:
            configuration(data + at, length);
            break;
        default:
            streamLayout(data + at, length);
            break;
        }
        at += length;
    }
    return 0;
}
