#include "FileAccessClient.h"

#include "GrbTestSupport.h"

#include <algorithm>
#include <vector>

FileAccessClient::FileAccessClient(GrbCPP::CameraPtr camera)
    : m_camera(std::move(camera))
{
}

GrbErrorType FileAccessClient::_Step(const char* feature, GrbErrorType err)
{
    m_failedStep = err == GrbErrorSuccess ? QString() : QString::fromLatin1(feature);
    return err;
}

GrbErrorType FileAccessClient::_SetInt(const char* feature, qint64 value)
{
    return _Step(feature, GrbTest::SetFeature(*m_camera, feature, int64_t{value}));
}

GrbErrorType FileAccessClient::_SetText(const char* feature, const QString& value)
{
    const QByteArray text = value.toUtf8();
    return _Step(feature, GrbTest::SetFeature(*m_camera, feature, text.constData()));
}

GrbErrorType FileAccessClient::_GetInt(const char* feature, qint64& value)
{
    int64_t v = 0;
    GrbErrorType err = _Step(feature, GrbTest::GetFeature(*m_camera, feature, v));
    value = v;
    return err;
}

GrbErrorType FileAccessClient::_SetLength(qint64 length)
{
    GrbCPP::FeaturePtr feature;
    bool writable = false;
    GrbErrorType err = m_camera->GetFeatureByName("FileAccessLength", feature);
    if (err == GrbErrorSuccess)
        err = feature->IsWritable(writable);
    if (err != GrbErrorSuccess)
        return _Step("FileAccessLength", err);
    // A device whose length is read-only takes it from the buffer access.
    return writable ? _SetInt("FileAccessLength", length) : _Step("FileAccessLength", GrbErrorSuccess);
}

GrbErrorType FileAccessClient::_Execute(const char* operation)
{
    if (GrbErrorType err = _SetText("FileOperationSelector", QString::fromLatin1(operation)))
        return err;
    return _Step("FileOperationExecute", GrbTest::RunCommand(*m_camera, "FileOperationExecute"));
}

GrbErrorType FileAccessClient::Select(const QString& selector, const QString& name)
{
    if (GrbErrorType err = _SetText("FileSelector", selector))
        return err;
    return name.isEmpty() ? GrbErrorSuccess : _SetText("Filename", name);
}

GrbErrorType FileAccessClient::Open(const QString& mode)
{
    if (GrbErrorType err = _SetText("FileOpenMode", mode))
        return err;
    return _Execute("Open");
}

GrbErrorType FileAccessClient::Close()
{
    return _Execute("Close");
}

GrbErrorType FileAccessClient::Delete()
{
    return _Execute("Delete");
}

GrbErrorType FileAccessClient::Write(qint64 offset, const QByteArray& bytes)
{
    if (GrbErrorType err = _SetInt("FileAccessOffset", offset))
        return err;
    if (GrbErrorType err = _SetLength(bytes.size()))
        return err;
    GrbCPP::FeaturePtr buffer;
    GrbErrorType err = m_camera->GetFeatureByName("FileAccessBuffer", buffer);
    if (err == GrbErrorSuccess)
        err = buffer->SetValue(reinterpret_cast<const unsigned char*>(bytes.constData()),
                               static_cast<unsigned int>(bytes.size()));
    if (_Step("FileAccessBuffer", err) != GrbErrorSuccess)
        return err;
    return _Execute("Write");
}

GrbErrorType FileAccessClient::Read(qint64 offset, qint64 length, QByteArray& bytes)
{
    bytes.clear();
    if (GrbErrorType err = _SetInt("FileAccessOffset", offset))
        return err;
    if (GrbErrorType err = _SetLength(length))
        return err;
    if (GrbErrorType err = _Execute("Read"))
        return err;
    qint64 done = 0;
    if (GrbErrorType err = _GetInt("FileOperationResult", done))
        return err;
    GrbCPP::FeaturePtr buffer;
    unsigned int size = 0;
    GrbErrorType err = m_camera->GetFeatureByName("FileAccessBuffer", buffer);
    if (err == GrbErrorSuccess)
        err = buffer->GetValue(static_cast<unsigned char*>(nullptr), size);
    std::vector<unsigned char> staging(size);
    if (err == GrbErrorSuccess)
        err = buffer->GetValue(staging.data(), size);
    if (_Step("FileAccessBuffer", err) != GrbErrorSuccess)
        return err;
    bytes = QByteArray(reinterpret_cast<const char*>(staging.data()),
                       static_cast<int>(std::min<qint64>(done, size)));
    return GrbErrorSuccess;
}

GrbErrorType FileAccessClient::Upload(const QString& selector, const QString& name, const QByteArray& data, int chunk)
{
    if (GrbErrorType err = Select(selector, name))
        return err;
    if (GrbErrorType err = Open(QStringLiteral("Write")))
        return err;
    for (int offset = 0; offset < data.size(); offset += chunk)
        if (GrbErrorType err = Write(offset, data.mid(offset, chunk)))
            return err;
    return Close();
}

GrbErrorType FileAccessClient::Download(const QString& selector, const QString& name, QByteArray& data, int chunk)
{
    data.clear();
    if (GrbErrorType err = Select(selector, name))
        return err;
    if (GrbErrorType err = Open(QStringLiteral("Read")))
        return err;
    qint64 size = 0;
    if (GrbErrorType err = _GetInt("FileSize", size))
        return err;
    while (data.size() < size)
    {
        QByteArray bytes;
        if (GrbErrorType err = Read(data.size(), std::min<qint64>(chunk, size - data.size()), bytes))
            return err;
        if (bytes.isEmpty())
            return _Step("FileOperationResult", GrbErrorInvalidValue);
        data += bytes;
    }
    return Close();
}

GrbErrorType FileAccessClient::List(const QString& selector, QStringList& names)
{
    names.clear();
    if (GrbErrorType err = Select(selector))
        return err;
    qint64 count = 0;
    if (GrbErrorType err = _GetInt("FilenameCount", count))
        return err;
    for (qint64 i = 0; i < count; ++i)
    {
        if (GrbErrorType err = _SetInt("FilenameIndex", i))
            return err;
        std::string name;
        if (GrbErrorType err = _Step("Filename", GrbTest::GetFeatureText(*m_camera, "Filename", name)))
            return err;
        names << QString::fromStdString(name);
    }
    return GrbErrorSuccess;
}

GrbErrorType FileAccessClient::FileSize(const QString& selector, const QString& name, qint64& size)
{
    if (GrbErrorType err = Select(selector, name))
        return err;
    return _GetInt("FileSize", size);
}

GrbErrorType FileAccessClient::FreeSpace(qint64& bytes)
{
    return _GetInt("FilesystemFreeSize", bytes);
}

QString FileAccessClient::Status() const
{
    std::string status;
    if (GrbTest::GetFeatureText(*m_camera, "FileOperationStatus", status) != GrbErrorSuccess)
        return QString();
    return QString::fromStdString(status);
}
