#ifndef DEVICE_PXFEATURECONTAINERUTIL_H
#define DEVICE_PXFEATURECONTAINERUTIL_H

#include <GrbC/GrbCTypes.h>
#include <GrbCPP/EnumEntry.h>
#include <GrbCPP/FeatureContainer.h>

#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <vector>

// Reads and writes GenICam features by name as QVariants, in two families: on an SDK
// feature container object and on a plain SDK handle. Every function answers true for
// success and logs nothing; the container family keeps the SDK's code of the calling
// thread's last failure, for callers that tell the user why.
class PXFeatureContainerUtil
{
public:
    using ContainerPtr = std::shared_ptr<GrbCPP::FeatureContainer>;

    static bool GetFeatureValue(ContainerPtr container, const char* name, QVariant& value);
    static bool SetFeatureValue(ContainerPtr container, const char* name, const QVariant& value);
    static bool GetFeatureValueEnum(ContainerPtr container, const char* name, QVariant& value);
    static bool SetFeatureValueEnum(ContainerPtr container, const char* name, QVariant& value);
    static bool SetFeatureCommand(ContainerPtr container, const char* name, unsigned long timeoutMs);
    static bool SetFeatureRegister(ContainerPtr container, const char* name, const std::vector<unsigned char>& bytes,
                                   int length);
    // The same for bytes held elsewhere, such as a chunk of a file in memory.
    static bool SetFeatureRegisterBytes(ContainerPtr container, const char* name, const unsigned char* bytes,
                                        size_t size);
    static bool GetFeatureRegister(ContainerPtr container, const char* name, std::vector<unsigned char>& bytes,
                                   int length);
    static bool GetFeatureRange(ContainerPtr container, const char* name, QVariant& min, QVariant& max,
                                QVariant& inc);
    static bool HasFeature(ContainerPtr container, const char* name, bool& exists);
    static bool IsWritable(ContainerPtr container, const char* name, bool& writable);
    static bool IsReadable(ContainerPtr container, const char* name, bool& readable);
    static bool GetSubFeatures(ContainerPtr container, const char* name, std::vector<GrbCPP::EnumEntry>* entries);

    static bool GetFeatureValue(void* handle, const char* name, QVariant& value);
    static bool SetFeatureValue(void* handle, const char* name, const QVariant& value);
    static bool GetFeatureValueEnum(void* handle, const char* name, QVariant& value);
    static bool SetFeatureValueEnum(void* handle, const char* name, QVariant& value);
    static bool SetFeatureCommand(void* handle, const char* name, unsigned long timeoutMs);

    static double StringToDouble(const QString& text, bool* ok = nullptr);

    // The SDK's code of the last failed container-family call on this thread: -12 for a
    // command that did not complete in time, -10 for a value of the wrong kind.
    static GrbErrorType LastError();

private:
    static bool _feature(const ContainerPtr& container, const char* name, GrbCPP::FeaturePtr& feature);
    static bool _awaitCommand(unsigned long timeoutMs, const std::function<bool()>& isDone);
};

#endif
