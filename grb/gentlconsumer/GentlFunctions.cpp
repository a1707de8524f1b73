#include "GentlFunctions.h"

#include <dlfcn.h>

namespace grb::gentl {

void GentlFunctions::Resolve(void* library)
{
#define GENTL_RESOLVE(name, parameters) name = reinterpret_cast<P##name>(dlsym(library, #name));
    GENTL_FUNCTIONS(GENTL_RESOLVE)
#undef GENTL_RESOLVE
}

#define GENTL_NEED(name)                                                                                               \
    if (!name)                                                                                                         \
        missing.push_back(#name);

std::vector<std::string> GentlFunctions::MissingForControl() const
{
    std::vector<std::string> missing;
    GENTL_NEED(GCGetInfo)
    GENTL_NEED(GCGetLastError)
    GENTL_NEED(GCInitLib)
    GENTL_NEED(GCCloseLib)
    GENTL_NEED(GCReadPort)
    GENTL_NEED(GCWritePort)
    GENTL_NEED(TLOpen)
    GENTL_NEED(TLClose)
    GENTL_NEED(TLGetInfo)
    GENTL_NEED(TLUpdateInterfaceList)
    GENTL_NEED(TLGetNumInterfaces)
    GENTL_NEED(TLGetInterfaceID)
    GENTL_NEED(TLOpenInterface)
    GENTL_NEED(IFClose)
    GENTL_NEED(IFUpdateDeviceList)
    GENTL_NEED(IFGetNumDevices)
    GENTL_NEED(IFGetDeviceID)
    GENTL_NEED(IFGetDeviceInfo)
    GENTL_NEED(IFOpenDevice)
    GENTL_NEED(DevGetPort)
    GENTL_NEED(DevClose)
    // Where the description lies: per URL since GenTL 1.1, as one text before.
    if (!(GCGetNumPortURLs && GCGetPortURLInfo) && !GCGetPortURL)
        missing.push_back("GCGetPortURLInfo");
    return missing;
}

std::vector<std::string> GentlFunctions::MissingForStreams() const
{
    std::vector<std::string> missing;
    GENTL_NEED(DevGetNumDataStreams)
    GENTL_NEED(DevGetDataStreamID)
    GENTL_NEED(DevOpenDataStream)
    GENTL_NEED(DSClose)
    GENTL_NEED(DSGetInfo)
    GENTL_NEED(DSAllocAndAnnounceBuffer)
    GENTL_NEED(DSRevokeBuffer)
    GENTL_NEED(DSQueueBuffer)
    GENTL_NEED(DSFlushQueue)
    GENTL_NEED(DSStartAcquisition)
    GENTL_NEED(DSStopAcquisition)
    GENTL_NEED(DSGetBufferInfo)
    GENTL_NEED(GCRegisterEvent)
    GENTL_NEED(GCUnregisterEvent)
    GENTL_NEED(EventGetData)
    return missing;
}

#undef GENTL_NEED

} // namespace grb::gentl
