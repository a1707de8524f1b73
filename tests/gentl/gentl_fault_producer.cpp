// A GenTL producer that misbehaves on request: it passes every call on to the
// simulator's producer, except where a fault is set for the function, by
// PELLIX_GENTL_FAULTS when it initialises or by PellixGentlFaults at any time:
//
//   FUNCTION=error:CODE   the call returns CODE (a GC_ERROR) without being passed on
//   FUNCTION=hang:MS      the call waits MS ms first
//   url=TEXT              the camera's port gives TEXT as its description's URL
//   version=N             the producer says it speaks GenTL N.x
//
// several separated by '|'. Built three times: whole; without the data stream and event
// functions (WITHOUT_STREAMS); without opening devices (WITHOUT_DEVICES).
#include <gentl/GenTLApi.h>

#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>

namespace {

struct Fault
{
    bool hang = false;
    int value = 0;
};

std::mutex g_mutex;
std::map<std::string, Fault> g_faults;
std::string g_url;
long g_version = -1;
std::set<void*> g_cameraPorts;
void* g_real = nullptr;

void parse(const char* text)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_faults.clear();
    g_url.clear();
    g_version = -1;
    std::istringstream in(text ? text : "");
    for (std::string item; std::getline(in, item, '|');)
    {
        const size_t equals = item.find('=');
        if (equals == std::string::npos)
            continue;
        const std::string name = item.substr(0, equals);
        const std::string what = item.substr(equals + 1);
        if (name == "url")
            g_url = what;
        else if (name == "version")
            g_version = std::strtol(what.c_str(), nullptr, 10);
        else if (what.rfind("error:", 0) == 0)
            g_faults[name] = {false, std::atoi(what.c_str() + 6)};
        else if (what.rfind("hang:", 0) == 0)
            g_faults[name] = {true, std::atoi(what.c_str() + 5)};
    }
}

// The code to return instead of passing the call on, or success to pass it on.
GC_ERROR before(const char* name)
{
    Fault fault;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = g_faults.find(name);
        if (it == g_faults.end())
            return GC_ERR_SUCCESS;
        fault = it->second;
    }
    if (!fault.hang)
        return fault.value;
    std::this_thread::sleep_for(std::chrono::milliseconds(fault.value));
    return GC_ERR_SUCCESS;
}

template <class F>
F real(const char* name)
{
    return reinterpret_cast<F>(g_real ? dlsym(g_real, name) : nullptr);
}

} // namespace

#define PASS(name, parameters, arguments)                                                                              \
    GC_ERROR name parameters                                                                                           \
    {                                                                                                                  \
        if (GC_ERROR fault = before(#name))                                                                            \
            return fault;                                                                                              \
        auto f = real<P##name>(#name);                                                                                 \
        return f ? f arguments : GC_ERR_NOT_INITIALIZED;                                                               \
    }

extern "C" {

void PellixGentlFaults(const char* faults)
{
    parse(faults);
}

GC_ERROR GCInitLib(void)
{
    parse(std::getenv("PELLIX_GENTL_FAULTS"));
    if (GC_ERROR fault = before("GCInitLib"))
        return fault;
    if (!g_real)
        g_real = dlopen(PELLIX_GENTL_PRODUCER, RTLD_NOW | RTLD_LOCAL);
    auto f = real<PGCInitLib>("GCInitLib");
    return f ? f() : GC_ERR_ERROR;
}

GC_ERROR GCCloseLib(void)
{
    if (GC_ERROR fault = before("GCCloseLib"))
        return fault;
    auto f = real<PGCCloseLib>("GCCloseLib");
    const GC_ERROR result = f ? f() : GC_ERR_NOT_INITIALIZED;
    if (g_real)
        dlclose(g_real);
    g_real = nullptr;
    return result;
}

GC_ERROR GCGetInfo(TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize)
{
    if (GC_ERROR fault = before("GCGetInfo"))
        return fault;
    long version = -1;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        version = g_version;
    }
    if (iInfoCmd == TL_INFO_GENTL_VER_MAJOR && version >= 0 && piSize)
    {
        const uint32_t value = uint32_t(version);
        if (piType)
            *piType = INFO_DATATYPE_UINT32;
        if (pBuffer && *piSize >= sizeof value)
            std::memcpy(pBuffer, &value, sizeof value);
        *piSize = sizeof value;
        return GC_ERR_SUCCESS;
    }
    auto f = real<PGCGetInfo>("GCGetInfo");
    return f ? f(iInfoCmd, piType, pBuffer, piSize) : GC_ERR_NOT_INITIALIZED;
}

GC_ERROR GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                          void* pBuffer, size_t* piSize)
{
    if (GC_ERROR fault = before("GCGetPortURLInfo"))
        return fault;
    std::string url;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        if (iInfoCmd == URL_INFO_URL && g_cameraPorts.count(hPort))
            url = g_url;
    }
    if (!url.empty() && piSize)
    {
        if (piType)
            *piType = INFO_DATATYPE_STRING;
        if (pBuffer && *piSize >= url.size() + 1)
            std::memcpy(pBuffer, url.c_str(), url.size() + 1);
        *piSize = url.size() + 1;
        return GC_ERR_SUCCESS;
    }
    auto f = real<PGCGetPortURLInfo>("GCGetPortURLInfo");
    return f ? f(hPort, iURLIndex, iInfoCmd, piType, pBuffer, piSize) : GC_ERR_NOT_INITIALIZED;
}

PASS(GCGetLastError, (GC_ERROR * piErrorCode, char* sErrText, size_t* piSize), (piErrorCode, sErrText, piSize))
PASS(GCReadPort, (PORT_HANDLE hPort, uint64_t iAddress, void* pBuffer, size_t* piSize), (hPort, iAddress, pBuffer, piSize))
PASS(GCWritePort, (PORT_HANDLE hPort, uint64_t iAddress, const void* pBuffer, size_t* piSize),
     (hPort, iAddress, pBuffer, piSize))
PASS(GCGetNumPortURLs, (PORT_HANDLE hPort, uint32_t * piNumURLs), (hPort, piNumURLs))
PASS(TLOpen, (TL_HANDLE * phTL), (phTL))
PASS(TLClose, (TL_HANDLE hTL), (hTL))
PASS(TLGetInfo, (TL_HANDLE hTL, TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize),
     (hTL, iInfoCmd, piType, pBuffer, piSize))
PASS(TLGetNumInterfaces, (TL_HANDLE hTL, uint32_t * piNumIfaces), (hTL, piNumIfaces))
PASS(TLGetInterfaceID, (TL_HANDLE hTL, uint32_t iIndex, char* sID, size_t* piSize), (hTL, iIndex, sID, piSize))
PASS(TLOpenInterface, (TL_HANDLE hTL, const char* sIfaceID, IF_HANDLE* phIface), (hTL, sIfaceID, phIface))
PASS(TLUpdateInterfaceList, (TL_HANDLE hTL, bool8_t * pbChanged, uint64_t iTimeout), (hTL, pbChanged, iTimeout))
PASS(IFClose, (IF_HANDLE hIface), (hIface))
PASS(IFGetNumDevices, (IF_HANDLE hIface, uint32_t * piNumDevices), (hIface, piNumDevices))
PASS(IFGetDeviceID, (IF_HANDLE hIface, uint32_t iIndex, char* sIDeviceID, size_t* piSize),
     (hIface, iIndex, sIDeviceID, piSize))
PASS(IFUpdateDeviceList, (IF_HANDLE hIface, bool8_t * pbChanged, uint64_t iTimeout), (hIface, pbChanged, iTimeout))
PASS(IFGetDeviceInfo, (IF_HANDLE hIface, const char* sDeviceID, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                       void* pBuffer, size_t* piSize),
     (hIface, sDeviceID, iInfoCmd, piType, pBuffer, piSize))
PASS(DevClose, (DEV_HANDLE hDevice), (hDevice))

#ifndef WITHOUT_DEVICES
PASS(IFOpenDevice, (IF_HANDLE hIface, const char* sDeviceID, DEVICE_ACCESS_FLAGS iOpenFlag, DEV_HANDLE* phDevice),
     (hIface, sDeviceID, iOpenFlag, phDevice))

GC_ERROR DevGetPort(DEV_HANDLE hDevice, PORT_HANDLE* phRemoteDevice)
{
    if (GC_ERROR fault = before("DevGetPort"))
        return fault;
    auto f = real<PDevGetPort>("DevGetPort");
    const GC_ERROR result = f ? f(hDevice, phRemoteDevice) : GC_ERR_NOT_INITIALIZED;
    if (result == GC_ERR_SUCCESS && phRemoteDevice)
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        g_cameraPorts.insert(*phRemoteDevice);
    }
    return result;
}
#endif

#ifndef WITHOUT_STREAMS
PASS(DevGetNumDataStreams, (DEV_HANDLE hDevice, uint32_t * piNumDataStreams), (hDevice, piNumDataStreams))
PASS(DevGetDataStreamID, (DEV_HANDLE hDevice, uint32_t iIndex, char* sDataStreamID, size_t* piSize),
     (hDevice, iIndex, sDataStreamID, piSize))
PASS(DevOpenDataStream, (DEV_HANDLE hDevice, const char* sDataStreamID, DS_HANDLE* phDataStream),
     (hDevice, sDataStreamID, phDataStream))
PASS(DSClose, (DS_HANDLE hDataStream), (hDataStream))
PASS(DSGetInfo, (DS_HANDLE hDataStream, STREAM_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize),
     (hDataStream, iInfoCmd, piType, pBuffer, piSize))
PASS(DSAllocAndAnnounceBuffer, (DS_HANDLE hDataStream, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer),
     (hDataStream, iSize, pPrivate, phBuffer))
PASS(DSRevokeBuffer, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, void** pBuffer, void** pPrivate),
     (hDataStream, hBuffer, pBuffer, pPrivate))
PASS(DSQueueBuffer, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer), (hDataStream, hBuffer))
PASS(DSFlushQueue, (DS_HANDLE hDataStream, ACQ_QUEUE_TYPE iOperation), (hDataStream, iOperation))
PASS(DSStartAcquisition, (DS_HANDLE hDataStream, ACQ_START_FLAGS iStartFlags, uint64_t iNumToAcquire),
     (hDataStream, iStartFlags, iNumToAcquire))
PASS(DSStopAcquisition, (DS_HANDLE hDataStream, ACQ_STOP_FLAGS iStopFlags), (hDataStream, iStopFlags))
PASS(DSGetBufferInfo, (DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, BUFFER_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                       void* pBuffer, size_t* piSize),
     (hDataStream, hBuffer, iInfoCmd, piType, pBuffer, piSize))
PASS(GCRegisterEvent, (EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID, EVENT_HANDLE* phEvent),
     (hEventSrc, iEventID, phEvent))
PASS(GCUnregisterEvent, (EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID), (hEventSrc, iEventID))
PASS(EventGetData, (EVENT_HANDLE hEvent, void* pBuffer, size_t* piSize, uint64_t iTimeout),
     (hEvent, pBuffer, piSize, iTimeout))
PASS(EventKill, (EVENT_HANDLE hEvent), (hEvent))
#endif

} // extern "C"
