#include "HostHandle.h"

#include <algorithm>
#include <cstring>

namespace vusb {

namespace {

constexpr auto kRequestPatience = std::chrono::seconds(5);

HostConnection::Clock::time_point deadlineOf(unsigned int timeoutMs)
{
    // No limit is a day: far enough, and safe for every clock conversion.
    const auto now = HostConnection::Clock::now();
    return timeoutMs == 0 ? now + std::chrono::hours(24) : now + std::chrono::milliseconds(timeoutMs);
}

} // namespace

HostHandle::HostHandle(libusb_device* device, std::shared_ptr<HostConnection> connection)
    : m_device(device)
    , m_connection(std::move(connection))
{
}

int HostHandle::ErrorOf(HostConnection::Outcome outcome, Status status)
{
    if (outcome == HostConnection::Gone)
        return LIBUSB_ERROR_NO_DEVICE;
    if (outcome == HostConnection::TimedOut)
        return LIBUSB_ERROR_TIMEOUT;
    switch (status)
    {
    case Status::Ok:
        return LIBUSB_SUCCESS;
    case Status::Stall:
        return LIBUSB_ERROR_PIPE;
    case Status::Busy:
        return LIBUSB_ERROR_BUSY;
    case Status::NotFound:
        return LIBUSB_ERROR_NOT_FOUND;
    case Status::Invalid:
        return LIBUSB_ERROR_INVALID_PARAM;
    case Status::Cancelled:
        return LIBUSB_ERROR_INTERRUPTED;
    case Status::Overflow:
        return LIBUSB_ERROR_OVERFLOW;
    }
    return LIBUSB_ERROR_OTHER;
}

int HostHandle::_Simple(Type type, uint8_t value)
{
    Reply reply;
    const auto outcome = m_connection->Call(type, {value}, HostConnection::Clock::now() + kRequestPatience, reply);
    return ErrorOf(outcome, reply.status);
}

int HostHandle::Claim(int interface)
{
    return interface < 0 || interface > 255 ? LIBUSB_ERROR_INVALID_PARAM : _Simple(Type::Claim, uint8_t(interface));
}

int HostHandle::Release(int interface)
{
    return interface < 0 || interface > 255 ? LIBUSB_ERROR_INVALID_PARAM : _Simple(Type::Release, uint8_t(interface));
}

int HostHandle::ClearHalt(unsigned char endpoint)
{
    return _Simple(Type::ClearHalt, endpoint);
}

int HostHandle::Control(uint8_t requestType, uint8_t request, uint16_t value, uint16_t index, unsigned char* data,
                        uint16_t length, unsigned int timeoutMs)
{
    const bool in = (requestType & LIBUSB_ENDPOINT_IN) != 0;
    if (length && !data)
        return LIBUSB_ERROR_INVALID_PARAM;
    std::vector<uint8_t> body(kSetupSize);
    body[0] = requestType;
    body[1] = request;
    Put16(body.data() + 2, value);
    Put16(body.data() + 4, index);
    Put16(body.data() + 6, length);
    if (!in && length)
        body.insert(body.end(), data, data + length);
    Reply reply;
    const auto outcome = m_connection->Call(Type::Control, body, deadlineOf(timeoutMs), reply);
    if (int error = ErrorOf(outcome, reply.status))
        return error;
    if (!in)
        return static_cast<int>(std::min<uint32_t>(reply.count, length));
    const size_t n = std::min<size_t>(reply.data.size(), length);
    if (n)
        std::memcpy(data, reply.data.data(), n);
    return static_cast<int>(n);
}

int HostHandle::Bulk(unsigned char endpoint, unsigned char* data, int length, int* transferred, unsigned int timeoutMs)
{
    if (transferred)
        *transferred = 0;
    if (length < 0 || (length > 0 && !data) || uint64_t(length) > kMaxBody - 64)
        return LIBUSB_ERROR_INVALID_PARAM;
    const bool in = (endpoint & LIBUSB_ENDPOINT_IN) != 0;
    std::vector<uint8_t> body = EndpointBody(endpoint, static_cast<uint32_t>(length), in);
    if (!in)
        body.insert(body.end(), data, data + length);
    Reply reply;
    const auto outcome = m_connection->Call(in ? Type::BulkIn : Type::BulkOut, body, deadlineOf(timeoutMs), reply);
    if (int error = ErrorOf(outcome, reply.status))
        return error;
    size_t moved = 0;
    if (in)
    {
        if (reply.data.size() > size_t(length))
            return LIBUSB_ERROR_OVERFLOW;
        moved = reply.data.size();
        if (moved)
            std::memcpy(data, reply.data.data(), moved);
    }
    else
        moved = std::min<size_t>(reply.count, size_t(length));
    if (transferred)
        *transferred = static_cast<int>(moved);
    return LIBUSB_SUCCESS;
}

} // namespace vusb
