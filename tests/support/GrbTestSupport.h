// Helpers shared by the camera SDK tests: starting the simulator on a description and
// reading and writing values through the public object interface.
#ifndef TESTS_GRB_GRBTESTSUPPORT_H
#define TESTS_GRB_GRBTESTSUPPORT_H

#include <GrbCPP/GrbCPP.h>

#include <QByteArray>
#include <QString>

#include <string>
#include <vector>

namespace GrbTest {

// Starts the SDK on the simulator: "demo", or a description text written to a file first.
GrbErrorType StartSimulator(const QByteArray& description);

// Null when the id is unknown.
GrbCPP::CameraPtr CameraById(const char* id);
// Null when the camera is unknown or does not open.
GrbCPP::CameraPtr OpenCamera(const char* id, GrbAccessModeType mode = GrbAccessModeFull);

// Both calls of a two-call text read; call gets (buffer, length).
template <class Call>
GrbErrorType ReadText(Call&& call, std::string& text)
{
    unsigned int length = 0;
    GrbErrorType err = call(nullptr, length);
    if (err != GrbErrorSuccess)
        return err;
    std::vector<char> buffer(length + 1, '\0');
    err = call(buffer.data(), length);
    if (err == GrbErrorSuccess)
        text.assign(buffer.data());
    return err;
}

std::string ExtendedId(const GrbCPP::Camera& camera);
// One identity read of a camera: "id", "extended", "model", "name", "serial",
// "interface" (its interface's id), "layer name", "layer path" (its transport layer's),
// or "access" (the permitted access as a number).
QString IdentityText(const GrbCPP::Camera& camera, const QString& which, GrbErrorType* err = nullptr);

template <class T>
GrbErrorType GetFeature(const GrbCPP::FeatureContainer& container, const char* name, T& value)
{
    GrbCPP::FeaturePtr feature;
    GrbErrorType err = container.GetFeatureByName(name, feature);
    return err != GrbErrorSuccess ? err : feature->GetValue(value);
}

template <class T>
GrbErrorType SetFeature(GrbCPP::FeatureContainer& container, const char* name, T value)
{
    GrbCPP::FeaturePtr feature;
    GrbErrorType err = container.GetFeatureByName(name, feature);
    return err != GrbErrorSuccess ? err : feature->SetValue(value);
}

GrbErrorType RunCommand(GrbCPP::FeatureContainer& container, const char* name);

// A value written or read as the kind named: "int", "float" ("nan" is one), "bool"
// ("true" or "false") or "text" (a string or an entry's name).
GrbErrorType WriteAs(GrbCPP::FeatureContainer& container, const char* name, const QString& kind,
                     const QString& value);
QString ReadAs(const GrbCPP::FeatureContainer& container, const char* name, const QString& kind,
               GrbErrorType* err = nullptr);

// Device memory: the bytes read, or "(unreadable)".
QByteArray ReadMemory(const GrbCPP::Camera& camera, uint64_t address, int size);
GrbErrorType WriteMemory(GrbCPP::Camera& camera, uint64_t address, const QByteArray& data);

GrbCPP::StreamPtr FirstStream(const GrbCPP::Camera& camera);

// The bytes the simulator generates for a file described with size= and seed=.
QByteArray Pattern(int size, int seed);

} // namespace GrbTest

#endif
