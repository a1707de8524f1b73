#include "InfoCommand.h"

#include "CameraResolver.h"
#include "device/PXDeviceFiles.h"
#include "HumanText.h"
#include "OpenedCamera.h"

#include <QJsonArray>

ExitCode InfoCommand::Run()
{
    CameraInfoMap record;
    const ExitCode found = _resolve(m_options.positional.value(0), record);
    if (found != ExitCode::Success)
        return found;
    OpenedCamera camera(m_session, record);
    QString error;
    if (!camera.Open(error))
        return _fail(ExitCode::Failed, error);

    const QString firmware = camera.Camera()->GetCameraManufacturerInfo();
    PXDeviceFiles catalogue(camera.Camera());
    const bool fileAccess = catalogue.HasFileAccess();
    QJsonArray selectors;
    QStringList selectorTexts;
    int userfiles = -1;
    qint64 free = -1;
    if (fileAccess)
    {
        // The entry the camera had selected is put back afterwards.
        QVariant current;
        camera.Camera()->cameraFeature->GetValue("FileSelector", current);
        for (const QString& selector : catalogue.Selectors())
        {
            QVector<PXDeviceFiles::Entry> files;
            const bool listed =
                selector != PXDeviceFiles::kFirmware && catalogue.Select(selector) && catalogue.List(files);
            QJsonObject entry{{QStringLiteral("name"), selector}};
            if (listed)
            {
                entry.insert(QStringLiteral("files"), files.size());
                selectorTexts << QStringLiteral("%1 (%2)").arg(selector).arg(files.size());
            }
            else
                selectorTexts << selector;
            if (selector == PXDeviceFiles::kUserfile && listed)
                userfiles = files.size();
            selectors.append(entry);
        }
        if (current.isValid())
            catalogue.Select(current.toString());
        if (!catalogue.FreeSpace(free))
            free = -1;
    }

    if (m_options.json)
    {
        QJsonObject document{{QStringLiteral("camera"), CameraResolver::ToJson(record)},
                             {QStringLiteral("firmware"), firmware},
                             {QStringLiteral("fileAccess"), fileAccess},
                             {QStringLiteral("selectors"), selectors}};
        if (userfiles >= 0)
            document.insert(QStringLiteral("files"), userfiles);
        if (free >= 0)
            document.insert(QStringLiteral("freeBytes"), free);
        return _finish(ExitCode::Success, document);
    }

    auto row = [this](const QString& key, const QString& value)
    { m_console.Result(QStringLiteral("%1 %2").arg(key + QLatin1Char(':'), -16).arg(value)); };
    row(QStringLiteral("Camera"), CameraResolver::DisplayLabel(record));
    row(QStringLiteral("Extended ID"), CameraResolver::ExtendedId(record));
    row(QStringLiteral("Name"), record.value(QStringLiteral("Camera Name")).toString());
    row(QStringLiteral("Model"), record.value(QStringLiteral("Model Name")).toString());
    row(QStringLiteral("Serial"), record.value(QStringLiteral("Serial No.")).toString());
    row(QStringLiteral("Firmware"), firmware);
    row(QStringLiteral("Transport layer"), QStringLiteral("%1, interface %2")
                                               .arg(record.value(QStringLiteral("Transport Layer")).toString(),
                                                    record.value(QStringLiteral("Interface")).toString()));
    if (!fileAccess)
    {
        row(QStringLiteral("File access"), QStringLiteral("not supported (no FileSelector feature)"));
        return ExitCode::Success;
    }
    row(QStringLiteral("File selector"), selectorTexts.join(QStringLiteral(", ")));
    row(QStringLiteral("Files"),
        userfiles >= 0 ? QStringLiteral("%1 in Userfile").arg(userfiles) : QStringLiteral("unknown"));
    row(QStringLiteral("Free space"),
        free >= 0 ? QStringLiteral("%1 (%2 bytes)").arg(HumanText::Bytes(free)).arg(free) : QStringLiteral("unknown"));
    return ExitCode::Success;
}
