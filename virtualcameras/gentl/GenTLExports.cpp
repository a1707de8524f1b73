// The producer's exported GenTL functions: each checks its arguments, finds the
// module its handle names, and lets no exception out.
#include "DeviceModule.h"
#include "EventQueue.h"
#include "InfoBuffer.h"
#include "InterfaceModule.h"
#include "ProducerError.h"
#include "ProducerLibrary.h"
#include "StreamModule.h"
#include "SystemModule.h"

#include <exception>
#include <new>

using namespace vcam::gentl;
using Kind = Module::Kind;

namespace {

template <class F>
GC_ERROR guarded(F&& f)
{
    try
    {
        return f();
    }
    catch (const std::bad_alloc&)
    {
        return ProducerError::Fail(GC_ERR_OUT_OF_MEMORY, "out of memory");
    }
    catch (const std::exception& e)
    {
        return ProducerError::Fail(GC_ERR_ERROR, e.what());
    }
    catch (...)
    {
        return ProducerError::Fail(GC_ERR_ERROR, "unexpected failure");
    }
}

ProducerLibrary& library()
{
    return ProducerLibrary::Instance();
}

// Runs f on the module the handle names, when it is of that kind.
template <class T, class F>
GC_ERROR with(void* handle, Kind kind, F&& f)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<T> module;
        if (GC_ERROR err = library().Find(handle, kind, module))
            return err;
        return f(*module);
    });
}

GC_ERROR noPlace()
{
    return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "a required pointer is null");
}

} // namespace

extern "C" {

GC_ERROR GCGetInfo(TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize)
{
    return guarded([&] {
        InfoBuffer out(piType, pBuffer, piSize);
        return SystemModule::LibraryInfo(iInfoCmd, out);
    });
}

GC_ERROR GCGetLastError(GC_ERROR* piErrorCode, char* sErrText, size_t* piSize)
{
    return guarded([&] { return ProducerError::Last(piErrorCode, sErrText, piSize); });
}

GC_ERROR GCInitLib(void)
{
    return guarded([] { return library().Init(); });
}

GC_ERROR GCCloseLib(void)
{
    return guarded([] { return library().Close(); });
}

GC_ERROR GCReadPort(PORT_HANDLE hPort, uint64_t iAddress, void* pBuffer, size_t* piSize)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        if (!pBuffer || !piSize)
            return noPlace();
        return port->Read(iAddress, pBuffer, *piSize);
    });
}

GC_ERROR GCWritePort(PORT_HANDLE hPort, uint64_t iAddress, const void* pBuffer, size_t* piSize)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        if (!pBuffer || !piSize)
            return noPlace();
        return port->Write(iAddress, pBuffer, *piSize);
    });
}

GC_ERROR GCReadPortStacked(PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        if (!pEntries || !piNumEntries)
            return noPlace();
        for (size_t i = 0; i < *piNumEntries; ++i)
            if (GC_ERROR err = port->Read(pEntries[i].Address, pEntries[i].pBuffer, pEntries[i].Size))
            {
                *piNumEntries = i;
                return err;
            }
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR GCWritePortStacked(PORT_HANDLE hPort, PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        if (!pEntries || !piNumEntries)
            return noPlace();
        for (size_t i = 0; i < *piNumEntries; ++i)
            if (GC_ERROR err = port->Write(pEntries[i].Address, pEntries[i].pBuffer, pEntries[i].Size))
            {
                *piNumEntries = i;
                return err;
            }
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR GCGetPortURL(PORT_HANDLE hPort, char* sURL, size_t* piSize)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        const std::vector<ModulePort::Url> urls = port->Urls();
        return InfoBuffer::Text(urls.empty() ? std::string() : urls.front().Text(), sURL, piSize);
    });
}

GC_ERROR GCGetNumPortURLs(PORT_HANDLE hPort, uint32_t* piNumURLs)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        if (!piNumURLs)
            return noPlace();
        *piNumURLs = static_cast<uint32_t>(port->Urls().size());
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                          void* pBuffer, size_t* piSize)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        const std::vector<ModulePort::Url> urls = port->Urls();
        if (iURLIndex >= urls.size())
            return ProducerError::Fail(GC_ERR_INVALID_INDEX, "no URL with that index");
        const ModulePort::Url& url = urls[iURLIndex];
        InfoBuffer out(piType, pBuffer, piSize);
        switch (iInfoCmd)
        {
        case URL_INFO_URL:
            return out.Put(url.Text());
        case URL_INFO_SCHEMA_VER_MAJOR:
        case URL_INFO_SCHEMA_VER_MINOR:
        case URL_INFO_FILE_VER_MAJOR:
            return out.PutInt32(1);
        case URL_INFO_FILE_VER_MINOR:
        case URL_INFO_FILE_VER_SUBMINOR:
            return out.PutInt32(0);
        case URL_INFO_FILE_REGISTER_ADDRESS:
            return out.PutUint64(url.address);
        case URL_INFO_FILE_SIZE:
            return out.PutUint64(url.size);
        case URL_INFO_SCHEME:
            return out.PutInt32(URL_SCHEME_LOCAL);
        case URL_INFO_FILENAME:
            return out.Put(url.fileName);
        case URL_INFO_FILE_SHA1_HASH:
            return ProducerError::Fail(GC_ERR_NOT_AVAILABLE, "the description carries no hash");
        default:
            return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown URL info command");
        }
    });
}

GC_ERROR GCGetPortInfo(PORT_HANDLE hPort, PORT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                       size_t* piSize)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        ModulePort* port = nullptr;
        if (GC_ERROR err = library().FindPort(hPort, module, port))
            return err;
        const ModulePort::Identity identity = port->PortIdentity();
        InfoBuffer out(piType, pBuffer, piSize);
        switch (iInfoCmd)
        {
        case PORT_INFO_ID:
            return out.Put(identity.id);
        case PORT_INFO_VENDOR:
            return out.Put(identity.vendor);
        case PORT_INFO_MODEL:
            return out.Put(identity.model);
        case PORT_INFO_TLTYPE:
            return out.Put(identity.tlType);
        case PORT_INFO_MODULE:
            return out.Put(identity.module);
        case PORT_INFO_LITTLE_ENDIAN:
            return out.PutBool(identity.littleEndian);
        case PORT_INFO_BIG_ENDIAN:
            return out.PutBool(!identity.littleEndian);
        case PORT_INFO_ACCESS_READ:
        case PORT_INFO_ACCESS_WRITE:
            return out.PutBool(true);
        case PORT_INFO_ACCESS_NA:
        case PORT_INFO_ACCESS_NI:
            return out.PutBool(false);
        case PORT_INFO_VERSION:
            return out.Put(identity.version);
        case PORT_INFO_PORTNAME:
            return out.Put(identity.name);
        default:
            return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown port info command");
        }
    });
}

GC_ERROR GCRegisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID, EVENT_HANDLE* phEvent)
{
    return guarded([&]() -> GC_ERROR {
        std::shared_ptr<Module> module;
        if (GC_ERROR err = library().Find(hEventSrc, module))
            return err;
        if (module->GetKind() != Kind::Stream)
            return ProducerError::Fail(GC_ERR_NOT_IMPLEMENTED, "only data streams fire events here");
        return std::static_pointer_cast<StreamModule>(module)->RegisterEvent(iEventID, phEvent);
    });
}

GC_ERROR GCUnregisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID)
{
    return with<StreamModule>(hEventSrc, Kind::Stream, [&](StreamModule& s) -> GC_ERROR { return s.UnregisterEvent(iEventID); });
}

GC_ERROR EventGetData(EVENT_HANDLE hEvent, void* pBuffer, size_t* piSize, uint64_t iTimeout)
{
    return with<EventQueue>(hEvent, Kind::Event, [&](EventQueue& e) -> GC_ERROR { return e.Get(pBuffer, piSize, iTimeout); });
}

GC_ERROR EventGetDataInfo(EVENT_HANDLE hEvent, const void*, size_t, EVENT_DATA_INFO_CMD, INFO_DATATYPE*, void*,
                          size_t*)
{
    return with<EventQueue>(hEvent, Kind::Event, [](EventQueue&) -> GC_ERROR {
        return ProducerError::Fail(GC_ERR_NOT_AVAILABLE, "new-buffer events carry no further data");
    });
}

GC_ERROR EventGetInfo(EVENT_HANDLE hEvent, EVENT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                      size_t* piSize)
{
    return with<EventQueue>(hEvent, Kind::Event, [&](EventQueue& e) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return e.Info(iInfoCmd, out);
    });
}

GC_ERROR EventFlush(EVENT_HANDLE hEvent)
{
    return with<EventQueue>(hEvent, Kind::Event, [](EventQueue& e) -> GC_ERROR {
        e.Flush();
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR EventKill(EVENT_HANDLE hEvent)
{
    return with<EventQueue>(hEvent, Kind::Event, [](EventQueue& e) -> GC_ERROR {
        e.Kill();
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR TLOpen(TL_HANDLE* phTL)
{
    return guarded([&] { return library().OpenSystem(phTL); });
}

GC_ERROR TLClose(TL_HANDLE hTL)
{
    return guarded([&] { return library().CloseSystem(hTL); });
}

GC_ERROR TLGetInfo(TL_HANDLE hTL, TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize)
{
    return with<SystemModule>(hTL, Kind::System, [&](SystemModule&) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return SystemModule::LibraryInfo(iInfoCmd, out);
    });
}

GC_ERROR TLGetNumInterfaces(TL_HANDLE hTL, uint32_t* piNumIfaces)
{
    return with<SystemModule>(hTL, Kind::System, [&](SystemModule& s) -> GC_ERROR { return s.InterfaceCount(piNumIfaces); });
}

GC_ERROR TLGetInterfaceID(TL_HANDLE hTL, uint32_t iIndex, char* sID, size_t* piSize)
{
    return with<SystemModule>(hTL, Kind::System, [&](SystemModule& s) -> GC_ERROR { return s.InterfaceId(iIndex, sID, piSize); });
}

GC_ERROR TLGetInterfaceInfo(TL_HANDLE hTL, const char* sIfaceID, INTERFACE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                            void* pBuffer, size_t* piSize)
{
    return with<SystemModule>(hTL, Kind::System, [&](SystemModule& s) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return s.InterfaceInfo(sIfaceID, iInfoCmd, out);
    });
}

GC_ERROR TLOpenInterface(TL_HANDLE hTL, const char* sIfaceID, IF_HANDLE* phIface)
{
    return with<SystemModule>(hTL, Kind::System, [&](SystemModule& s) -> GC_ERROR { return s.OpenInterface(sIfaceID, phIface); });
}

GC_ERROR TLUpdateInterfaceList(TL_HANDLE hTL, bool8_t* pbChanged, uint64_t)
{
    return with<SystemModule>(hTL, Kind::System, [&](SystemModule& s) -> GC_ERROR { return s.UpdateInterfaceList(pbChanged); });
}

GC_ERROR IFClose(IF_HANDLE hIface)
{
    return with<InterfaceModule>(hIface, Kind::Interface, [&](InterfaceModule& i) -> GC_ERROR {
        std::shared_ptr<SystemModule> system;
        if (library().Find(i.ParentHandle(), Kind::System, system) == GC_ERR_SUCCESS)
            system->CloseInterface(i);
        else
            library().Forget(i.Handle());
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR IFGetInfo(IF_HANDLE hIface, INTERFACE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                   size_t* piSize)
{
    return with<InterfaceModule>(hIface, Kind::Interface, [&](InterfaceModule& i) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return i.Info(iInfoCmd, out);
    });
}

GC_ERROR IFGetNumDevices(IF_HANDLE hIface, uint32_t* piNumDevices)
{
    return with<InterfaceModule>(hIface, Kind::Interface, [&](InterfaceModule& i) -> GC_ERROR { return i.DeviceCount(piNumDevices); });
}

GC_ERROR IFGetDeviceID(IF_HANDLE hIface, uint32_t iIndex, char* sIDeviceID, size_t* piSize)
{
    return with<InterfaceModule>(hIface, Kind::Interface,
                                 [&](InterfaceModule& i) -> GC_ERROR { return i.DeviceId(iIndex, sIDeviceID, piSize); });
}

GC_ERROR IFUpdateDeviceList(IF_HANDLE hIface, bool8_t* pbChanged, uint64_t)
{
    return with<InterfaceModule>(hIface, Kind::Interface,
                                 [&](InterfaceModule& i) -> GC_ERROR { return i.UpdateDeviceList(pbChanged); });
}

GC_ERROR IFGetDeviceInfo(IF_HANDLE hIface, const char* sDeviceID, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                         void* pBuffer, size_t* piSize)
{
    return with<InterfaceModule>(hIface, Kind::Interface, [&](InterfaceModule& i) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return i.DeviceInfo(sDeviceID, iInfoCmd, out);
    });
}

GC_ERROR IFOpenDevice(IF_HANDLE hIface, const char* sDeviceID, DEVICE_ACCESS_FLAGS iOpenFlag, DEV_HANDLE* phDevice)
{
    return with<InterfaceModule>(hIface, Kind::Interface,
                                 [&](InterfaceModule& i) -> GC_ERROR { return i.OpenDevice(sDeviceID, iOpenFlag, phDevice); });
}

GC_ERROR IFGetParentTL(IF_HANDLE hIface, TL_HANDLE* phSystem)
{
    return with<InterfaceModule>(hIface, Kind::Interface, [&](InterfaceModule& i) -> GC_ERROR {
        if (!phSystem)
            return noPlace();
        *phSystem = i.ParentHandle();
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DevGetPort(DEV_HANDLE hDevice, PORT_HANDLE* phRemoteDevice)
{
    return with<DeviceModule>(hDevice, Kind::Device, [&](DeviceModule& d) -> GC_ERROR {
        if (!phRemoteDevice)
            return noPlace();
        *phRemoteDevice = d.Remote().Handle();
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DevGetNumDataStreams(DEV_HANDLE hDevice, uint32_t* piNumDataStreams)
{
    return with<DeviceModule>(hDevice, Kind::Device, [&](DeviceModule& d) -> GC_ERROR { return d.StreamCount(piNumDataStreams); });
}

GC_ERROR DevGetDataStreamID(DEV_HANDLE hDevice, uint32_t iIndex, char* sDataStreamID, size_t* piSize)
{
    return with<DeviceModule>(hDevice, Kind::Device,
                              [&](DeviceModule& d) -> GC_ERROR { return d.StreamId(iIndex, sDataStreamID, piSize); });
}

GC_ERROR DevOpenDataStream(DEV_HANDLE hDevice, const char* sDataStreamID, DS_HANDLE* phDataStream)
{
    return with<DeviceModule>(hDevice, Kind::Device,
                              [&](DeviceModule& d) -> GC_ERROR { return d.OpenStream(sDataStreamID, phDataStream); });
}

GC_ERROR DevGetInfo(DEV_HANDLE hDevice, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize)
{
    return with<DeviceModule>(hDevice, Kind::Device, [&](DeviceModule& d) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return d.Identity().Answer(iInfoCmd, out);
    });
}

GC_ERROR DevClose(DEV_HANDLE hDevice)
{
    return with<DeviceModule>(hDevice, Kind::Device, [&](DeviceModule& d) -> GC_ERROR {
        d.Close();
        library().Forget(d.Handle());
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DevGetParentIF(DEV_HANDLE hDevice, IF_HANDLE* phIface)
{
    return with<DeviceModule>(hDevice, Kind::Device, [&](DeviceModule& d) -> GC_ERROR {
        if (!phIface)
            return noPlace();
        *phIface = d.ParentHandle();
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DSAnnounceBuffer(DS_HANDLE hDataStream, void* pBuffer, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR {
        if (!pBuffer)
            return noPlace();
        return s.Announce(pBuffer, iSize, pPrivate, phBuffer);
    });
}

GC_ERROR DSAllocAndAnnounceBuffer(DS_HANDLE hDataStream, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer)
{
    return with<StreamModule>(hDataStream, Kind::Stream,
                              [&](StreamModule& s) -> GC_ERROR { return s.Announce(nullptr, iSize, pPrivate, phBuffer); });
}

GC_ERROR DSFlushQueue(DS_HANDLE hDataStream, ACQ_QUEUE_TYPE iOperation)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR { return s.Flush(iOperation); });
}

GC_ERROR DSStartAcquisition(DS_HANDLE hDataStream, ACQ_START_FLAGS iStartFlags, uint64_t iNumToAcquire)
{
    return with<StreamModule>(hDataStream, Kind::Stream,
                              [&](StreamModule& s) -> GC_ERROR { return s.Start(iStartFlags, iNumToAcquire); });
}

GC_ERROR DSStopAcquisition(DS_HANDLE hDataStream, ACQ_STOP_FLAGS iStopFlags)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR { return s.Stop(iStopFlags); });
}

GC_ERROR DSGetInfo(DS_HANDLE hDataStream, STREAM_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                   size_t* piSize)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return s.Info(iInfoCmd, out);
    });
}

GC_ERROR DSGetBufferID(DS_HANDLE hDataStream, uint32_t iIndex, BUFFER_HANDLE* phBuffer)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR { return s.BufferId(iIndex, phBuffer); });
}

GC_ERROR DSClose(DS_HANDLE hDataStream)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR {
        s.Close();
        library().Forget(s.Handle());
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DSRevokeBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, void** pBuffer, void** pPrivate)
{
    return with<StreamModule>(hDataStream, Kind::Stream,
                              [&](StreamModule& s) -> GC_ERROR { return s.Revoke(hBuffer, pBuffer, pPrivate); });
}

GC_ERROR DSQueueBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR { return s.Queue(hBuffer); });
}

GC_ERROR DSGetBufferInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, BUFFER_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                         void* pBuffer, size_t* piSize)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR {
        InfoBuffer out(piType, pBuffer, piSize);
        return s.BufferInfo(hBuffer, iInfoCmd, out);
    });
}

GC_ERROR DSGetBufferChunkData(DS_HANDLE hDataStream, BUFFER_HANDLE, SINGLE_CHUNK_DATA*, size_t* piNumChunks)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule&) -> GC_ERROR {
        if (!piNumChunks)
            return noPlace();
        *piNumChunks = 0;
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DSGetParentDev(DS_HANDLE hDataStream, DEV_HANDLE* phDevice)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule& s) -> GC_ERROR {
        if (!phDevice)
            return noPlace();
        *phDevice = s.ParentHandle();
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DSGetNumBufferParts(DS_HANDLE hDataStream, BUFFER_HANDLE, uint32_t* piNumParts)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [&](StreamModule&) -> GC_ERROR {
        if (!piNumParts)
            return noPlace();
        *piNumParts = 0; // single-part images only
        return GC_ERR_SUCCESS;
    });
}

GC_ERROR DSGetBufferPartInfo(DS_HANDLE hDataStream, BUFFER_HANDLE, uint32_t, BUFFER_PART_INFO_CMD, INFO_DATATYPE*,
                             void*, size_t*)
{
    return with<StreamModule>(hDataStream, Kind::Stream, [](StreamModule&) -> GC_ERROR {
        return ProducerError::Fail(GC_ERR_INVALID_INDEX, "the buffers have no parts");
    });
}

} // extern "C"
