#ifndef VUSB_HOSTHANDLE_H
#define VUSB_HOSTHANDLE_H

#include "HostConnection.h"

#include <libusb.h>

#include <memory>

namespace vusb {

// An open device: a connection of its own to the device (interface claims belong to
// it) and the synchronous requests on it. Results are libusb's codes.
class HostHandle
{
public:
    libusb_device* Device() const { return m_device; }
    const std::shared_ptr<HostConnection>& Connection() const { return m_connection; }

    int Claim(int interface);
    int Release(int interface);
    int ClearHalt(unsigned char endpoint);
    // timeoutMs 0: no time limit. Returns bytes moved or an error.
    int Control(uint8_t requestType, uint8_t request, uint16_t value, uint16_t index, unsigned char* data,
                uint16_t length, unsigned int timeoutMs);
    int Bulk(unsigned char endpoint, unsigned char* data, int length, int* transferred, unsigned int timeoutMs);

    // libusb's codes for what the device answered.
    static int ErrorOf(HostConnection::Outcome outcome, Status status);

protected:
    HostHandle(libusb_device* device, std::shared_ptr<HostConnection> connection);
    virtual ~HostHandle() = default;

private:
    int _Simple(Type type, uint8_t value);

    libusb_device* m_device;
    std::shared_ptr<HostConnection> m_connection;
};

} // namespace vusb

#endif
