#include "UsbWire.h"

#include <cstring>

namespace vusb {

std::vector<uint8_t> Header(Type type, uint32_t tag, size_t bodySize)
{
    std::vector<uint8_t> header(kHeaderSize, 0);
    Put32(header.data(), kMagic);
    header[4] = kVersion;
    header[5] = static_cast<uint8_t>(type);
    Put32(header.data() + 8, tag);
    Put32(header.data() + 12, static_cast<uint32_t>(bodySize));
    return header;
}

std::vector<uint8_t> Encode(Type type, uint32_t tag, const uint8_t* body, size_t size)
{
    std::vector<uint8_t> message = Header(type, tag, size);
    if (size)
        message.insert(message.end(), body, body + size);
    return message;
}

std::vector<uint8_t> EncodeReply(uint32_t tag, Status status, uint32_t count, const uint8_t* data, size_t size)
{
    std::vector<uint8_t> message = Header(Type::Reply, tag, kReplyHeaderSize + size);
    message.resize(kHeaderSize + kReplyHeaderSize, 0);
    message[kHeaderSize] = static_cast<uint8_t>(status);
    Put32(message.data() + kHeaderSize + 4, count);
    if (size)
        message.insert(message.end(), data, data + size);
    return message;
}

std::vector<uint8_t> EndpointBody(uint8_t endpoint, uint32_t value, bool withValue)
{
    std::vector<uint8_t> body(withValue ? 8 : 4, 0);
    body[0] = endpoint;
    if (withValue)
        Put32(body.data() + 4, value);
    return body;
}

bool ParseReply(const std::vector<uint8_t>& body, Reply& reply)
{
    if (body.size() < kReplyHeaderSize || body[0] > static_cast<uint8_t>(Status::Overflow))
        return false;
    reply.status = static_cast<Status>(body[0]);
    reply.count = Get32(body.data() + 4);
    reply.data.assign(body.begin() + kReplyHeaderSize, body.end());
    return true;
}

bool ParseSetup(const std::vector<uint8_t>& body, Setup& setup)
{
    if (body.size() < kSetupSize)
        return false;
    setup.requestType = body[0];
    setup.request = body[1];
    setup.value = Get16(body.data() + 2);
    setup.index = Get16(body.data() + 4);
    setup.length = Get16(body.data() + 6);
    // An OUT request carries exactly its data, an IN request none.
    const size_t data = body.size() - kSetupSize;
    return (setup.requestType & 0x80) ? data == 0 : data == setup.length;
}

bool ParseBulkOut(const std::vector<uint8_t>& body, uint8_t& endpoint, const uint8_t*& data, size_t& size)
{
    if (body.size() < 4 || (body[0] & 0x80))
        return false;
    endpoint = body[0];
    data = body.data() + 4;
    size = body.size() - 4;
    return true;
}

bool ParseBulkIn(const std::vector<uint8_t>& body, uint8_t& endpoint, uint32_t& length)
{
    if (body.size() != 8 || !(body[0] & 0x80))
        return false;
    endpoint = body[0];
    length = Get32(body.data() + 4);
    return length <= kMaxBody - kReplyHeaderSize;
}

bool ParseByte(const std::vector<uint8_t>& body, uint8_t& value)
{
    if (body.size() != 1)
        return false;
    value = body[0];
    return true;
}

bool ParseWord(const std::vector<uint8_t>& body, uint32_t& value)
{
    if (body.size() != 4)
        return false;
    value = Get32(body.data());
    return true;
}

} // namespace vusb
