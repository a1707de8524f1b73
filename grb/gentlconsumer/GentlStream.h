#ifndef GRB_GENTLCONSUMER_GENTLSTREAM_H
#define GRB_GENTLCONSUMER_GENTLSTREAM_H

#include "GentlLibrary.h"

#include <aravis/AravisConnection.h>
#include <aravis/AravisNodeMap.h>
#include <contract/DeviceSession.h>

#include <memory>
#include <string>

namespace grb::gentl {

// A camera's first data stream: its own features (through its port), and one frame at
// a time into buffers the producer allocates, so that nothing of ours is written into
// after a call was given up on.
class GentlStream
{
public:
    // Null with the reason when the device has no stream that opens.
    static std::unique_ptr<GentlStream> Open(std::shared_ptr<GentlLibrary> library, DEV_HANDLE device,
                                             std::string& why);
    ~GentlStream();

    // Null when the stream's port has no description that reads.
    NodeMap* Features() { return m_features.get(); }
    // Starts the camera for one frame (AcquisitionStart through the camera's features)
    // and waits for it.
    GrbErrorType AcquireSingleFrame(NodeMap& camera, uint32_t timeoutMs, FrameData& frame);
    void Close();

private:
    GentlStream(std::shared_ptr<GentlLibrary> library, DS_HANDLE stream);
    GrbErrorType _PayloadSize(NodeMap& camera, uint64_t& size);
    GrbErrorType _Wait(uint32_t timeoutMs, FrameData& frame, EVENT_HANDLE event);

    std::shared_ptr<GentlLibrary> m_library;
    DS_HANDLE m_stream;
    std::shared_ptr<aravis::AravisConnection> m_connection;
    std::unique_ptr<aravis::AravisNodeMap> m_features;
};

} // namespace grb::gentl

#endif
