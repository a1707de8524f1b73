#include "GrbTestSupport.h"

#include <sim/SimDescription.h>

#include <QFile>
#include <QTemporaryDir>

#include <cmath>

namespace GrbTest {

namespace {

QByteArray describe(const QByteArray& description)
{
    if (description == "demo")
        return description;
    static QTemporaryDir directory;
    static int serial = 0;
    const QString path = directory.filePath(QStringLiteral("cameras-%1.txt").arg(++serial));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(description) != description.size())
        return {};
    return QFile::encodeName(path);
}

} // namespace

GrbErrorType StartSimulator(const QByteArray& description)
{
    qputenv("GRB_SIMULATOR", describe(description));
    return GrbCPP::GrbSystem::GetInstance().Startup();
}

GrbCPP::CameraPtr CameraById(const char* id)
{
    GrbCPP::CameraPtr camera;
    if (GrbCPP::GrbSystem::GetInstance().GetCameraByID(id, camera) != GrbErrorSuccess)
        return nullptr;
    return camera;
}

GrbCPP::CameraPtr OpenCamera(const char* id, GrbAccessModeType mode)
{
    GrbCPP::CameraPtr camera = CameraById(id);
    if (!camera || camera->Open(mode) != GrbErrorSuccess)
        return nullptr;
    return camera;
}

std::string ExtendedId(const GrbCPP::Camera& camera)
{
    std::string id;
    ReadText([&](char* buffer, unsigned int& length) { return camera.GetID(buffer, length, true); }, id);
    return id;
}

QString IdentityText(const GrbCPP::Camera& camera, const QString& which, GrbErrorType* err)
{
    GrbErrorType e = GrbErrorSuccess;
    GrbCPP::InterfacePtr iface;
    GrbCPP::TransportLayerPtr layer;
    GrbAccessModeType access = 0;
    std::string text;
    if (which == "access")
        text = (e = camera.GetPermittedAccess(access)) == GrbErrorSuccess ? std::to_string(access) : "";
    else if ((which != "interface" || (e = camera.GetInterface(iface)) == GrbErrorSuccess) &&
             (!which.startsWith("layer") || (e = camera.GetTransportLayer(layer)) == GrbErrorSuccess))
        e = ReadText(
            [&](char* b, unsigned int& l) -> GrbErrorType {
                if (which == "id" || which == "extended")
                    return camera.GetID(b, l, which == "extended");
                if (which == "model")
                    return camera.GetModel(b, l);
                if (which == "name")
                    return camera.GetName(b, l);
                if (which == "serial")
                    return camera.GetSerialNumber(b, l);
                if (which == "interface")
                    return iface->GetID(b, l);
                return which == "layer name" ? layer->GetName(b, l) : layer->GetPath(b, l);
            },
            text);
    if (err)
        *err = e;
    return QString::fromStdString(text);
}

GrbErrorType RunCommand(GrbCPP::FeatureContainer& container, const char* name)
{
    GrbCPP::FeaturePtr feature;
    GrbErrorType err = container.GetFeatureByName(name, feature);
    return err != GrbErrorSuccess ? err : feature->RunCommand();
}

GrbErrorType WriteAs(GrbCPP::FeatureContainer& container, const char* name, const QString& kind,
                     const QString& value)
{
    if (kind == "int")
        return SetFeature(container, name, int64_t(value.toLongLong()));
    if (kind == "float")
        return SetFeature(container, name, value == "nan" ? std::nan("") : value.toDouble());
    if (kind == "bool")
        return SetFeature(container, name, value == "true");
    return SetFeature(container, name, value.toUtf8().constData());
}

QString ReadAs(const GrbCPP::FeatureContainer& container, const char* name, const QString& kind, GrbErrorType* err)
{
    GrbErrorType e = GrbErrorSuccess;
    QString text;
    int64_t i = 0;
    double d = 0;
    bool b = false;
    std::string s;
    if (kind == "int")
        text = QString::number((e = GetFeature(container, name, i)) == GrbErrorSuccess ? i : 0);
    else if (kind == "float")
        text = QString::number((e = GetFeature(container, name, d)) == GrbErrorSuccess ? d : 0);
    else if (kind == "bool")
        text = (e = GetFeature(container, name, b)) == GrbErrorSuccess && b ? "true" : "false";
    else
    {
        GrbCPP::FeaturePtr feature;
        if ((e = container.GetFeatureByName(name, feature)) == GrbErrorSuccess)
            e = ReadText([&](char* buffer, unsigned int& length) { return feature->GetValue(buffer, length); }, s);
        text = QString::fromStdString(s);
    }
    if (err)
        *err = e;
    return text;
}

QByteArray ReadMemory(const GrbCPP::Camera& camera, uint64_t address, int size)
{
    QByteArray data(size, '\0');
    uint32_t done = 0;
    return camera.ReadMemory(address, data.data(), uint32_t(size), done) == GrbErrorSuccess && done == uint32_t(size)
               ? data
               : QByteArray("(unreadable)");
}

GrbErrorType WriteMemory(GrbCPP::Camera& camera, uint64_t address, const QByteArray& data)
{
    uint32_t done = 0;
    return camera.WriteMemory(address, data.constData(), uint32_t(data.size()), done);
}

GrbCPP::StreamPtr FirstStream(const GrbCPP::Camera& camera)
{
    GrbCPP::StreamPtr streams[1];
    unsigned int count = 1;
    if (camera.GetStreams(streams, count) != GrbErrorSuccess || count != 1)
        return nullptr;
    return streams[0];
}

QByteArray Pattern(int size, int seed)
{
    const std::vector<uint8_t> bytes = grb::sim::SimDescription::Pattern(uint64_t(size), uint32_t(seed));
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), size);
}

} // namespace GrbTest
