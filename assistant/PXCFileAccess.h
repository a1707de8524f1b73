#ifndef PXCFILEACCESS_H
#define PXCFILEACCESS_H

#include "assistant/LogType.h"

#include <QFuture>
#include <QFutureWatcher>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <functional>

class PXCamera;
class PXFeatureContainer;
class QAction;
class QPoint;
class Ui_PXCFileAccess;

// The files one open camera keeps in its own storage: the list with sizes and free
// space, downloads, uploads, deletion and the firmware update. Transfers run one at a
// time on the global thread pool; the panel owns the camera from Init until Reset.
class PXCFileAccess : public QWidget
{
    Q_OBJECT

public:
    explicit PXCFileAccess(QWidget* parent = nullptr);
    ~PXCFileAccess() override;

    bool Init(PXCamera* camera);
    bool Reset();
    void updateFiles();
    QString getFileNameSize(qint64 size) const;

signals:
    void deviceReset();
    void cameraFirmwareUpdateStarted(bool started);
    void cameraCloseRequested();
    void sendLogMessage(const QString& message, LogType type);

public slots:
    void on_btnSave_clicked();
    void on_btnUpload_clicked();
    void on_comboBox_currentIndexChanged(int index);
    void on_btnDelete_clicked();
    void on_btnFirwUpgrade_clicked();
    void on_btnCloseCamera_clicked();
    void onProgressBarValueChanged(qint64 remaining, QString fileName, QString fileOperation);
    void finishTask();
    void setDeviceReset();
    void prepareMenu(const QPoint& pos);
    void saveFileAs();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Worker bodies; task is the future of the background task they run in.
    bool saveFiles(const QStringList& fileNames, const QString& directory, const QString& selector,
                   QFuture<void> task);
    bool uploadFiles(const QStringList& localPaths, const QString& selectorEntry, QFuture<void> task);

    void _startTask(std::function<void(QFuture<void>)> work);
    void _endRunningTask();
    // The controls of the selected entry: only the firmware button for "Firmware", the
    // transfer buttons for every other entry. listing: from the list refresh.
    void _showSelectorControls(bool firmware, bool listing);
    void _fitNameColumn();
    bool _download(const QString& localPath, const QString& deviceFileName, const QString& selector,
                   long* bytesWritten);
    QString _lastDirectory();
    void _rememberDirectory(const QString& directory, const QString& previous);

    Ui_PXCFileAccess* ui;
    PXFeatureContainer* m_featureContainer = nullptr;
    PXCamera* m_camera = nullptr;
    QFutureWatcher<void> m_watcher;
    QFuture<void> m_future;
    qint64 m_transferTotal = 0;
    QString m_lastDirectory;
    QStringList m_fileNames;
    QAction* m_saveAsAction = nullptr;
    // Whether the firmware action's wait cursor is still up; only that one is taken back.
    bool m_waitCursorSet = false;
};

#endif
