#ifndef GRB_CORE_H
#define GRB_CORE_H

#include "CheckedNodeMap.h"
#include "DeviceListSync.h"
#include "EventThread.h"
#include "HandleTable.h"

#include <contract/TransportLayerDriver.h>

#include <GrbC/GrbCTypes.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace grb {

// The SDK session behind both interfaces: the loaded transport layers, the handle
// table of every camera seen since Startup, open sessions, the list kept in step with
// the layers, and the thread that reports list changes.
class Core
{
public:
    static Core& Instance();

    GrbErrorType Startup();
    GrbErrorType Shutdown();
    GrbErrorType QueryVersion(GrbVersionInfo& version);
    std::string StartupMessage();
    // Set once by the object layer; called on the event thread.
    void SetEventSinks(EventThread::Sink cameraEvents, EventThread::Sink interfaceEvents);
    GrbErrorType CheckStarted();

    GrbErrorType Cameras(std::vector<GrbHandle>& cameras);
    GrbErrorType FindCamera(const char* id, GrbHandle& camera);
    GrbErrorType CameraText(GrbHandle camera, DeviceRecord::Field field, std::string& text);
    GrbErrorType CameraRecord(GrbHandle camera, DeviceRecord& record);
    GrbErrorType OpenCamera(GrbHandle camera, GrbAccessModeType mode);
    GrbErrorType CloseCamera(GrbHandle camera);
    GrbErrorType CameraInterface(GrbHandle camera, GrbHandle& cameraInterface);
    GrbErrorType CameraTransportLayer(GrbHandle camera, GrbHandle& transportLayer);
    GrbErrorType CameraStreams(GrbHandle camera, std::vector<GrbHandle>& streams);
    GrbErrorType ReadMemory(GrbHandle camera, uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done);
    GrbErrorType WriteMemory(GrbHandle camera, uint64_t address, const uint8_t* buffer, uint32_t size,
                             uint32_t& done);
    GrbErrorType AcquireSingleFrame(GrbHandle camera, uint32_t timeoutMs, FrameData& frame);

    GrbErrorType InterfaceId(GrbHandle cameraInterface, std::string& id);
    GrbErrorType InterfaceTransportLayer(GrbHandle cameraInterface, GrbHandle& transportLayer);
    GrbErrorType TransportLayerText(GrbHandle transportLayer, DeviceRecord::Field field, std::string& text);
    GrbErrorType TransportLayerKind(GrbHandle transportLayer, GrbTransportLayerType& type);

    // Runs f on the features of an open camera or of one of its streams.
    GrbErrorType WithFeatures(GrbHandle container, const std::function<GrbErrorType(CheckedNodeMap&)>& f);
    // A copy of text that lives as long as the container's camera is known.
    const char* Keep(GrbHandle container, const std::string& text);

private:
    Core();
    HandleEntry* _Camera(GrbHandle handle, GrbErrorType& err);
    // The camera's entry only while it is open; both with the lock held.
    HandleEntry* _OpenCamera(GrbHandle handle, GrbErrorType& err);
    // The open session of a camera, shared so it outlives a close meanwhile, and its
    // command memo when commands is given.
    GrbErrorType _Session(GrbHandle camera, std::shared_ptr<DeviceSession>& session,
                          std::shared_ptr<CommandMemo>* commands = nullptr);
    // Runs write on the camera's open session, as something that writes to the camera.
    GrbErrorType _Writing(GrbHandle camera, const std::function<GrbErrorType(DeviceSession&)>& write);
    // The record behind an interface or transport layer handle.
    const DeviceRecord* _LinkedRecord(GrbHandle handle, HandleKind kind, GrbErrorType& err);
    // The interface or transport layer seen through a camera, or the transport layer
    // through an interface, made on first use.
    GrbHandle _Link(GrbHandle from, HandleKind kind);

    std::mutex m_mutex;
    bool m_started = false;
    std::string m_startupMessage;
    std::vector<std::unique_ptr<TransportLayerDriver>> m_drivers;
    HandleTable m_table;
    EventThread m_events;
    DeviceListSync m_sync;
};

} // namespace grb

#endif
