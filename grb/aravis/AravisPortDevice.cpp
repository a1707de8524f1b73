#include "AravisPortDevice.h"

#include "AravisError.h"

#include <arv.h>

#include <cstring>

namespace {

struct GrbPortDevice
{
    ArvDevice parent;
    // Heap-held: GObject instances are zeroed memory, not constructed.
    std::shared_ptr<grb::aravis::RegisterPort>* port;
    ArvGc* genicam;
    char* xml;
    size_t xmlSize;
};

struct GrbPortDeviceClass
{
    ArvDeviceClass parent_class;
};

G_DEFINE_TYPE(GrbPortDevice, grb_port_device, ARV_TYPE_DEVICE)

GrbPortDevice* self(ArvDevice* device)
{
    return G_TYPE_CHECK_INSTANCE_CAST(device, grb_port_device_get_type(), GrbPortDevice);
}

gboolean readMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error)
{
    std::string why;
    const GrbErrorType err = (*self(device)->port)->Read(address, buffer, size, why);
    if (err != GrbErrorSuccess)
        grb::aravis::AravisError::Raise(error, err, why);
    return err == GrbErrorSuccess;
}

gboolean writeMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error)
{
    std::string why;
    const GrbErrorType err = (*self(device)->port)->Write(address, buffer, size, why);
    if (err != GrbErrorSuccess)
        grb::aravis::AravisError::Raise(error, err, why);
    return err == GrbErrorSuccess;
}

gboolean readRegister(ArvDevice* device, guint64 address, guint32* value, GError** error)
{
    return readMemory(device, address, sizeof *value, value, error);
}

gboolean writeRegister(ArvDevice* device, guint64 address, guint32 value, GError** error)
{
    return writeMemory(device, address, sizeof value, &value, error);
}

ArvGc* genicam(ArvDevice* device)
{
    return self(device)->genicam;
}

const char* genicamXml(ArvDevice* device, size_t* size)
{
    *size = self(device)->xmlSize;
    return self(device)->xml;
}

void finalize(GObject* object)
{
    GrbPortDevice* device = G_TYPE_CHECK_INSTANCE_CAST(object, grb_port_device_get_type(), GrbPortDevice);
    g_clear_object(&device->genicam);
    g_free(device->xml);
    delete device->port;
    G_OBJECT_CLASS(grb_port_device_parent_class)->finalize(object);
}

void grb_port_device_init(GrbPortDevice*)
{
}

void grb_port_device_class_init(GrbPortDeviceClass* klass)
{
    G_OBJECT_CLASS(klass)->finalize = finalize;
    ArvDeviceClass* device = ARV_DEVICE_CLASS(klass);
    device->get_genicam = genicam;
    device->get_genicam_xml = genicamXml;
    device->read_memory = readMemory;
    device->write_memory = writeMemory;
    device->read_register = readRegister;
    device->write_register = writeRegister;
}

} // namespace

namespace grb::aravis {

ArvDevice* AravisPortDevice::New(std::shared_ptr<RegisterPort> port, const std::string& xml)
{
    auto* device = static_cast<GrbPortDevice*>(g_object_new(grb_port_device_get_type(), nullptr));
    device->port = new std::shared_ptr<RegisterPort>(std::move(port));
    device->xml = static_cast<char*>(g_memdup2(xml.data(), xml.size()));
    device->xmlSize = xml.size();
    device->genicam = xml.empty() ? nullptr : arv_gc_new(ARV_DEVICE(device), xml.data(), xml.size());
    if (!device->genicam)
    {
        g_object_unref(device);
        return nullptr;
    }
    return ARV_DEVICE(device);
}

} // namespace grb::aravis
