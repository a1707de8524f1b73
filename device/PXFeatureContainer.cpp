#include "PXFeatureContainer.h"

#include "PXFeatureContainerUtil.h"

#include <string>

PXFeatureContainer::PXFeatureContainer(std::shared_ptr<GrbCPP::FeatureContainer> container, QObject* parent)
    : QObject(parent)
    , m_container(std::move(container))
{
}

PXFeatureContainer::~PXFeatureContainer() = default;

bool PXFeatureContainer::GetValue(const char* name, QVariant& value) const
{
    return PXFeatureContainerUtil::GetFeatureValue(m_container, name, value);
}

bool PXFeatureContainer::SetValue(const char* name, const QVariant& value)
{
    return PXFeatureContainerUtil::SetFeatureValue(m_container, name, value);
}

bool PXFeatureContainer::SetCommand(const char* name, unsigned long timeoutMs)
{
    return PXFeatureContainerUtil::SetFeatureCommand(m_container, name, timeoutMs);
}

bool PXFeatureContainer::SetRegisterValue(const char* name, const std::vector<unsigned char>& bytes, int length)
{
    return PXFeatureContainerUtil::SetFeatureRegister(m_container, name, bytes, length);
}

bool PXFeatureContainer::SetRegisterBytes(const char* name, const unsigned char* bytes, size_t size)
{
    return PXFeatureContainerUtil::SetFeatureRegisterBytes(m_container, name, bytes, size);
}

bool PXFeatureContainer::GetRegisterValue(const char* name, std::vector<unsigned char>& bytes, int length) const
{
    return PXFeatureContainerUtil::GetFeatureRegister(m_container, name, bytes, length);
}

bool PXFeatureContainer::GetFeatureRange(const char* name, QVariant& min, QVariant& max, QVariant& inc) const
{
    return PXFeatureContainerUtil::GetFeatureRange(m_container, name, min, max, inc);
}

bool PXFeatureContainer::HasFeature(const char* name, bool& exists) const
{
    return PXFeatureContainerUtil::HasFeature(m_container, name, exists);
}

bool PXFeatureContainer::IsWritable(const char* name, bool& writable) const
{
    return PXFeatureContainerUtil::IsWritable(m_container, name, writable);
}

bool PXFeatureContainer::IsReadable(const char* name, bool& readable) const
{
    return PXFeatureContainerUtil::IsReadable(m_container, name, readable);
}

QStringList PXFeatureContainer::GetSubFeatures(const char* name) const
{
    std::vector<GrbCPP::EnumEntry> entries;
    QStringList names;
    if (!PXFeatureContainerUtil::GetSubFeatures(m_container, name, &entries))
        return names;
    for (const auto& entry : entries)
    {
        std::string entryName;
        if (entry.GetName(entryName) == GrbErrorSuccess)
            names.append(QString::fromUtf8(entryName.c_str()));
    }
    return names;
}
