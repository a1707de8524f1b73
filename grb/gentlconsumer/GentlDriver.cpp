#include "GentlDriver.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <set>
#include <sstream>

namespace grb::gentl {

namespace {

constexpr auto kRoundInterval = std::chrono::milliseconds(500);
constexpr long kDefaultTimeoutMs = 10000;

std::vector<std::string> split(const char* variable)
{
    std::vector<std::string> parts;
    const char* value = std::getenv(variable);
    std::istringstream in(value ? value : "");
    for (std::string part; std::getline(in, part, ':');)
        if (!part.empty())
            parts.push_back(part);
    return parts;
}

bool isDirectory(const std::string& path)
{
    struct stat status{};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The .cti files of a directory, in name order.
std::vector<std::string> producersIn(const std::string& directory)
{
    std::vector<std::string> files;
    if (DIR* dir = opendir(directory.c_str()))
    {
        while (const dirent* entry = readdir(dir))
        {
            const std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".cti") == 0)
                files.push_back(directory + "/" + name);
        }
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Each producer once, however it was named.
std::vector<std::string> producerFiles()
{
    std::vector<std::string> candidates;
    for (const std::string& directory : split(GentlDriver::kPathVariable))
        for (const std::string& file : producersIn(directory))
            candidates.push_back(file);
    for (const std::string& path : split(GentlDriver::kProducerVariable))
    {
        if (isDirectory(path))
            for (const std::string& file : producersIn(path))
                candidates.push_back(file);
        else
            candidates.push_back(path);
    }
    std::vector<std::string> files;
    std::set<std::string> seen;
    for (const std::string& file : candidates)
    {
        char resolved[PATH_MAX];
        if (seen.insert(realpath(file.c_str(), resolved) ? resolved : file).second)
            files.push_back(file);
    }
    return files;
}

std::chrono::milliseconds callBound(std::string& error)
{
    const char* value = std::getenv(GentlDriver::kTimeoutVariable);
    if (!value || !*value)
        return std::chrono::milliseconds(kDefaultTimeoutMs);
    char* end = nullptr;
    const long ms = std::strtol(value, &end, 10);
    if (*end != '\0' || ms < 10 || ms > 600000)
    {
        error += std::string(error.empty() ? "" : "; ") + GentlDriver::kTimeoutVariable + "=" + value +
                 " is not a time between 10 and 600000 ms; 10000 is used";
        return std::chrono::milliseconds(kDefaultTimeoutMs);
    }
    return std::chrono::milliseconds(ms);
}

void append(std::string& error, const std::string& problem)
{
    if (!problem.empty())
        error += (error.empty() ? "" : "; ") + problem;
}

} // namespace

GentlDriver::GentlDriver(std::vector<std::unique_ptr<GentlProducer>> producers)
    : m_producers(std::move(producers))
{
}

GentlDriver::~GentlDriver()
{
    Stop();
}

std::unique_ptr<TransportLayerDriver> GentlDriver::Create(std::string& error)
{
    const std::chrono::milliseconds bound = callBound(error);
    std::vector<std::unique_ptr<GentlProducer>> producers;
    for (const std::string& file : producerFiles())
    {
        std::string why;
        std::shared_ptr<GentlLibrary> library = GentlLibrary::Load(file, bound, why);
        std::unique_ptr<GentlProducer> producer = library ? GentlProducer::Open(library, why) : nullptr;
        if (producer)
            producers.push_back(std::move(producer));
        else
            append(error, file + ": " + why);
    }
    auto driver = std::make_unique<GentlDriver>(std::move(producers));
    // The first list is known before the layer starts, with what went wrong finding it.
    std::string problems;
    driver->m_devices = driver->_Round(problems);
    append(error, problems);
    return driver;
}

std::vector<GentlDriver::Found> GentlDriver::_Round(std::string& problems)
{
    std::vector<Found> found;
    for (const auto& producer : m_producers)
    {
        std::vector<DeviceRecord> devices;
        producer->Discover(devices, problems);
        for (DeviceRecord& device : devices)
            found.push_back({producer.get(), std::move(device)});
    }
    return found;
}

GrbErrorType GentlDriver::Start(DeviceListObserver& observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_thread.joinable())
        return GrbErrorSuccess;
    m_observer = &observer;
    m_stop = false;
    std::vector<DeviceRecord> devices;
    for (const Found& f : m_devices)
        devices.push_back(f.record);
    m_snapshot.Reset(devices);
    if (!m_producers.empty())
        m_thread = std::thread([this] { _Run(); });
    return GrbErrorSuccess;
}

void GentlDriver::Stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        m_observer = nullptr;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void GentlDriver::_Run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_wake.wait_for(lock, kRoundInterval, [this] { return m_stop; }))
    {
        lock.unlock();
        std::string problems;
        std::vector<Found> found = _Round(problems);
        std::vector<DeviceRecord> devices;
        for (const Found& f : found)
            devices.push_back(f.record);
        lock.lock();
        if (m_stop)
            break;
        m_devices = std::move(found);
        DeviceListObserver* observer = m_observer;
        // The snapshot is this thread's alone; the observer is called with no lock held.
        lock.unlock();
        if (observer)
            m_snapshot.Update(devices, *this, *observer);
        lock.lock();
    }
}

GrbErrorType GentlDriver::Enumerate(std::vector<DeviceRecord>& devices)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    devices.clear();
    for (const Found& f : m_devices)
        devices.push_back(f.record);
    return GrbErrorSuccess;
}

GrbErrorType GentlDriver::Open(const std::string& extendedId, GrbAccessModeType mode,
                               std::unique_ptr<DeviceSession>& session)
{
    GentlProducer* producer = nullptr;
    DeviceRecord record;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const Found& f : m_devices)
            if (f.record.extendedId == extendedId)
            {
                producer = f.producer;
                record = f.record;
            }
    }
    if (!producer)
        return GrbErrorNotFound;
    return producer->Open(record.interfaceId, record.id, record.transportLayerType, mode, session);
}

} // namespace grb::gentl
