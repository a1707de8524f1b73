// libFuzzer target for the virtual camera's control message handling, packet resend
// requests included. An input is a sequence of messages, each from one of three senders
// (two on loopback, one outside) and some time after the one before, sent to a fresh
// camera whose control the first sender already holds, so writes reach the device model;
// after each, the stream packets due go out, none larger than the packet size allows.
// Built and run by scripts/fuzz.sh.
#include <gvcp/GvcpProtocol.h>
#include "GvspProtocol.h"
#include "VirtualCamera.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

const vcam::GvcpPeer kSenders[] = {{0x7F000001, 50000}, {0x7F000001, 50001}, {0x0A000001, 50000}};

// A camera with a named file, a slot, a small buffer and small images, so that inputs
// reach their ends; a reset keeps it away for the rest of the input.
const char* const kDescription =
    "camera id=F model=Fuzz serial=F1 transport=gige buffer=512 capacity=4096 reset-delay=600000 slots=Slot\n"
    "file selector=Userfile name=a.txt text=\"abc\"\n"
    "file selector=Slot size=600 seed=1\n"
    "feature name=Width type=int value=16 min=16 max=64 inc=16\n"
    "feature name=Height type=int value=8 min=8 max=64 inc=2\n";

std::string descriptionFile()
{
    char path[] = "/tmp/fuzz-gvcp-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0 || write(fd, kDescription, std::strlen(kDescription)) < 0)
        std::abort();
    close(fd);
    static std::string removed;
    removed = path;
    std::atexit([] { unlink(removed.c_str()); });
    return path;
}

std::unique_ptr<vcam::VirtualCamera> freshCamera()
{
    static const std::string description = descriptionFile();
    vcam::VirtualCameraOptions options;
    std::string error;
    if (!vcam::VirtualCameraOptions::Parse({"--address", "127.0.0.2", "--serial", "F1", "--description", description},
                                           options, error))
        std::abort();
    std::unique_ptr<vcam::VirtualCamera> camera = vcam::VirtualCamera::Create(options, error);
    if (!camera)
        std::abort();
    return camera;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<vcam::VirtualCamera> camera = freshCamera();
    vcam::GvcpHandler& handler = camera->Handler();
    // The acquisition keeps the real time.
    auto now = vcam::GvcpHandler::Clock::now();
    vcam::GvcpHandler::Reply reply;

    const uint8_t takeControl[] = {0x42, 0x01, 0x00, 0x82, 0x00, 0x08, 0x00, 0x01,
                                   0x00, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x00, 0x02};
    handler.Handle(takeControl, sizeof takeControl, kSenders[0], now, reply);

    // Each record: sender and time step, a 16-bit length, then the message.
    size_t at = 0;
    while (at + 3 <= size)
    {
        const uint8_t control = data[at];
        size_t length = size_t(data[at + 1]) << 8 | data[at + 2];
        at += 3;
        length = std::min(length, size - at);
        now += std::chrono::milliseconds(250 * (control >> 3));
        if (control & 0x04)
            handler.Tick(now);
        if (handler.Handle(data + at, length, kSenders[(control & 0x03) % 3], now, reply) &&
            (reply.packet.size() < vcam::gvcp::kHeaderSize ||
             vcam::gvcp::Get16(reply.packet.data() + 4) != reply.packet.size() - vcam::gvcp::kHeaderSize))
            std::abort(); // every acknowledge is whole and says its own length
        at += length;
        vcam::StreamChannel::Datagram datagram;
        const uint32_t packetSize = camera->Stream().Read(vcam::gvcp::kStreamChannelPacketSize) & 0xFFFF;
        for (int i = 0; i < 64 && camera->Stream().Take(now, datagram); ++i)
            if (datagram.bytes.size() + vcam::gvsp::kUdpOverhead > packetSize)
                std::abort();
    }
    return 0;
}
