#ifndef GRB_SIM_SIMDEVICEEVENTS_H
#define GRB_SIM_SIMDEVICEEVENTS_H

namespace grb::sim {

class SimDevice;

// What a device asks of whatever holds it when it leaves the bus on its own.
class SimDeviceEvents
{
public:
    virtual ~SimDeviceEvents() = default;
    virtual void DeviceLeft(SimDevice& device) = 0;
    // The device has left and wants to come back after its reset delay.
    virtual void DeviceResetting(SimDevice& device) = 0;
};

} // namespace grb::sim

#endif
