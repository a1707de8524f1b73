#ifndef DEVICE_PXFEATURECONTAINER_H
#define DEVICE_PXFEATURECONTAINER_H

#include <GrbCPP/FeatureContainer.h>

#include <QObject>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <vector>

// The container family of PXFeatureContainerUtil on one held SDK feature container
// (a camera or a stream). Not locked: callers keep one camera to one thread at a time.
class PXFeatureContainer : public QObject
{
    Q_OBJECT

public:
    explicit PXFeatureContainer(std::shared_ptr<GrbCPP::FeatureContainer> container, QObject* parent = nullptr);
    ~PXFeatureContainer() override;

    bool GetValue(const char* name, QVariant& value) const;
    bool SetValue(const char* name, const QVariant& value);
    bool SetCommand(const char* name, unsigned long timeoutMs);
    bool SetRegisterValue(const char* name, const std::vector<unsigned char>& bytes, int length);
    bool SetRegisterBytes(const char* name, const unsigned char* bytes, size_t size);
    bool GetRegisterValue(const char* name, std::vector<unsigned char>& bytes, int length) const;
    bool GetFeatureRange(const char* name, QVariant& min, QVariant& max, QVariant& inc) const;
    bool HasFeature(const char* name, bool& exists) const;
    bool IsWritable(const char* name, bool& writable) const;
    bool IsReadable(const char* name, bool& readable) const;
    // Names of the entries of an enumeration whose values are available now.
    QStringList GetSubFeatures(const char* name) const;

protected:
    std::shared_ptr<GrbCPP::FeatureContainer> m_container;
};

#endif
