#ifndef GRB_CORE_H
#define GRB_CORE_H

#include "TransportLayerDriver.h"

#include <GrbC/GrbCTypes.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace grb {

// The SDK session behind both interfaces: loaded transport layers, every camera seen
// since Startup (by handle), open sessions, and the thread that reports list changes.
// Handles are never reused, so a stale one gives -4.
class Core
{
public:
    using EventSink = std::function<void(GrbHandle handle, int reason)>;

    static Core& Instance();

    GrbErrorType Startup();
    GrbErrorType Shutdown();
    GrbErrorType QueryVersion(GrbVersionInfo& version);
    // Set once by the object layer; called on the event thread.
    void SetEventSinks(EventSink cameraEvents, EventSink interfaceEvents);
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
    GrbErrorType WithFeatures(GrbHandle container, const std::function<GrbErrorType(NodeMap&)>& f);
    // A copy of text that lives as long as the container's camera is known.
    const char* Keep(GrbHandle container, const std::string& text);

private:
    enum class Kind
    {
        Camera,
        Stream,
        Interface,
        TransportLayer
    };
    struct Entry
    {
        Kind kind = Kind::Camera;
        // Cameras
        DeviceRecord record;
        TransportLayerDriver* driver = nullptr;
        bool present = false;
        bool opening = false;
        // A session opened before the camera last left is dead; a new open replaces it.
        uint64_t departures = 0;
        uint64_t sessionDepartures = 0;
        std::shared_ptr<DeviceSession> session;
        std::vector<GrbHandle> streams;
        std::set<std::string> kept;
        // Streams, and the interface and transport layer seen through a camera
        GrbHandle camera = nullptr;
        uint32_t streamIndex = 0;
        GrbHandle linkedInterface = nullptr;
        GrbHandle linkedTransportLayer = nullptr;
        // Interfaces reported to list observers
        std::string interfaceKey;
    };
    struct Event
    {
        bool camera;
        GrbHandle handle;
        int reason;
    };

    Core() = default;
    Entry* _Get(GrbHandle handle, Kind kind);
    Entry* _Camera(GrbHandle handle, GrbErrorType& err);
    GrbHandle _NewHandle(Entry entry);
    GrbHandle _Merge(const DeviceRecord& record, TransportLayerDriver* driver);
    void _OnListChanged();
    void _Post(bool camera, GrbHandle handle, int reason);
    void _EventLoop();

    std::mutex m_mutex;
    bool m_started = false;
    std::vector<std::unique_ptr<TransportLayerDriver>> m_drivers;
    std::map<uintptr_t, Entry> m_entries;
    std::map<std::string, GrbHandle> m_byExtendedId;
    std::map<std::string, GrbHandle> m_interfaces;
    uintptr_t m_nextHandle = 0x1000;
    EventSink m_cameraEvents;
    EventSink m_interfaceEvents;

    std::mutex m_eventMutex;
    std::condition_variable m_eventWake;
    std::deque<Event> m_events;
    bool m_eventStop = false;
    std::thread m_eventThread;
};

} // namespace grb

#endif
