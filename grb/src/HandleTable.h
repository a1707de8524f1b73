#ifndef GRB_SRC_HANDLETABLE_H
#define GRB_SRC_HANDLETABLE_H

#include "CommandMemo.h"

#include <contract/DeviceRecord.h>
#include <contract/DeviceSession.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace grb {

class TransportLayerDriver;

enum class HandleKind
{
    Camera,
    Stream,
    Interface,
    TransportLayer
};

// What a handle stands for. Handles are never reused, so a stale one finds nothing.
struct HandleEntry
{
    HandleKind kind = HandleKind::Camera;
    // Cameras
    DeviceRecord record;
    TransportLayerDriver* driver = nullptr;
    bool present = false;
    bool opening = false;
    // A session opened before the camera last left is dead; a new open replaces it.
    uint64_t departures = 0;
    uint64_t sessionDepartures = 0;
    std::shared_ptr<DeviceSession> session;
    // Of the open session, when it may write; none otherwise.
    std::shared_ptr<CommandMemo> commands;
    std::vector<GrbHandle> streams;
    std::set<std::string> kept;
    // Streams, and the interface and transport layer seen through a camera
    GrbHandle camera = nullptr;
    uint32_t streamIndex = 0;
    GrbHandle linkedInterface = nullptr;
    GrbHandle linkedTransportLayer = nullptr;
};

// Every camera seen since the SDK started, and the handles derived from them, with the
// cameras found by their ids. Not locked: the core's lock guards it.
class HandleTable
{
public:
    GrbHandle Add(HandleEntry entry);
    HandleEntry* Get(GrbHandle handle, HandleKind kind);
    // A camera, or the camera behind a stream, interface or transport layer handle.
    HandleEntry* CameraOf(GrbHandle handle);
    // The camera's handle, made on first sight; its record is replaced by the newest.
    GrbHandle MergeCamera(const DeviceRecord& record, TransportLayerDriver* driver);
    // By extended id, else by plain id; null when unknown.
    GrbHandle FindCamera(const std::string& id) const;
    GrbHandle CameraByExtendedId(const std::string& extendedId) const;
    std::vector<std::shared_ptr<DeviceSession>> TakeSessions();
    void Clear();

private:
    std::map<uintptr_t, HandleEntry> m_entries;
    std::map<std::string, GrbHandle> m_byExtendedId;
    std::map<std::string, GrbHandle> m_byId;
    uintptr_t m_next = 0x1000;
};

} // namespace grb

#endif
