#ifndef TESTS_SDK_SIMULATORFIXTURE_H
#define TESTS_SDK_SIMULATORFIXTURE_H

// Starts the camera SDK on the simulator with a description written to a temporary
// directory, so no test ever lets a real transport layer discover.

#include "GrbTestSupport.h"

#include <GrbCPP/GrbSystem.h>
#include <sim/SimWorld.h>

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>
#include <vector>

class SimulatorFixture
{
public:
    bool Start(const QString& description)
    {
        GrbCPP::GrbSystem::GetInstance().Shutdown();
        return GrbTest::StartSimulator(description.toUtf8()) == GrbErrorSuccess;
    }

    void Stop() { GrbCPP::GrbSystem::GetInstance().Shutdown(); }

    std::shared_ptr<grb::sim::SimWorld> World() const { return grb::sim::SimWorld::Active(); }

    QString Path(const QString& name) const { return m_dir.filePath(name); }

    // The content of a device file, or nothing when the camera does not have it.
    std::optional<QByteArray> DeviceFile(const char* camera, const char* selector, const char* name) const
    {
        std::vector<uint8_t> data;
        if (!World()->ReadFile(camera, selector, name, data))
            return std::nullopt;
        return QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()));
    }

private:
    QTemporaryDir m_dir;
};

#endif
