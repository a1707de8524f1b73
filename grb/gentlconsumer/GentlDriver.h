#ifndef GRB_GENTLCONSUMER_GENTLDRIVER_H
#define GRB_GENTLCONSUMER_GENTLDRIVER_H

#include "GentlProducer.h"

#include <contract/DeviceSnapshot.h>
#include <contract/TransportLayerDriver.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace grb::gentl {

// The GenTL transport layer: every producer found on GENICAM_GENTL64_PATH and named by
// GRB_GENTL_PRODUCER, their cameras found again on a thread of this layer's own.
class GentlDriver : public TransportLayerDriver
{
public:
    // Directories whose .cti files are loaded, ':' between them (the GenICam standard's).
    static constexpr const char* kPathVariable = "GENICAM_GENTL64_PATH";
    // Producer files, or directories of them, loaded besides; ':' between them.
    static constexpr const char* kProducerVariable = "GRB_GENTL_PRODUCER";
    // How long a producer's call may take before it counts as hung, in ms (10000).
    static constexpr const char* kTimeoutVariable = "GRB_GENTL_TIMEOUT_MS";

    explicit GentlDriver(std::vector<std::unique_ptr<GentlProducer>> producers);
    ~GentlDriver() override;

    // Loads every producer and finds its cameras; what failed is told in error. Always a
    // driver, without producers when none loads.
    static std::unique_ptr<TransportLayerDriver> Create(std::string& error);

    GrbErrorType Start(DeviceListObserver& observer) override;
    void Stop() override;
    GrbErrorType Enumerate(std::vector<DeviceRecord>& devices) override;
    GrbErrorType Open(const std::string& extendedId, GrbAccessModeType mode,
                      std::unique_ptr<DeviceSession>& session) override;

private:
    struct Found
    {
        GentlProducer* producer;
        DeviceRecord record;
    };
    // One discovery round over every producer.
    std::vector<Found> _Round(std::string& problems);
    void _Run();

    std::vector<std::unique_ptr<GentlProducer>> m_producers;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<Found> m_devices;
    DeviceSnapshot m_snapshot;
    DeviceListObserver* m_observer = nullptr;
    bool m_stop = false;
    std::thread m_thread;
};

} // namespace grb::gentl

#endif
