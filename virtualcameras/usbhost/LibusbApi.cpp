// The libusb-1.0 functions Aravis calls, and no others, over the virtual USB bus.
// Loaded ahead of the real library (LD_PRELOAD), this presents only the virtual
// devices in the rendezvous directory: it never loads or calls the real libusb, so
// nothing done through it can reach a real USB bus. Nothing throws across this line.
#include "ConfigParser.h"
#include "LibusbTypes.h"
#include "TransferSlot.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

namespace {

constexpr uint8_t kGetDescriptor = 0x06;
constexpr uint8_t kStringType = 0x03;
constexpr unsigned int kStringTimeoutMs = 1000;

std::mutex g_defaultMutex;
libusb_context* g_default = nullptr;
int g_defaultUsers = 0;

libusb_context* contextOf(libusb_context* ctx)
{
    if (ctx)
        return ctx;
    std::lock_guard<std::mutex> lock(g_defaultMutex);
    return g_default;
}

template <typename F> auto guarded(F f, decltype(f()) failure) noexcept -> decltype(f())
{
    try
    {
        return f();
    }
    catch (const std::bad_alloc&)
    {
        return failure;
    }
    catch (...)
    {
        return failure;
    }
}

} // namespace

// Only these leave the library.
#pragma GCC visibility push(default)
extern "C" {

int LIBUSB_CALL libusb_init(libusb_context** ctx)
{
    return guarded(
        [&] {
            if (ctx)
            {
                *ctx = new libusb_context();
                return int(LIBUSB_SUCCESS);
            }
            std::lock_guard<std::mutex> lock(g_defaultMutex);
            if (!g_default)
                g_default = new libusb_context();
            ++g_defaultUsers;
            return int(LIBUSB_SUCCESS);
        },
        LIBUSB_ERROR_NO_MEM);
}

void LIBUSB_CALL libusb_exit(libusb_context* ctx)
{
    if (ctx)
    {
        delete ctx;
        return;
    }
    std::lock_guard<std::mutex> lock(g_defaultMutex);
    if (g_defaultUsers > 0 && --g_defaultUsers == 0)
    {
        delete g_default;
        g_default = nullptr;
    }
}

const char* LIBUSB_CALL libusb_error_name(int code)
{
    switch (code)
    {
    case LIBUSB_SUCCESS:
        return "LIBUSB_SUCCESS / LIBUSB_TRANSFER_COMPLETED";
    case LIBUSB_ERROR_IO:
        return "LIBUSB_ERROR_IO";
    case LIBUSB_ERROR_INVALID_PARAM:
        return "LIBUSB_ERROR_INVALID_PARAM";
    case LIBUSB_ERROR_ACCESS:
        return "LIBUSB_ERROR_ACCESS";
    case LIBUSB_ERROR_NO_DEVICE:
        return "LIBUSB_ERROR_NO_DEVICE";
    case LIBUSB_ERROR_NOT_FOUND:
        return "LIBUSB_ERROR_NOT_FOUND";
    case LIBUSB_ERROR_BUSY:
        return "LIBUSB_ERROR_BUSY";
    case LIBUSB_ERROR_TIMEOUT:
        return "LIBUSB_ERROR_TIMEOUT";
    case LIBUSB_ERROR_OVERFLOW:
        return "LIBUSB_ERROR_OVERFLOW";
    case LIBUSB_ERROR_PIPE:
        return "LIBUSB_ERROR_PIPE";
    case LIBUSB_ERROR_INTERRUPTED:
        return "LIBUSB_ERROR_INTERRUPTED";
    case LIBUSB_ERROR_NO_MEM:
        return "LIBUSB_ERROR_NO_MEM";
    case LIBUSB_ERROR_NOT_SUPPORTED:
        return "LIBUSB_ERROR_NOT_SUPPORTED";
    case LIBUSB_ERROR_OTHER:
        return "LIBUSB_ERROR_OTHER";
    case LIBUSB_TRANSFER_ERROR:
        return "LIBUSB_TRANSFER_ERROR";
    case LIBUSB_TRANSFER_TIMED_OUT:
        return "LIBUSB_TRANSFER_TIMED_OUT";
    case LIBUSB_TRANSFER_CANCELLED:
        return "LIBUSB_TRANSFER_CANCELLED";
    case LIBUSB_TRANSFER_STALL:
        return "LIBUSB_TRANSFER_STALL";
    case LIBUSB_TRANSFER_NO_DEVICE:
        return "LIBUSB_TRANSFER_NO_DEVICE";
    case LIBUSB_TRANSFER_OVERFLOW:
        return "LIBUSB_TRANSFER_OVERFLOW";
    default:
        return "**UNKNOWN**";
    }
}

ssize_t LIBUSB_CALL libusb_get_device_list(libusb_context* ctx, libusb_device*** list)
{
    return guarded(
        [&]() -> ssize_t {
            libusb_context* context = contextOf(ctx);
            if (!context || !list)
                return LIBUSB_ERROR_INVALID_PARAM;
            const std::vector<libusb_device*> devices = context->Devices();
            auto* array = new libusb_device*[devices.size() + 1];
            std::copy(devices.begin(), devices.end(), array);
            array[devices.size()] = nullptr;
            *list = array;
            return static_cast<ssize_t>(devices.size());
        },
        LIBUSB_ERROR_NO_MEM);
}

void LIBUSB_CALL libusb_free_device_list(libusb_device** list, int unref_devices)
{
    if (!list)
        return;
    if (unref_devices)
        for (libusb_device** d = list; *d; ++d)
            (*d)->Unref();
    delete[] list;
}

int LIBUSB_CALL libusb_get_device_descriptor(libusb_device* dev, struct libusb_device_descriptor* desc)
{
    if (!dev || !desc)
        return LIBUSB_ERROR_INVALID_PARAM;
    *desc = dev->Descriptor();
    return LIBUSB_SUCCESS;
}

int LIBUSB_CALL libusb_get_config_descriptor(libusb_device* dev, uint8_t config_index,
                                             struct libusb_config_descriptor** config)
{
    return guarded(
        [&] {
            if (!dev || !config)
                return int(LIBUSB_ERROR_INVALID_PARAM);
            // The virtual devices have one configuration.
            if (config_index != 0)
                return int(LIBUSB_ERROR_NOT_FOUND);
            const std::vector<uint8_t>& bytes = dev->Configuration();
            *config = vusb::ConfigParser::Parse(bytes.data(), bytes.size());
            return *config ? int(LIBUSB_SUCCESS) : int(LIBUSB_ERROR_IO);
        },
        LIBUSB_ERROR_NO_MEM);
}

void LIBUSB_CALL libusb_free_config_descriptor(struct libusb_config_descriptor* config)
{
    vusb::ConfigParser::Free(config);
}

int LIBUSB_CALL libusb_open(libusb_device* dev, libusb_device_handle** dev_handle)
{
    return guarded(
        [&] { return dev ? dev->Context()->Open(dev, dev_handle) : int(LIBUSB_ERROR_INVALID_PARAM); },
        LIBUSB_ERROR_NO_MEM);
}

void LIBUSB_CALL libusb_close(libusb_device_handle* dev_handle)
{
    if (dev_handle)
        dev_handle->Device()->Context()->Close(dev_handle);
}

libusb_device* LIBUSB_CALL libusb_get_device(libusb_device_handle* dev_handle)
{
    return dev_handle ? dev_handle->Device() : nullptr;
}

int LIBUSB_CALL libusb_claim_interface(libusb_device_handle* dev_handle, int interface_number)
{
    return guarded([&] { return dev_handle ? dev_handle->Claim(interface_number) : int(LIBUSB_ERROR_INVALID_PARAM); },
                   LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_release_interface(libusb_device_handle* dev_handle, int interface_number)
{
    return guarded(
        [&] { return dev_handle ? dev_handle->Release(interface_number) : int(LIBUSB_ERROR_INVALID_PARAM); },
        LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_clear_halt(libusb_device_handle* dev_handle, unsigned char endpoint)
{
    return guarded([&] { return dev_handle ? dev_handle->ClearHalt(endpoint) : int(LIBUSB_ERROR_INVALID_PARAM); },
                   LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_set_auto_detach_kernel_driver(libusb_device_handle* dev_handle, int)
{
    // No kernel driver ever holds a virtual device.
    return dev_handle ? int(LIBUSB_SUCCESS) : int(LIBUSB_ERROR_INVALID_PARAM);
}

int LIBUSB_CALL libusb_control_transfer(libusb_device_handle* dev_handle, uint8_t request_type, uint8_t bRequest,
                                        uint16_t wValue, uint16_t wIndex, unsigned char* data, uint16_t wLength,
                                        unsigned int timeout)
{
    return guarded(
        [&] {
            return dev_handle ? dev_handle->Control(request_type, bRequest, wValue, wIndex, data, wLength, timeout)
                              : int(LIBUSB_ERROR_INVALID_PARAM);
        },
        LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_bulk_transfer(libusb_device_handle* dev_handle, unsigned char endpoint, unsigned char* data,
                                     int length, int* actual_length, unsigned int timeout)
{
    return guarded(
        [&] {
            return dev_handle ? dev_handle->Bulk(endpoint, data, length, actual_length, timeout)
                              : int(LIBUSB_ERROR_INVALID_PARAM);
        },
        LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_get_string_descriptor_ascii(libusb_device_handle* dev_handle, uint8_t desc_index,
                                                   unsigned char* data, int length)
{
    if (!dev_handle || !data || length <= 0 || desc_index == 0)
        return LIBUSB_ERROR_INVALID_PARAM;
    unsigned char buffer[255];
    // The first language the device offers, then the string in it.
    int r = libusb_control_transfer(dev_handle, LIBUSB_ENDPOINT_IN, kGetDescriptor, kStringType << 8, 0, buffer,
                                    sizeof buffer, kStringTimeoutMs);
    if (r < 0)
        return r;
    if (r < 4)
        return LIBUSB_ERROR_IO;
    const uint16_t language = uint16_t(buffer[2] | buffer[3] << 8);
    r = libusb_control_transfer(dev_handle, LIBUSB_ENDPOINT_IN, kGetDescriptor, uint16_t(kStringType << 8 | desc_index),
                                language, buffer, sizeof buffer, kStringTimeoutMs);
    if (r < 0)
        return r;
    if (r < 2 || buffer[1] != kStringType || buffer[0] > r)
        return LIBUSB_ERROR_IO;
    int out = 0;
    for (int at = 2; at + 1 < buffer[0] && out < length - 1; at += 2)
        data[out++] = (buffer[at + 1] || (buffer[at] & 0x80)) ? '?' : buffer[at];
    data[out] = 0;
    return out;
}

struct libusb_transfer* LIBUSB_CALL libusb_alloc_transfer(int iso_packets)
{
    return vusb::TransferSlot::Allocate(iso_packets);
}

void LIBUSB_CALL libusb_free_transfer(struct libusb_transfer* transfer)
{
    if (!transfer)
        return;
    if (transfer->flags & LIBUSB_TRANSFER_FREE_BUFFER)
        std::free(transfer->buffer);
    vusb::TransferSlot::Free(transfer);
}

int LIBUSB_CALL libusb_submit_transfer(struct libusb_transfer* transfer)
{
    return guarded(
        [&] {
            return transfer && transfer->dev_handle ? transfer->dev_handle->Device()->Context()->Submit(transfer)
                                                    : int(LIBUSB_ERROR_INVALID_PARAM);
        },
        LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_cancel_transfer(struct libusb_transfer* transfer)
{
    return guarded(
        [&] {
            return transfer && transfer->dev_handle ? transfer->dev_handle->Device()->Context()->Cancel(transfer)
                                                    : int(LIBUSB_ERROR_INVALID_PARAM);
        },
        LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_handle_events_timeout(libusb_context* ctx, struct timeval* tv)
{
    return guarded(
        [&] {
            libusb_context* context = contextOf(ctx);
            return context ? context->HandleEvents(tv) : int(LIBUSB_ERROR_INVALID_PARAM);
        },
        LIBUSB_ERROR_NO_MEM);
}

int LIBUSB_CALL libusb_hotplug_register_callback(libusb_context* ctx, int events, int flags, int vendor_id,
                                                 int product_id, int dev_class, libusb_hotplug_callback_fn cb_fn,
                                                 void* user_data, libusb_hotplug_callback_handle* callback_handle)
{
    return guarded(
        [&] {
            libusb_context* context = contextOf(ctx);
            return context ? context->RegisterHotplug(events, flags, vendor_id, product_id, dev_class, cb_fn,
                                                      user_data, callback_handle)
                           : int(LIBUSB_ERROR_INVALID_PARAM);
        },
        LIBUSB_ERROR_NO_MEM);
}

void LIBUSB_CALL libusb_hotplug_deregister_callback(libusb_context* ctx, libusb_hotplug_callback_handle callback_handle)
{
    if (libusb_context* context = contextOf(ctx))
        context->DeregisterHotplug(callback_handle);
}

} // extern "C"
#pragma GCC visibility pop
