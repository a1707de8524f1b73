#include "SimAcquisition.h"

#include <algorithm>

namespace grb::sim {

namespace {

constexpr int64_t kSensorWidth = 4096;
constexpr int64_t kSensorHeight = 3072;

// PFNC codes carry the bits a pixel occupies in bits 16..23.
uint32_t bytesPerPixel(uint32_t pixelFormat)
{
    const uint32_t bits = (pixelFormat >> 16) & 0xFF;
    return std::max<uint32_t>(1, (bits + 7) / 8);
}

} // namespace

void SimAcquisition::AddFeatures(SimNodeMap& f)
{
    m_features = &f;
    f.AddInt("SensorWidth", kSensorWidth, kSensorWidth, kSensorWidth).writable = false;
    f.AddInt("SensorHeight", kSensorHeight, kSensorHeight, kSensorHeight).writable = false;
    f.AddInt("WidthMax", kSensorWidth, kSensorWidth, kSensorWidth).writable = false;
    f.AddInt("HeightMax", kSensorHeight, kSensorHeight, kSensorHeight).writable = false;
    f.AddInt("Width", 1024, 16, kSensorWidth, 16);
    f.AddInt("Height", 768, 8, kSensorHeight, 2);
    f.AddInt("OffsetX", 0, 0, kSensorWidth - 16, 16);
    f.AddInt("OffsetY", 0, 0, kSensorHeight - 8, 2);
    f.AddEnum("PixelFormat",
              {{"Mono8", 0x01080001, true}, {"Mono12", 0x01100005, true}, {"RGB8", 0x02180014, false}},
              0x01080001);
    SimFeature& payload = f.AddInt("PayloadSize", 0, 0, INT64_MAX);
    payload.writable = false;
    payload.beforeRead = [this](SimFeature& feature) -> GrbErrorType {
        feature.intValue = static_cast<int64_t>(PayloadSize());
        return GrbErrorSuccess;
    };

    f.AddEnum("AcquisitionMode", {{"Continuous", 0, true}, {"SingleFrame", 1, true}, {"MultiFrame", 2, true}}, 0);
    f.AddInt("AcquisitionFrameCount", 1, 1, 65535);
    f.AddFloat("AcquisitionFrameRate", 10.0, 0.1, 200.0);
    f.AddCommand("AcquisitionStart").onCommand = [this](SimFeature&) { return _Start(); };
    f.AddCommand("AcquisitionStop").onCommand = [this](SimFeature&) {
        Stop();
        return GrbErrorSuccess;
    };
    f.AddEnum("TriggerSelector", {{"FrameStart", 0, true}}, 0);
    f.AddEnum("TriggerMode", {{"Off", 0, true}, {"On", 1, true}}, 0);
    f.AddEnum("TriggerSource", {{"Software", 0, true}}, 0);
    f.AddCommand("TriggerSoftware").onCommand = [this](SimFeature&) -> GrbErrorType {
        // A trigger outside an acquisition is lost, as on a camera.
        if (m_running && _Triggered())
            ++m_triggers;
        return GrbErrorSuccess;
    };
}

int64_t SimAcquisition::_Int(const char* name, int64_t fallback) const
{
    // Read past access modes and faults: the device reads its own settings.
    SimFeature* f = m_features ? m_features->Find(name) : nullptr;
    if (!f)
        return fallback;
    return f->type == GrbFeatureDataEnum ? f->enumValue : f->type == GrbFeatureDataInt ? f->intValue : fallback;
}

std::string SimAcquisition::_Enum(const char* name) const
{
    SimFeature* f = m_features ? m_features->Find(name) : nullptr;
    if (f && f->type == GrbFeatureDataEnum)
        for (const auto& e : f->entries)
            if (e.value == f->enumValue)
                return e.name;
    return {};
}

bool SimAcquisition::_Triggered() const
{
    return _Enum("TriggerMode") == "On";
}

SimAcquisition::Format SimAcquisition::_Format()
{
    Format format;
    const int64_t sensorWidth = std::max<int64_t>(0, _Int("SensorWidth", kSensorWidth));
    const int64_t sensorHeight = std::max<int64_t>(0, _Int("SensorHeight", kSensorHeight));
    format.offsetX = static_cast<uint32_t>(std::clamp<int64_t>(_Int("OffsetX", 0), 0, sensorWidth));
    format.offsetY = static_cast<uint32_t>(std::clamp<int64_t>(_Int("OffsetY", 0), 0, sensorHeight));
    format.width = static_cast<uint32_t>(std::clamp<int64_t>(_Int("Width", 0), 0, sensorWidth - format.offsetX));
    format.height = static_cast<uint32_t>(std::clamp<int64_t>(_Int("Height", 0), 0, sensorHeight - format.offsetY));
    format.pixelFormat = static_cast<uint32_t>(_Int("PixelFormat", 0x01080001));
    format.bytesPerPixel = bytesPerPixel(format.pixelFormat);
    return format;
}

uint64_t SimAcquisition::PayloadSize()
{
    const Format format = _Format();
    return uint64_t(format.width) * format.height * format.bytesPerPixel;
}

GrbErrorType SimAcquisition::_Start()
{
    if (PayloadSize() == 0)
        return GrbErrorInvalidCall;
    const std::string mode = _Enum("AcquisitionMode");
    m_framesLeft = mode == "SingleFrame" ? 1 : mode == "MultiFrame" ? std::max<int64_t>(1, _Int("AcquisitionFrameCount", 1)) : -1;
    m_running = true;
    m_triggers = 0;
    m_due = Clock::now();
    return GrbErrorSuccess;
}

void SimAcquisition::Stop()
{
    m_running = false;
    m_triggers = 0;
    m_due = Clock::time_point::max();
}

void SimAcquisition::Reset()
{
    Stop();
    m_epoch = Clock::now();
    m_nextId = 1;
}

SimAcquisition::Clock::time_point SimAcquisition::NextDue() const
{
    if (!m_running)
        return Clock::time_point::max();
    if (_Triggered())
        return m_triggers > 0 ? Clock::time_point::min() : Clock::time_point::max();
    return m_due;
}

bool SimAcquisition::TakeFrame(Clock::time_point now, SimFrame& frame)
{
    const Clock::time_point due = NextDue();
    if (due == Clock::time_point::max() || due > now)
        return false;
    if (_Triggered())
        --m_triggers;
    else
    {
        double rate = 10.0;
        if (SimFeature* f = m_features->Find("AcquisitionFrameRate"); f && f->type == GrbFeatureDataFloat)
            rate = std::max(f->floatValue, 0.001);
        const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
        // Frames keep their rhythm; one that could not be sent in time is not made up for.
        m_due += period;
        if (m_due < now)
            m_due = now + period;
    }
    frame = Snapshot();
    if (m_framesLeft > 0 && --m_framesLeft == 0)
        Stop();
    return true;
}

SimFrame SimAcquisition::Snapshot()
{
    const Format format = _Format();
    SimFrame frame;
    frame.id = m_nextId++;
    frame.timestampNs = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - m_epoch).count());
    frame.pixelFormat = format.pixelFormat;
    frame.width = format.width;
    frame.height = format.height;
    frame.offsetX = format.offsetX;
    frame.offsetY = format.offsetY;
    // A diagonal ramp that moves one step a frame, so that frames differ and a lost
    // or reordered line shows.
    const size_t line = size_t(format.width) * format.bytesPerPixel;
    frame.data.resize(line * format.height);
    for (size_t y = 0; y < format.height; ++y)
    {
        uint8_t* row = frame.data.data() + y * line;
        const size_t start = y + format.offsetY + format.offsetX + frame.id;
        for (size_t x = 0; x < line; ++x)
            row[x] = static_cast<uint8_t>(start + x);
    }
    return frame;
}

} // namespace grb::sim
