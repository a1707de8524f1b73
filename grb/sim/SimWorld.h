#ifndef GRB_SIM_SIMWORLD_H
#define GRB_SIM_SIMWORLD_H

#include "SimDevice.h"

#include <contract/DeviceRecord.h>

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace grb::sim {

// Every simulated camera of a session, behind one lock, and the switches tests use
// to change them while they run. A camera is named by its extended id, id or serial.
class SimWorld : public SimDeviceEvents
{
public:
    // One camera arriving, leaving, or changing what can be known of it.
    struct Change
    {
        enum Kind
        {
            Arrived,
            Left,
            Changed
        } kind;
        DeviceRecord device;
    };

    explicit SimWorld(std::vector<SimCameraConfig> cameras);
    ~SimWorld() override;

    // The world of the running simulator transport layer, or null.
    static std::shared_ptr<SimWorld> Active();
    static void SetActive(std::shared_ptr<SimWorld> world);

    // Called, outside the lock, for each change of the camera list, in order. While
    // enumeration is failing, changes wait and come once it works again.
    void SetListObserver(std::function<void(const Change&)> observer);

    GrbErrorType Enumerate(std::vector<DeviceRecord>& devices);
    GrbErrorType Open(const std::string& extendedId, GrbAccessModeType mode, size_t& index, uint64_t& generation);
    void Close(size_t index, uint64_t generation);
    // Runs f on the device while the session that opened it is still valid; else -13.
    GrbErrorType Call(size_t index, uint64_t generation, const std::function<GrbErrorType(SimDevice&)>& f);
    GrbErrorType VersionQueryFault();

    // Switches for tests. False when no camera has that name.
    bool AddCamera(const SimCameraConfig& camera);
    bool Unplug(const std::string& camera);
    bool Plug(const std::string& camera);
    bool SetHeldByOther(const std::string& camera, bool held);
    // The nth access from now (1 = the next) to the feature fails with code. stream -1
    // is the camera's own features, 0 its first stream.
    bool FailFeatureAccess(const std::string& camera, const std::string& feature, unsigned nth,
                           GrbErrorType code = GrbErrorTransportLayer, int stream = -1);
    // Delay of a command's completion in ms; < 0: it never completes.
    bool SetCommandDelay(const std::string& camera, const std::string& feature, int delayMs, int stream = -1);
    bool SetRawReadLimit(const std::string& camera, const std::string& feature, uint32_t bytes);
    bool UnplugAfterChunks(const std::string& camera, unsigned chunks);
    bool FailIdentity(const std::string& camera, DeviceRecord::Field field, GrbErrorType code);
    bool SetResetDelay(const std::string& camera, int delayMs);
    void FailEnumeration(GrbErrorType code);
    void FailVersionQuery(GrbErrorType code);

    // Inspection for tests.
    bool ReadFile(const std::string& camera, const std::string& selector, const std::string& name,
                  std::vector<uint8_t>& data);
    bool IsPresent(const std::string& camera);
    std::string Firmware(const std::string& camera);

    // SimDeviceEvents, called with the lock held.
    void DeviceLeft(SimDevice& device) override;
    void DeviceResetting(SimDevice& device) override;

private:
    struct Slot
    {
        std::unique_ptr<SimDevice> device;
        bool present = true;
        bool openHere = false;
        uint64_t generation = 1;
        std::array<GrbErrorType, DeviceRecord::FieldCount> identityErrors{};
    };
    struct Pending
    {
        std::chrono::steady_clock::time_point due;
        SimDevice* device;
    };

    Slot* _Find(const std::string& camera);
    Slot* _SlotOf(SimDevice& device);
    void _Add(std::unique_ptr<SimDevice> device);
    DeviceRecord _Record(const Slot& slot) const;
    void _Note(Change::Kind kind, const Slot& slot);
    void _Leave(Slot& slot);
    bool _Change(const std::string& camera, const std::function<void(Slot&)>& f);
    void _NotifyIfPending(std::unique_lock<std::mutex>& lock);
    void _Scheduler();

    std::mutex m_mutex;
    std::vector<Slot> m_slots;
    // Slot numbers by extended id, id and serial (the first camera of each), and device.
    std::map<std::string, size_t> m_byName[3];
    std::map<const SimDevice*, size_t> m_byDevice;
    std::function<void(const Change&)> m_observer;
    std::vector<Change> m_changes;
    GrbErrorType m_enumerationFault = GrbErrorSuccess;
    GrbErrorType m_versionFault = GrbErrorSuccess;

    std::condition_variable m_wake;
    std::vector<Pending> m_pending;
    std::thread m_scheduler;
    bool m_stopping = false;
};

} // namespace grb::sim

#endif
