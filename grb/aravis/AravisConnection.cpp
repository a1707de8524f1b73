#include "AravisConnection.h"

#include "AravisError.h"
#include "AravisPortDevice.h"

#include <arv.h>

#include <chrono>
#include <cstring>
#include <thread>

namespace grb::aravis {

namespace {

constexpr int kLastReferenceWaits = 1000;

ArvDevice* openGigE(const AravisDeviceInfo& info, GrbErrorType& err)
{
    GInetAddress* local = g_inet_address_new_from_string(info.localAddress.c_str());
    GInetAddress* remote = g_inet_address_new_from_string(info.deviceAddress.c_str());
    ArvDevice* device = nullptr;
    if (!local || !remote)
        err = AravisError::Fail(GrbErrorTransportLayer, "no route to the camera at " + info.deviceAddress);
    else
    {
        GError* error = nullptr;
        device = arv_gv_device_new(local, remote, &error);
        err = AravisError::Take(error);
    }
    if (local)
        g_object_unref(local);
    if (remote)
        g_object_unref(remote);
    // Aravis hands out a device even when taking control failed.
    if (device && !arv_gv_device_is_controller(ARV_GV_DEVICE(device)))
    {
        g_object_unref(device);
        device = nullptr;
        err = AravisError::Fail(GrbErrorInvalidAccess, "another application controls the camera");
    }
    return device;
}

ArvDevice* openUsb(const AravisDeviceInfo& info, GrbErrorType& err)
{
    GError* error = nullptr;
    ArvDevice* device = arv_uv_device_new(info.vendor.c_str(), info.model.c_str(), info.serial.c_str(), &error);
    // Another process has claimed the camera's interfaces: Aravis says so only in words.
    const bool claimed = error && error->message && std::strstr(error->message, "LIBUSB_ERROR_BUSY");
    err = AravisError::Take(error);
    if (claimed)
        err = AravisError::Fail(GrbErrorInvalidAccess, "another application holds the camera");
    return device;
}

} // namespace

GrbErrorType AravisConnection::Open(const AravisDeviceInfo& info, bool writable, std::function<void()> onControlLost,
                                    std::shared_ptr<AravisConnection>& connection)
{
    GrbErrorType err = GrbErrorSuccess;
    ArvDevice* device = nullptr;
    if (info.type == GrbTransportLayerGEV)
        device = openGigE(info, err);
    else
        device = openUsb(info, err);
    if (!device)
        return err != GrbErrorSuccess ? err : AravisError::Fail(GrbErrorTransportLayer, "the camera did not open");

    _Configure(device);

    GError* error = nullptr;
    ArvCamera* camera = arv_camera_new_with_device(device, &error);
    if (!camera)
    {
        g_object_unref(device);
        return AravisError::Take(error);
    }

    std::shared_ptr<AravisConnection> result(new AravisConnection());
    result->m_device = device;
    result->m_camera = camera;
    result->m_type = info.type;
    result->m_writable = writable;
    result->m_loss = std::make_unique<LossWatch>();
    result->m_loss->notify = std::move(onControlLost);
    if (info.type == GrbTransportLayerGEV)
    {
        gint channels = arv_camera_gv_get_n_stream_channels(camera, &error);
        if (error)
        {
            AravisError::Take(error);
            channels = 0;
        }
        result->m_streamCount = channels > 0 ? static_cast<uint32_t>(channels) : 0;
    }
    else
        result->m_streamCount = 1;
    // A USB3 Vision camera is lost when it leaves the bus.
    result->m_lossHandler = g_signal_connect(device, "control-lost", G_CALLBACK(&AravisConnection::_OnControlLost),
                                             result->m_loss.get());
    connection = std::move(result);
    return GrbErrorSuccess;
}

void AravisConnection::_Configure(ArvDevice* device)
{
    // Aravis's own access and range checks stay off: the SDK checks every feature access
    // before it reaches Aravis, and a second check cost an eighth of each write. The
    // cache would hide what a camera changes by itself (a command's completion, a file
    // operation's status).
    arv_device_set_access_check_policy(device, ARV_ACCESS_CHECK_POLICY_DISABLE);
    arv_device_set_range_check_policy(device, ARV_RANGE_CHECK_POLICY_DISABLE);
    arv_device_set_register_cache_policy(device, ARV_REGISTER_CACHE_POLICY_DISABLE);
}

GrbErrorType AravisConnection::OverPort(std::shared_ptr<RegisterPort> port, const std::string& xml,
                                        GrbTransportLayerType type, bool writable,
                                        std::shared_ptr<AravisConnection>& connection)
{
    ArvDevice* device = AravisPortDevice::New(std::move(port), xml);
    if (!device)
        return AravisError::Fail(GrbErrorTransportLayer, "the camera's GenICam description is not a GenICam document");
    _Configure(device);
    std::shared_ptr<AravisConnection> result(new AravisConnection());
    result->m_device = device;
    result->m_type = type;
    result->m_writable = writable;
    result->m_loss = std::make_unique<LossWatch>();
    connection = std::move(result);
    return GrbErrorSuccess;
}

AravisConnection::~AravisConnection()
{
    Close();
}

void AravisConnection::_OnControlLost(void*, void* watch)
{
    auto* loss = static_cast<LossWatch*>(watch);
    loss->lost = true;
    if (loss->notify)
        loss->notify();
}

void AravisConnection::Close()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_device)
        return;
    if (m_lossHandler)
        g_signal_handler_disconnect(m_device, m_lossHandler);
    m_lossHandler = 0;
    g_clear_object(&m_camera);
    // Aravis reports a USB3 Vision camera gone from the bus on its event thread, holding
    // the device while it does. Were the last reference dropped there, the device would
    // join that very thread, and GLib aborts: the report is let finish first.
    for (int waited = 0; waited < kLastReferenceWaits && g_atomic_int_get(&G_OBJECT(m_device)->ref_count) > 1; ++waited)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    // Leaves control and joins the heartbeat or event thread, so no loss report runs after this.
    g_object_unref(m_device);
    m_device = nullptr;
}

GrbErrorType AravisConnection::Run(const std::function<GrbErrorType(ArvDevice*, ArvCamera*)>& f)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_device)
        return AravisError::Fail(GrbErrorTransportLayer, "the camera is closed");
    if (m_loss->lost)
        return AravisError::Fail(GrbErrorTransportLayer, "the camera dropped this application's control");
    return f(m_device, m_camera);
}

} // namespace grb::aravis
