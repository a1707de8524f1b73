#include "ApiController.h"

#include "CameraObserver.h"
#include "InterfaceObserver.h"
#include "SdkText.h"

#include <QMutexLocker>

namespace {

// What the record builder reports when the SDK hands out no interface object.
constexpr GrbErrorType kNoObject = -30;
// CloseCamera's answer when the camera is not known at all.
constexpr GrbErrorType kUnknownCamera = -23;

// The permitted access allows control when it has the full (1) or exclusive (8) bit.
constexpr GrbAccessModeType kControlAccess = GrbAccessModeFull | GrbAccessModeExclusive;

const char* const kMessages[] = {
    "Success.",
    "Unexpected fault in GrbApi or driver.",
    "API not started.",
    "Not found.",
    "Invalid handle ", // shown as it is, blank and all
    "Device not open.",
    "Invalid access.",
    "Bad parameter.",
    "Wrong DLL version.",
    "More data returned than memory provided.",
    "Wrong type.",
    "Invalid value.",
    "Timeout.",
    "TL error.",
    "Resource not available.",
    "Invalid call.",
    "TL not loaded.",
    "Not implemented.",
    "Not supported.",
};

} // namespace

ApiController::ApiController(QObject* parent)
    : QObject(parent)
    , m_system(GrbCPP::GrbSystem::GetInstance())
{
    // The observer signal crosses from the SDK's thread, so its argument types must be
    // known by these names before the first callback can arrive.
    qRegisterMetaType<GrbCPP::CameraPtr>("GrbCPP::CameraPtr");
    qRegisterMetaType<GrbCPP::InterfacePtr>("GrbCPP::InterfacePtr");
    qRegisterMetaType<GrbCPP::UpdateTriggerType>("GrbCPP::UpdateTriggerType");
    qRegisterMetaType<CameraInfoMap>("CameraInfoMap");

    m_interfaceObserver = std::make_shared<InterfaceObserver>();
    m_cameraObserver = std::make_shared<CameraObserver>();
    connect(m_cameraObserver.get(), &CameraObserver::CameraListChangedSignal, this,
            &ApiController::OnCameraListChanged);
}

ApiController::~ApiController()
{
    {
        QMutexLocker lock(&m_listMutex);
        for (const auto& camera : m_cameras)
            if (camera)
                camera->Close();
    }
    m_cameras.clear();
    m_cameraObserver.reset();
    m_interfaceObserver.reset();
}

QString ApiController::ErrorCodeToMessage(GrbErrorType code) const
{
    if (code > 0 || code < -18)
        return QStringLiteral("Unknown");
    return QString::fromLatin1(kMessages[-code]);
}

void ApiController::emitApiError(GrbErrorType code, const QString& context)
{
    const QString message = ErrorCodeToMessage(code);
    const QString text =
        context.isEmpty() ? tr("Error: %1").arg(message) : tr("%1 (error: %2)").arg(context, message);
    emit ApiError(text);
}

GrbErrorType ApiController::enableAutomaticDiscovery(bool enable)
{
    if (enable)
    {
        m_system.RegisterCameraListObserver(m_cameraObserver);
        return m_system.RegisterInterfaceListObserver(m_interfaceObserver);
    }
    m_system.UnregisterCameraListObserver(m_cameraObserver);
    return m_system.UnregisterInterfaceListObserver(m_interfaceObserver);
}

std::string ApiController::GetVersion() const
{
    GrbVersionInfo version{};
    if (m_system.QueryVersion(version) != GrbErrorSuccess)
        return "0.0.0";
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

QString ApiController::GetStartupMessage() const
{
    std::string text;
    ReadSdkText([this](char* buffer, unsigned int& length) { return m_system.GetStartupMessage(buffer, length); },
                text);
    return QString::fromUtf8(text.c_str());
}

std::vector<GrbCPP::CameraPtr> ApiController::UpdateCamerasList()
{
    QMutexLocker lock(&m_listMutex);
    unsigned int count = 0;
    if (m_system.GetCameras(nullptr, count) != GrbErrorSuccess || count == 0)
        m_cameras.clear();
    else
    {
        std::vector<GrbCPP::CameraPtr> cameras(count);
        if (m_system.GetCameras(cameras.data(), count) == GrbErrorSuccess)
        {
            cameras.resize(std::min<size_t>(count, cameras.size()));
            m_cameras = std::move(cameras);
        }
        else
            m_cameras.clear();
    }
    return m_cameras;
}

std::vector<GrbCPP::CameraPtr> ApiController::GetCameraModel()
{
    QMutexLocker lock(&m_listMutex);
    return m_cameras;
}

CameraInfoMap ApiController::GetCameraInfo(GrbCPP::CameraPtr camera)
{
    CameraInfoMap info;
    if (!camera)
        return info;
    // One buffer for every text field: a failed read of the plain id leaves the extended
    // id in it, which then stands in for the plain id.
    std::string buffer;
    GrbErrorType err = ReadSdkText([&](char* b, unsigned int& l) { return camera->GetID(b, l, true); }, buffer);
    if (err != GrbErrorSuccess)
    {
        emitApiError(err, tr("Failed to get camera extended ID"));
        return info;
    }
    const QString extendedId = QString::fromUtf8(buffer.c_str());
    info.insert(QStringLiteral("Extended ID"), extendedId);

    err = ReadSdkText([&](char* b, unsigned int& l) { return camera->GetID(b, l, false); }, buffer);
    if (err != GrbErrorSuccess)
        emitApiError(err, tr("Failed to get camera ID for %1").arg(extendedId));
    const QString cameraId = QString::fromUtf8(buffer.c_str());
    info.insert(QStringLiteral("Camera ID"), cameraId);

    auto readField = [&](const QString& key, const QString& failure, auto getter) {
        buffer.clear();
        GrbErrorType code = ReadSdkText(getter, buffer);
        if (code != GrbErrorSuccess)
            emitApiError(code, failure.arg(cameraId));
        info.insert(key, QString::fromUtf8(buffer.c_str()));
    };
    readField(QStringLiteral("Model Name"), tr("Failed to get camera model for %1"),
              [&](char* b, unsigned int& l) { return camera->GetModel(b, l); });
    readField(QStringLiteral("Camera Name"), tr("Failed to get camera name for %1"),
              [&](char* b, unsigned int& l) { return camera->GetName(b, l); });
    readField(QStringLiteral("Serial No."), tr("Failed to get camera serial number for %1"),
              [&](char* b, unsigned int& l) { return camera->GetSerialNumber(b, l); });
    GrbCPP::InterfacePtr cameraInterface;
    if (camera->GetInterface(cameraInterface) != GrbErrorSuccess)
        cameraInterface.reset();
    readField(QStringLiteral("Interface"), tr("Failed to get camera interface ID for %1"),
              [&](char* b, unsigned int& l) -> GrbErrorType {
                  return cameraInterface ? cameraInterface->GetID(b, l) : kNoObject;
              });

    GrbCPP::TransportLayerPtr transportLayer;
    err = camera->GetTransportLayer(transportLayer);
    if (err == GrbErrorSuccess && !transportLayer)
        err = kNoObject;
    if (err != GrbErrorSuccess)
    {
        transportLayer.reset();
        emitApiError(err, tr("Failed to get camera transport layer for %1").arg(cameraId));
    }
    else
        readField(QStringLiteral("Transport Layer"), tr("Failed to get camera transport layer name for %1"),
                  [&](char* b, unsigned int& l) { return transportLayer->GetName(b, l); });
    // Without a transport layer there is no path to ask for: an empty path, reported
    // like any other field that cannot be read.
    readField(QStringLiteral("TL Path"), tr("Failed to get camera TL path for %1"),
              [&](char* b, unsigned int& l) -> GrbErrorType {
                  return transportLayer ? transportLayer->GetPath(b, l) : kNoObject;
              });

    GrbAccessModeType mode = 0;
    err = camera->GetPermittedAccess(mode);
    if (err != GrbErrorSuccess)
    {
        mode = 0;
        emitApiError(err, tr("Failed to get camera access mode for %1").arg(cameraId));
    }
    info.insert(QStringLiteral("Full Access"), (mode & kControlAccess) != 0);
    return info;
}

GrbCPP::CameraPtr ApiController::GetCameraPtr(const QString& cameraExtId)
{
    GrbCPP::CameraPtr camera;
    const QByteArray id = cameraExtId.toUtf8();
    GrbErrorType err = m_system.GetCameraByID(id.constData(), camera);
    if (err != GrbErrorSuccess)
    {
        emitApiError(err, tr("Failed to get camera for %1").arg(cameraExtId));
        return nullptr;
    }
    return camera;
}

GrbCPP::CameraPtr ApiController::OpenCamera(const QString& cameraExtId)
{
    GrbCPP::CameraPtr camera = GetCameraPtr(cameraExtId);
    if (!camera)
        return nullptr;
    GrbErrorType err = camera->Open(GrbAccessModeFull);
    if (err != GrbErrorSuccess)
    {
        emitApiError(err, tr("Failed to open camera %1").arg(cameraExtId));
        return nullptr;
    }
    return camera;
}

GrbErrorType ApiController::CloseCamera(const QString& cameraExtId)
{
    GrbCPP::CameraPtr camera = GetCameraPtr(cameraExtId);
    if (!camera)
        return kUnknownCamera;
    GrbErrorType err = camera->Close();
    if (err == GrbErrorSuccess || err == GrbErrorDeviceNotOpen)
        return GrbErrorSuccess;
    emitApiError(err, tr("Failed to close camera %1").arg(cameraExtId));
    return err;
}

void ApiController::OnCameraListChanged(GrbCPP::CameraPtr pCamera, GrbCPP::UpdateTriggerType reason)
{
    if (!pCamera)
        return;
    switch (static_cast<int>(reason))
    {
    case GrbCPP::UpdateTriggerPluggedIn:
        emit CameraAdded(GetCameraInfo(pCamera));
        break;
    case GrbCPP::UpdateTriggerPluggedOut: {
        // A departed camera is asked for nothing but its identity.
        std::string text;
        if (ReadSdkText([&](char* b, unsigned int& l) { return pCamera->GetID(b, l, true); }, text) !=
            GrbErrorSuccess)
            return;
        CameraInfoMap info;
        info.insert(QStringLiteral("Extended ID"), QString::fromUtf8(text.c_str()));
        if (ReadSdkText([&](char* b, unsigned int& l) { return pCamera->GetName(b, l); }, text) == GrbErrorSuccess)
            info.insert(QStringLiteral("Camera Name"), QString::fromUtf8(text.c_str()));
        emit CameraRemoved(info);
        break;
    }
    case GrbCPP::UpdateTriggerOpenStateChanged:
        emit CameraOpenStateChanged(GetCameraInfo(pCamera));
        break;
    default:
        break;
    }
}
