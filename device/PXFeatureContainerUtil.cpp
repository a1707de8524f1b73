#include "PXFeatureContainerUtil.h"

#include "StringToDouble.h"
#include "sdk/SdkText.h"

#include <GrbC/GrbC.h>
#include <GrbCPP/Feature.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <string>

namespace {

// Between two completion queries; the file transfer time-outs are built around it.
constexpr time_t kCommandPollSeconds = 2;

thread_local GrbErrorType t_lastError = GrbErrorSuccess;

// Notes a failing SDK code for LastError().
bool ok(GrbErrorType err)
{
    if (err != GrbErrorSuccess)
        t_lastError = err;
    return err == GrbErrorSuccess;
}

bool refuse(GrbErrorType err)
{
    t_lastError = err;
    return false;
}

long long monotonicMs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

bool dataType(const GrbCPP::FeaturePtr& feature, GrbFeatureDataType& type)
{
    return ok(feature->GetDataType(type));
}

bool handleDataType(void* handle, const char* name, GrbFeatureDataType& type)
{
    GrbFeatureInfo info{};
    if (GrbFeatureInfoQuery(handle, name, &info, sizeof(info)) != GrbErrorSuccess)
        return false;
    type = info.featureDataType;
    return true;
}

// Texts of the SDK are UTF-8 both ways; plain ASCII reads the same either way.
bool readText(const GrbCPP::FeaturePtr& feature, QVariant& value)
{
    std::string text;
    if (!ok(ReadSdkText([&](char* buffer, unsigned int& length) { return feature->GetValue(buffer, length); }, text)))
        return false;
    value = QString::fromUtf8(text.c_str());
    return true;
}

bool isText(const QVariant& value)
{
    return value.userType() == QMetaType::QString;
}

bool isInt(const QVariant& value)
{
    return value.userType() == QMetaType::Int;
}

} // namespace

GrbErrorType PXFeatureContainerUtil::LastError()
{
    return t_lastError;
}

bool PXFeatureContainerUtil::_feature(const ContainerPtr& container, const char* name, GrbCPP::FeaturePtr& feature)
{
    if (!container || !name)
        return refuse(GrbErrorBadParameter);
    return ok(container->GetFeatureByName(name, feature)) && (feature || refuse(GrbErrorNotFound));
}

bool PXFeatureContainerUtil::_awaitCommand(unsigned long timeoutMs, const std::function<bool()>& isDone)
{
    if (timeoutMs == 0)
        return true;
    const long long start = monotonicMs();
    for (;;)
    {
        if (isDone())
            return true;
        if (static_cast<long long>(timeoutMs) <= monotonicMs() - start)
            return false;
        timespec pause{kCommandPollSeconds, 0};
        while (nanosleep(&pause, &pause) == -1 && errno == EINTR)
        {
        }
    }
}

bool PXFeatureContainerUtil::GetFeatureValue(ContainerPtr container, const char* name, QVariant& value)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!_feature(container, name, feature) || !dataType(feature, type))
        return false;
    switch (type)
    {
    case GrbFeatureDataInt: {
        int64_t v = 0;
        if (!ok(feature->GetValue(v)))
            return false;
        value = QVariant(static_cast<qlonglong>(v));
        return true;
    }
    case GrbFeatureDataFloat: {
        double v = 0.0;
        if (!ok(feature->GetValue(v)))
            return false;
        value = QVariant(v);
        return true;
    }
    case GrbFeatureDataBool: {
        bool v = false;
        if (!ok(feature->GetValue(v)))
            return false;
        value = QVariant(v);
        return true;
    }
    case GrbFeatureDataEnum:
    case GrbFeatureDataString:
        return readText(feature, value);
    default:
        return refuse(GrbErrorWrongType);
    }
}

bool PXFeatureContainerUtil::SetFeatureValue(ContainerPtr container, const char* name, const QVariant& value)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!_feature(container, name, feature) || !dataType(feature, type))
        return false;
    switch (type)
    {
    case GrbFeatureDataInt:
        return ok(feature->SetValue(static_cast<int64_t>(value.toLongLong())));
    case GrbFeatureDataFloat:
        return ok(feature->SetValue(value.toDouble()));
    case GrbFeatureDataBool:
        return ok(feature->SetValue(value.toBool()));
    case GrbFeatureDataEnum:
        if (isInt(value))
            return ok(feature->SetValue(static_cast<int64_t>(value.toInt())));
        if (isText(value))
            return ok(feature->SetValue(value.toString().toUtf8().constData()));
        return refuse(GrbErrorWrongType);
    case GrbFeatureDataString:
        return ok(feature->SetValue(value.toString().toUtf8().constData()));
    case GrbFeatureDataUnknown:
    case GrbFeatureDataCommand:
    case GrbFeatureDataRaw:
    case GrbFeatureDataNone:
        return refuse(GrbErrorWrongType);
    default:
        return true; // no such type exists; nothing to write
    }
}

bool PXFeatureContainerUtil::GetFeatureValueEnum(ContainerPtr container, const char* name, QVariant& value)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!_feature(container, name, feature) || !dataType(feature, type))
        return false;
    return type == GrbFeatureDataEnum ? readText(feature, value) : refuse(GrbErrorWrongType);
}

bool PXFeatureContainerUtil::SetFeatureValueEnum(ContainerPtr container, const char* name, QVariant& value)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!_feature(container, name, feature) || !dataType(feature, type))
        return false;
    if (type != GrbFeatureDataEnum)
        return refuse(GrbErrorWrongType);
    const QByteArray entry = value.toString().toUtf8();
    if (!ok(feature->SetValue(entry.constData())))
        return false;
    value = QString::fromUtf8(entry);
    return true;
}

bool PXFeatureContainerUtil::SetFeatureCommand(ContainerPtr container, const char* name, unsigned long timeoutMs)
{
    GrbCPP::FeaturePtr feature;
    if (!_feature(container, name, feature) || !ok(feature->RunCommand()))
        return false;
    return _awaitCommand(timeoutMs, [&feature] {
               bool done = false;
               feature->IsCommandDone(done);
               return done;
           }) ||
           refuse(GrbErrorTimeout);
}

bool PXFeatureContainerUtil::SetFeatureRegister(ContainerPtr container, const char* name,
                                                const std::vector<unsigned char>& bytes, int length)
{
    if (length < 1)
        return refuse(GrbErrorBadParameter);
    return SetFeatureRegisterBytes(std::move(container), name, bytes.data(), bytes.size());
}

bool PXFeatureContainerUtil::SetFeatureRegisterBytes(ContainerPtr container, const char* name,
                                                     const unsigned char* bytes, size_t size)
{
    GrbCPP::FeaturePtr feature;
    if (!bytes || size == 0 || size > UINT_MAX)
        return refuse(GrbErrorBadParameter);
    return _feature(container, name, feature) && ok(feature->SetValue(bytes, static_cast<unsigned int>(size)));
}

bool PXFeatureContainerUtil::GetFeatureRegister(ContainerPtr container, const char* name,
                                                std::vector<unsigned char>& bytes, int length)
{
    GrbCPP::FeaturePtr feature;
    if (length < 1)
        return refuse(GrbErrorBadParameter);
    unsigned int size = 0;
    if (!_feature(container, name, feature) || !ok(feature->GetValue(static_cast<unsigned char*>(nullptr), size)))
        return false;
    if (size == 0)
    {
        bytes.clear();
        return true;
    }
    // Read in place: a transfer calls this once per chunk with the same vector, whose
    // storage is then reused instead of allocated and cleared each time.
    bytes.resize(size);
    unsigned int filled = size;
    if (!ok(feature->GetValue(bytes.data(), filled)))
    {
        bytes.clear();
        return false;
    }
    // The caller gets what the device delivered, so a short read shows as a short vector.
    if (filled < size)
        bytes.resize(filled);
    return true;
}

bool PXFeatureContainerUtil::GetFeatureRange(ContainerPtr container, const char* name, QVariant& min, QVariant& max,
                                             QVariant& inc)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!_feature(container, name, feature) || !dataType(feature, type))
        return false;
    if (type == GrbFeatureDataInt)
    {
        int64_t minimum = 0, maximum = 0, increment = 0;
        if (!ok(feature->GetRange(minimum, maximum)))
            return false;
        min = QVariant(static_cast<qlonglong>(minimum));
        max = QVariant(static_cast<qlonglong>(maximum));
        if (!ok(feature->GetIncrement(increment)))
            return false;
        inc = QVariant(static_cast<qlonglong>(increment));
        return true;
    }
    if (type == GrbFeatureDataFloat)
    {
        double minimum = 0, maximum = 0, increment = 0;
        if (!ok(feature->GetRange(minimum, maximum)))
            return false;
        min = QVariant(minimum);
        max = QVariant(maximum);
        if (!ok(feature->GetIncrement(increment)))
            return false;
        inc = QVariant(increment);
        return true;
    }
    return refuse(GrbErrorWrongType);
}

bool PXFeatureContainerUtil::HasFeature(ContainerPtr container, const char* name, bool& exists)
{
    if (!container || !name)
        return refuse(GrbErrorBadParameter);
    GrbCPP::FeaturePtr feature;
    const GrbErrorType err = container->GetFeatureByName(name, feature);
    if (err != GrbErrorSuccess && err != GrbErrorNotFound)
        return refuse(err);
    exists = err == GrbErrorSuccess;
    return true;
}

bool PXFeatureContainerUtil::IsWritable(ContainerPtr container, const char* name, bool& writable)
{
    GrbCPP::FeaturePtr feature;
    return _feature(container, name, feature) && ok(feature->IsWritable(writable));
}

bool PXFeatureContainerUtil::IsReadable(ContainerPtr container, const char* name, bool& readable)
{
    GrbCPP::FeaturePtr feature;
    return _feature(container, name, feature) && ok(feature->IsReadable(readable));
}

bool PXFeatureContainerUtil::GetSubFeatures(ContainerPtr container, const char* name,
                                            std::vector<GrbCPP::EnumEntry>* entries)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    std::vector<GrbCPP::EnumEntry> all;
    if (!entries || !_feature(container, name, feature) || !dataType(feature, type) || type != GrbFeatureDataEnum ||
        feature->GetEntries(all) != GrbErrorSuccess)
        return false;
    for (const auto& entry : all)
    {
        std::string entryName;
        bool available = false;
        if (entry.GetName(entryName) == GrbErrorSuccess &&
            feature->IsValueAvailable(entryName.c_str(), available) == GrbErrorSuccess && available)
            entries->push_back(entry);
    }
    return true;
}

bool PXFeatureContainerUtil::GetFeatureValue(void* handle, const char* name, QVariant& value)
{
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!handle || !name || !handleDataType(handle, name, type))
        return false;
    switch (type)
    {
    case GrbFeatureDataInt: {
        int64_t v = 0;
        if (GrbFeatureIntGet(handle, name, &v) != GrbErrorSuccess)
            return false;
        value = QVariant(static_cast<qlonglong>(v));
        return true;
    }
    case GrbFeatureDataFloat: {
        double v = 0.0;
        if (GrbFeatureFloatGet(handle, name, &v) != GrbErrorSuccess)
            return false;
        value = QVariant(v);
        return true;
    }
    case GrbFeatureDataBool: {
        bool v = false;
        if (GrbFeatureBoolGet(handle, name, &v) != GrbErrorSuccess)
            return false;
        value = QVariant(v);
        return true;
    }
    case GrbFeatureDataEnum:
        return GetFeatureValueEnum(handle, name, value);
    case GrbFeatureDataString: {
        std::string text;
        auto get = [&](char* buffer, unsigned int& length) {
            uint32_t filled = 0;
            GrbErrorType err = GrbFeatureStringGet(handle, name, buffer, buffer ? length : 0, &filled);
            length = filled;
            return err;
        };
        if (ReadSdkText(get, text) != GrbErrorSuccess)
            return false;
        value = QString::fromUtf8(text.c_str());
        return true;
    }
    default:
        return false;
    }
}

bool PXFeatureContainerUtil::SetFeatureValue(void* handle, const char* name, const QVariant& value)
{
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    if (!handle || !name || !handleDataType(handle, name, type))
        return false;
    switch (type)
    {
    case GrbFeatureDataInt:
        return GrbFeatureIntSet(handle, name, value.toLongLong()) == GrbErrorSuccess;
    case GrbFeatureDataFloat:
        return GrbFeatureFloatSet(handle, name, value.toDouble()) == GrbErrorSuccess;
    case GrbFeatureDataBool:
        return GrbFeatureBoolSet(handle, name, value.toBool()) == GrbErrorSuccess;
    case GrbFeatureDataEnum:
        // The handle interface selects entries by name only.
        return isText(value) && GrbFeatureEnumSet(handle, name, value.toString().toUtf8().constData()) ==
                                    GrbErrorSuccess;
    case GrbFeatureDataString:
        return GrbFeatureStringSet(handle, name, value.toString().toUtf8().constData()) == GrbErrorSuccess;
    case GrbFeatureDataUnknown:
    case GrbFeatureDataCommand:
    case GrbFeatureDataRaw:
    case GrbFeatureDataNone:
        return false;
    default:
        return true;
    }
}

bool PXFeatureContainerUtil::GetFeatureValueEnum(void* handle, const char* name, QVariant& value)
{
    const char* entry = nullptr;
    if (!handle || !name || GrbFeatureEnumGet(handle, name, &entry) != GrbErrorSuccess || !entry)
        return false;
    value = QString::fromUtf8(entry);
    return true;
}

bool PXFeatureContainerUtil::SetFeatureValueEnum(void* handle, const char* name, QVariant& value)
{
    if (!handle || !name)
        return false;
    const QByteArray entry = value.toString().toUtf8();
    if (GrbFeatureEnumSet(handle, name, entry.constData()) != GrbErrorSuccess)
        return false;
    value = QString::fromUtf8(entry);
    return true;
}

bool PXFeatureContainerUtil::SetFeatureCommand(void* handle, const char* name, unsigned long timeoutMs)
{
    if (!handle || !name || GrbFeatureCommandRun(handle, name) != GrbErrorSuccess)
        return false;
    return _awaitCommand(timeoutMs, [handle, name] {
        bool done = false;
        GrbFeatureCommandIsDone(handle, name, &done);
        return done;
    });
}

double PXFeatureContainerUtil::StringToDouble(const QString& text, bool* ok)
{
    return ::StringToDouble(text, ok);
}
