#ifndef GRB_ARAVIS_ARAVISCONNECTION_H
#define GRB_ARAVIS_ARAVISCONNECTION_H

#include "AravisDeviceInfo.h"
#include "RegisterPort.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

typedef struct _ArvDevice ArvDevice;
typedef struct _ArvCamera ArvCamera;

namespace grb::aravis {

// One open camera: the Aravis device, behind one lock, since Aravis's GenICam tree is
// not safe to use from two threads at once.
class AravisConnection
{
public:
    // Takes control of the camera. A camera that another application controls (GigE
    // Vision) or has claimed (USB3 Vision) is refused with -6. onControlLost runs on
    // Aravis's heartbeat thread (GigE Vision), or on whichever thread found the camera
    // gone from the bus (USB3 Vision, maybe inside Run); it must take no lock of this class.
    static GrbErrorType Open(const AravisDeviceInfo& info, bool writable, std::function<void()> onControlLost,
                             std::shared_ptr<AravisConnection>& connection);
    // The GenICam engine over a register port of another transport, from the
    // description the port gave. Has no Aravis camera; -13 when the description is not
    // a GenICam document.
    static GrbErrorType OverPort(std::shared_ptr<RegisterPort> port, const std::string& xml, GrbTransportLayerType type,
                                 bool writable, std::shared_ptr<AravisConnection>& connection);
    ~AravisConnection();
    AravisConnection(const AravisConnection&) = delete;
    AravisConnection& operator=(const AravisConnection&) = delete;

    void Close();

    GrbTransportLayerType Type() const { return m_type; }
    bool Writable() const { return m_writable; }
    uint32_t StreamCount() const { return m_streamCount; }

    // Runs f on the device under the lock; -13 once closed or after control was lost. The
    // camera is null for a connection over a port.
    GrbErrorType Run(const std::function<GrbErrorType(ArvDevice*, ArvCamera*)>& f);

private:
    struct LossWatch
    {
        std::atomic<bool> lost{false};
        std::function<void()> notify;
    };

    AravisConnection() = default;
    static void _OnControlLost(void* device, void* watch);
    // Range and access checks on, the register cache off.
    static void _Configure(ArvDevice* device);

    std::mutex m_mutex;
    ArvDevice* m_device = nullptr;
    ArvCamera* m_camera = nullptr;
    unsigned long m_lossHandler = 0;
    std::unique_ptr<LossWatch> m_loss;
    GrbTransportLayerType m_type = GrbTransportLayerUnknown;
    bool m_writable = false;
    uint32_t m_streamCount = 0;
};

} // namespace grb::aravis

#endif
