#include "GrbTestSupport.h"

#include <QFile>
#include <QTemporaryDir>


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

GrbErrorType GetFeatureText(const GrbCPP::FeatureContainer& container, const char* name, std::string& text)
{
    GrbCPP::FeaturePtr feature;
    GrbErrorType err = container.GetFeatureByName(name, feature);
    if (err != GrbErrorSuccess)
        return err;
    return ReadText([&](char* buffer, unsigned int& length) { return feature->GetValue(buffer, length); }, text);
}

GrbErrorType RunCommand(GrbCPP::FeatureContainer& container, const char* name)
{
    GrbCPP::FeaturePtr feature;
    GrbErrorType err = container.GetFeatureByName(name, feature);
    return err != GrbErrorSuccess ? err : feature->RunCommand();
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
    QByteArray data(size, '\0');
    quint32 state = static_cast<quint32>(seed) * 2246822519u + 7u;
    for (char& byte : data)
    {
        state = state * 1103515245u + 12345u;
        byte = static_cast<char>(state >> 23);
    }
    return data;
}

} // namespace GrbTest
