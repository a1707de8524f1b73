#include "PXCFileAccess.h"

#include "ui_PXCFileAccess.h"

#include "device/PXCamera.h"
#include "device/PXDeviceFiles.h"
#include "device/PXFeatureContainer.h"
#include "device/PXFileNameRule.h"
#include "settings/PXCSettings.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>
#include <QTreeWidgetItem>
#include <QtConcurrent>

#include <algorithm>
#include <future>
#include <memory>

namespace {

const QString& kUserfile = PXDeviceFiles::kUserfile;
const QString& kFirmware = PXDeviceFiles::kFirmware;
const QString kDirectoryGroup = QStringLiteral("Directory");
const QString kDirectoryKey = QStringLiteral("fileAccessFileDir");
// The watcher carries this name from the first firmware upload on; finishTask keys on it.
const QString kFirmwareWatcherName = QStringLiteral("Firmware Update");

// One settings store for the whole program, made on first use in the GUI thread.
PXCSettings& settingsStore()
{
    static PXCSettings store;
    return store;
}

} // namespace

PXCFileAccess::PXCFileAccess(QWidget* parent)
    : QWidget(parent)
    , ui(new Ui_PXCFileAccess)
{
    qRegisterMetaType<LogType>("LogType");
    Q_INIT_RESOURCE(resources);
    ui->setupUi(this);

    ui->treeWidget->setSelectionMode(QAbstractItemView::MultiSelection);
    ui->treeWidget->setDragEnabled(false);
    ui->treeWidget->setDragDropOverwriteMode(false);
    ui->treeWidget->setHeaderLabels({tr("Name"), tr("Size")});
    ui->treeWidget->headerItem()->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    ui->treeWidget->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    ui->treeWidget->headerItem()->setExpanded(true);
    ui->treeWidget->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(ui->treeWidget, &QTreeWidget::customContextMenuRequested, this, &PXCFileAccess::prepareMenu);
    ui->treeWidget->header()->installEventFilter(this);

    ui->fileAccessProgressBar->setRange(0, 100);
    ui->fileAccessProgressBar->setValue(0);
    ui->fileAccessProgressBar->setVisible(true);

    m_saveAsAction = new QAction(QIcon(":/Images/res/save.png"), tr("&Save As..."), this);
    m_saveAsAction->setStatusTip(tr("Save As"));
    connect(m_saveAsAction, &QAction::triggered, this, &PXCFileAccess::saveFileAs);

    connect(&m_watcher, &QFutureWatcher<void>::finished, this, &PXCFileAccess::finishTask);
}

PXCFileAccess::~PXCFileAccess()
{
    if (m_future.isRunning())
        m_future.cancel();
    m_watcher.waitForFinished();
    disconnect(&m_watcher, &QFutureWatcher<void>::finished, this, &PXCFileAccess::finishTask);
    if (m_camera)
    {
        disconnect(m_camera, &PXCamera::updateTransferProcess, this, &PXCFileAccess::onProgressBarValueChanged);
        Reset();
    }
    delete ui;
}

bool PXCFileAccess::Init(PXCamera* camera)
{
    if (!camera)
        return false;
    ui->lblCameraName->setText(camera->GetCameraName() + "\n" + tr("Firmware: ") +
                               camera->GetCameraManufacturerInfo() + "\n");
    m_featureContainer = camera->cameraFeature;
    m_camera = camera;
    connect(m_camera, &PXCamera::updateTransferProcess, this, &PXCFileAccess::onProgressBarValueChanged);
    m_transferTotal = 0;

    const QStringList entries = m_featureContainer->GetSubFeatures("FileSelector");
    ui->comboBox->addItems(entries);
    if (entries.isEmpty())
        return false;

    const bool firmware = ui->comboBox->currentText() == kFirmware;
    _showSelectorControls(firmware, false);
    if (!firmware)
        ui->treeWidget_2->show();
    ui->treeWidget->hide();

    m_lastDirectory = _lastDirectory();
    updateFiles();
    return true;
}

bool PXCFileAccess::Reset()
{
    // The camera goes away below; a transfer still using it has to end first.
    _endRunningTask();
    ui->comboBox->clear();
    ui->treeWidget_2->clear();
    ui->treeWidget->clear();
    if (m_camera)
    {
        delete m_camera;
        m_camera = nullptr;
    }
    // The container belonged to the camera.
    m_featureContainer = nullptr;
    return true;
}

void PXCFileAccess::updateFiles()
{
    ui->lblFirmwareUpdate->hide();
    ui->comboBox->setEnabled(true);
    ui->fileAccessProgressBar->hide();
    ui->treeWidget_2->clear();
    ui->treeWidget->clear();
    ui->lblFileOperation->hide();
    if (!m_featureContainer)
        return;

    PXDeviceFiles files(m_camera);
    QVector<PXDeviceFiles::Entry> entries;
    files.List(entries);
    const int count = entries.size();
    for (const PXDeviceFiles::Entry& entry : entries)
    {
        const QString sizeText = QString::number(double(quint64(entry.size)) * 0.0009765625, 'f', 2) + tr(" KB");
        auto* item = new QTreeWidgetItem(ui->treeWidget, {entry.name, sizeText});
        item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        item->setToolTip(0, entry.name); // the whole name where the column elides it
    }
    const bool hasFiles = count > 0;
    ui->treeWidget_2->setVisible(hasFiles);
    ui->treeWidget->setVisible(hasFiles);
    ui->btnSave->setVisible(hasFiles);
    ui->btnDelete->setVisible(hasFiles);

    qint64 free = 0;
    files.FreeSpace(free);
    const QString countText = count == 1 ? tr("1 element") : tr("%1 elements").arg(count);
    const QString freeText = tr("Filesystem Free Size (%1 )").arg(getFileNameSize(static_cast<int>(free)));
    ui->treeWidget_2->setHeaderLabels({countText, freeText});

    const QString selector = ui->comboBox->currentText();
    const bool firmware = selector == kFirmware;
    const bool userfile = selector == kUserfile;
    _showSelectorControls(firmware, true);
    ui->treeWidget_2->setVisible(!firmware);
    if (!firmware && !userfile)
    {
        ui->treeWidget_2->hide();
        ui->treeWidget->hide();
        ui->btnSave->setText(tr("Download File"));
        ui->btnUpload->setText(tr("Upload File"));
        ui->lblFileStorage->hide();
        ui->btnDelete->hide();
        ui->btnSave->show();
        ui->btnUpload->show();
    }
    else if (userfile)
    {
        ui->btnSave->setText(tr("Download Selected Files"));
        ui->btnDelete->setText(tr("Delete Selected Files"));
        ui->btnUpload->setText(tr("Upload Files To Camera"));
    }

    bool hasSelector = false;
    if (m_featureContainer->HasFeature("FileSelector", hasSelector) && hasSelector)
    {
        ui->btnUpload->setEnabled(true);
        ui->btnSave->setEnabled(true);
        ui->btnUpload->setToolTip(QString());
        ui->btnSave->setToolTip(QString());
    }
    else
    {
        ui->btnUpload->setEnabled(false);
        ui->btnSave->setEnabled(false);
        ui->btnUpload->setToolTip(tr("Uploading to camera is not available"));
        ui->btnSave->setToolTip(tr("Downloading from camera is not available"));
    }
    ui->treeWidget->resizeColumnToContents(0);
    _fitNameColumn();
}

bool PXCFileAccess::eventFilter(QObject* watched, QEvent* event)
{
    // Once the header has stretched its last section to the new width.
    if (watched == ui->treeWidget->header() && event->type() == QEvent::Resize)
        QMetaObject::invokeMethod(this, &PXCFileAccess::_fitNameColumn, Qt::QueuedConnection);
    return QWidget::eventFilter(watched, event);
}

QString PXCFileAccess::getFileNameSize(qint64 size) const
{
    const double bytes = double(size);
    if (bytes < 1)
        return tr("0 Bytes");
    if (bytes >= 1073741824)
        return QString::number(bytes / 1073741824, 'g', 3) + tr(" GB");
    if (bytes >= 1048576)
        return QString::number(bytes / 1048576, 'g', 3) + tr(" MB");
    if (bytes >= 1024)
        return QString::number(bytes / 1024, 'g', 3) + tr(" KB");
    return QString::number(bytes, 'g', 3) + tr(" Bytes");
}

void PXCFileAccess::on_comboBox_currentIndexChanged(int /*index*/)
{
    const QString selector = ui->comboBox->currentText();
    if (m_featureContainer)
        m_featureContainer->SetValue("FileSelector", selector); // sent as its UTF-8 bytes
    const bool firmware = selector == kFirmware;
    _showSelectorControls(firmware, false);
    if (!firmware)
    {
        ui->treeWidget->show();
        updateFiles();
        return;
    }
    ui->treeWidget_2->hide();
}

void PXCFileAccess::on_btnSave_clicked()
{
    const QString selector = ui->comboBox->currentText();
    if (selector != kUserfile)
    {
        saveFileAs();
        return;
    }
    const QString directory =
        QFileDialog::getExistingDirectory(nullptr, tr("Save Files"), _lastDirectory(), QFileDialog::ShowDirsOnly);
    if (directory.isEmpty())
        return;

    QStringList selected;
    QStringList fetch;
    QStringList existing;
    for (const QTreeWidgetItem* item : ui->treeWidget->selectedItems())
    {
        const QString name = item->text(0);
        // The camera's file system is not ours: a name that would lead out of the
        // chosen directory, or onto it, is never written.
        QString why;
        if (!PXFileNameRule::IsAcceptableLocalName(name, &why))
        {
            emit sendLogMessage(tr("Download device file '%1' skipped: %2.").arg(name, why), Error);
            continue;
        }
        selected << name;
        (QFile::exists(directory + "/" + name) ? existing : fetch) << name;
    }

    bool askEach = existing.size() == 1;
    if (existing.size() >= 2)
    {
        const auto answer = QMessageBox::warning(
            this, tr("Replace or Skip Files"),
            tr("Destination has %1 files with the same name.\nReplace all files in the destination?\n")
                .arg(existing.size()),
            QMessageBox::Yes | QMessageBox::NoToAll | QMessageBox::Cancel);
        if (answer == QMessageBox::Yes)
            fetch = selected;
        // "No to All" leads to the questions file by file, not to skipping them all.
        askEach = answer == QMessageBox::NoToAll;
    }
    if (askEach)
    {
        for (const QString& name : existing)
        {
            const auto answer =
                QMessageBox::warning(this, tr("Replace or Skip Files"),
                                     tr("Replace the file %1 in the destination").arg(name),
                                     QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
            if (answer == QMessageBox::Cancel)
                break;
            if (answer == QMessageBox::Yes)
                fetch << name;
        }
    }

    if (!fetch.isEmpty())
    {
        m_fileNames = fetch;
        _startTask([this, names = m_fileNames, directory, selector](QFuture<void> task) {
            saveFiles(names, directory, selector, task);
        });
    }
    // The chosen directory is taken as a file path here, so its parent is what is
    // remembered.
    const QString parent = QFileInfo(directory).dir().absolutePath();
    if (parent != m_lastDirectory)
    {
        settingsStore().Set(kDirectoryGroup, kDirectoryKey, parent);
        m_lastDirectory = parent;
    }
}

bool PXCFileAccess::saveFiles(const QStringList& fileNames, const QString& directory, const QString& selector,
                              QFuture<void> task)
{
    if (!m_camera)
        return true;
    long bytes = 0;
    if (selector == kFirmware || selector == kUserfile)
    {
        for (const QString& name : fileNames)
        {
            _download(directory + "/" + name, name, selector, &bytes);
            if (task.isCanceled())
                break;
        }
    }
    else
    {
        _download(directory + "/" + selector, QString(), selector, &bytes);
    }
    return true;
}

void PXCFileAccess::saveFileAs()
{
    const QString previous = _lastDirectory();
    const QString path = QFileDialog::getSaveFileName(nullptr, tr("Download File As"), previous, "*");
    if (path.isEmpty())
        return;
    _rememberDirectory(QFileInfo(path).dir().absolutePath(), previous);

    const QString deviceFileName = m_saveAsAction->data().toString();
    const QString selector = ui->comboBox->currentText();
    _startTask([this, path, deviceFileName, selector](QFuture<void> task) {
        if (!m_camera)
            return;
        long bytes = 0;
        const bool ok = _download(path, deviceFileName, selector, &bytes);
        if (task.isCanceled())
            return;
        // The device file's name is not part of the line.
        if (ok && bytes != 0)
            emit sendLogMessage(tr("Download device file %1: %2 bytes written.")
                                    .arg(QStringLiteral("successful"), QString::number(bytes)),
                                Info);
        else
            emit sendLogMessage(tr("Download device file %1: %2 bytes written.").arg(tr(" failed"), QString::number(bytes)),
                                Error);
    });
}

void PXCFileAccess::on_btnUpload_clicked()
{
    const QString previous = _lastDirectory();
    QStringList paths;
    if (ui->comboBox->currentText() != kUserfile)
    {
        const QString path = QFileDialog::getOpenFileName(nullptr, tr("Upload file"), previous);
        if (!path.isEmpty())
            paths << path;
    }
    else
    {
        paths = QFileDialog::getOpenFileNames(nullptr, tr("Upload Files"), previous);
    }
    if (paths.isEmpty())
        return;

    m_fileNames = paths;
    const QString selector = ui->comboBox->currentText();
    _startTask([this, paths, selector](QFuture<void> task) { uploadFiles(paths, selector, task); });
    _rememberDirectory(QFileInfo(paths.first()).dir().absolutePath(), previous);
}

bool PXCFileAccess::uploadFiles(const QStringList& localPaths, const QString& selectorEntry, QFuture<void> task)
{
    if (!m_camera)
        return true;
    for (const QString& path : localPaths)
    {
        const QString fileName = QFileInfo(path).fileName();
        long bytes = 0;
        const bool ok = m_camera->UploadLocalFile(fileName.toUtf8().constData(), QFile::encodeName(path).constData(),
                                                  selectorEntry.toUtf8().constData(), &bytes);
        const bool error = !ok || bytes == 0;
        emit sendLogMessage(tr("Upload Local Map '%1'%2: %3 bytes written.")
                                .arg(fileName, error ? tr(" failed") : QString(), QString::number(bytes)),
                            error ? Error : Info);
        if (!ok)
        {
            // A cancelled future is how finishTask learns that a firmware upload failed.
            task.cancel();
            break;
        }
        if (task.isCanceled())
            break;
    }
    return true;
}

void PXCFileAccess::on_btnDelete_clicked()
{
    setFocus();
    QStringList names;
    for (const QTreeWidgetItem* item : ui->treeWidget->selectedItems())
        names << item->text(0);
    ui->btnSave->setEnabled(false);
    ui->btnDelete->setEnabled(false);
    ui->btnUpload->setEnabled(false);
    ui->comboBox->setEnabled(false);

    const QString question = names.size() == 1 ? tr("Are you sure you want to delete this file?\n")
                                               : tr("Are you sure you want to delete the selected files?\n");
    auto confirmed = [&] {
        return QMessageBox::warning(this, tr("Delete Files"), question, QMessageBox::Yes | QMessageBox::No) ==
               QMessageBox::Yes;
    };
    const QString selector = ui->comboBox->currentText();
    const QByteArray slot = selector.toUtf8();
    if (selector != kFirmware && selector != kUserfile)
    {
        if (!confirmed())
        {
            updateFiles();
            return;
        }
        // A slot holds one file: its content goes whatever row is selected.
        if (m_camera)
            m_camera->DeleteDeviceFile("", slot.constData());
    }
    else if (!names.isEmpty())
    {
        if (!confirmed())
        {
            updateFiles();
            return;
        }
        for (const QString& name : names)
            if (m_camera)
                m_camera->DeleteDeviceFile(name.toUtf8().constData(), slot.constData());
    }
    updateFiles();
}

void PXCFileAccess::on_btnFirwUpgrade_clicked()
{
    const QString previous = _lastDirectory();
    const QString path = QFileDialog::getOpenFileName(nullptr, tr("Firmware Upgrade"), previous, tr("ge3 (*.ge3)"));
    if (path.isEmpty())
        return;
    ui->lblFirmwareUpdate->setText(tr("Firmware update might take more than one minute."));
    ui->lblFirmwareUpdate->show();
    ui->lblFileStorage->hide();

    QApplication::setOverrideCursor(Qt::WaitCursor);
    m_waitCursorSet = true;
    m_watcher.setObjectName(kFirmwareWatcherName);
    ui->btnCloseCamera->setEnabled(false);

    m_fileNames = QStringList{path};
    const QString selector = ui->comboBox->currentText();
    _startTask([this, paths = m_fileNames, selector](QFuture<void> task) { uploadFiles(paths, selector, task); });
    emit cameraFirmwareUpdateStarted(true);
    ui->btnSave->setEnabled(false);
    ui->btnDelete->setEnabled(false);
    ui->btnUpload->setEnabled(false);
    ui->comboBox->setEnabled(false);
    _rememberDirectory(QFileInfo(path).dir().absolutePath(), previous);
}

void PXCFileAccess::on_btnCloseCamera_clicked()
{
    ui->lblCameraName->setText(QString());
    // A transfer still running ends first, through its abort path, so that the camera is
    // not closed with a file open on it.
    _endRunningTask();
    emit cameraCloseRequested();
}

void PXCFileAccess::onProgressBarValueChanged(qint64 remaining, QString fileName, QString fileOperation)
{
    ui->fileAccessProgressBar->show();
    ui->lblFileOperation->show();
    if (m_transferTotal == 0)
    {
        ui->lblFileOperation->setText(fileOperation + ": " + fileName);
        m_transferTotal = remaining;
        ui->fileAccessProgressBar->setValue(0);
        return;
    }
    const qint64 percent = (m_transferTotal - remaining) * 100 / m_transferTotal;
    ui->fileAccessProgressBar->setValue(int(percent));
    if (percent > 99)
        m_transferTotal = 0; // the next report starts a new file
}

void PXCFileAccess::finishTask()
{
    if (m_waitCursorSet)
    {
        QApplication::restoreOverrideCursor();
        m_waitCursorSet = false;
    }
    ui->btnFirwUpgrade->setEnabled(true);
    // Once a firmware upload has named the watcher, every later task ends here too.
    if (m_watcher.objectName().contains("Firmware"))
    {
        ui->btnCloseCamera->setEnabled(true);
        if (!m_future.isCanceled())
        {
            QMessageBox::information(
                this, tr("Firmware Update"),
                tr("<p align='center'>Firmware Update successful!<br>The camera will be reset to take effect</p>"),
                QMessageBox::Ok);
            setDeviceReset();
            return;
        }
        QMessageBox::information(this, tr("Firmware Update"),
                                 tr("<p align='center'>Errors occured during firmware update<br>"), QMessageBox::Ok);
    }
    emit cameraFirmwareUpdateStarted(false);
    updateFiles();
}

void PXCFileAccess::setDeviceReset()
{
    const bool reset = m_featureContainer && m_featureContainer->SetCommand("DeviceReset", 0);
    emit cameraFirmwareUpdateStarted(false);
    if (reset)
        emit deviceReset();
}

void PXCFileAccess::prepareMenu(const QPoint& pos)
{
    // The list stays usable during a transfer, but "Save As" would start a second one.
    if (m_future.isRunning())
        return;
    ui->treeWidget->clearSelection();
    QTreeWidgetItem* item = ui->treeWidget->itemAt(pos);
    if (!item)
        return;
    item->setSelected(true);
    m_saveAsAction->setData(item->text(0));
    QMenu menu(this);
    menu.addAction(m_saveAsAction);
    menu.exec(ui->treeWidget->viewport()->mapToGlobal(pos));
}

void PXCFileAccess::_startTask(std::function<void(QFuture<void>)> work)
{
    // The worker needs its own future (to cancel it, or to see it cancelled), which
    // exists only once run() has returned; it waits for it before starting.
    // An upload that broke off never reported its end; the new task starts afresh.
    m_transferTotal = 0;
    auto handOver = std::make_shared<std::promise<QFuture<void>>>();
    std::shared_future<QFuture<void>> own = handOver->get_future().share();
    m_future = QtConcurrent::run([work = std::move(work), own] { work(own.get()); });
    handOver->set_value(m_future);
    m_watcher.setFuture(m_future);
    // The firmware button starts tasks as well; it is not left to start a second one.
    ui->btnFirwUpgrade->setEnabled(false);
    ui->btnSave->setEnabled(false);
    ui->btnDelete->setEnabled(false);
    ui->btnUpload->setEnabled(false);
    ui->comboBox->setEnabled(false);
}

void PXCFileAccess::_endRunningTask()
{
    if (!m_future.isRunning())
        return;
    if (m_camera)
        m_camera->AbortTransfers(true);
    m_future.cancel();
    m_future.waitForFinished();
    if (m_camera)
        m_camera->AbortTransfers(false);
}

void PXCFileAccess::_showSelectorControls(bool firmware, bool listing)
{
    ui->btnFirwUpgrade->setVisible(firmware);
    ui->btnUpload->setVisible(!firmware);
    ui->lblFileStorage->setVisible(!firmware);
    if (!firmware)
    {
        ui->btnSave->setEnabled(true);
        ui->btnDelete->setEnabled(true);
        // The list refresh has shown them, or not, by the number of files.
        if (!listing)
        {
            ui->btnSave->show();
            ui->btnDelete->show();
        }
        return;
    }
    if (!listing)
    {
        ui->btnSave->setEnabled(false);
        ui->btnDelete->setEnabled(false);
    }
    ui->btnSave->hide();
    ui->btnDelete->hide();
    ui->treeWidget->hide();
}

void PXCFileAccess::_fitNameColumn()
{
    // The names get what the sizes leave of the list's width; longer ones elide.
    QTreeWidget* list = ui->treeWidget;
    QHeaderView* header = list->header();
    list->resizeColumnToContents(0); // also lays out rows added since the last paint
    const int names = list->columnWidth(0);
    const QAbstractItemView* view = list; // QTreeView makes sizeHintForColumn protected
    const int sizes = std::max(view->sizeHintForColumn(1), header->sectionSizeHint(1));
    const int width = header->width();
    list->setColumnWidth(0, std::max(header->minimumSectionSize(), std::min(names, width - sizes)));
    // The stretched Size section keeps a least width of its own, which may be more.
    const int excess = header->length() - width;
    if (excess > 0)
        list->setColumnWidth(0, std::max(header->minimumSectionSize(), list->columnWidth(0) - excess));
}

// A file that is there is replaced only once the device file has arrived whole; a new
// file is written in place and keeps what arrived, as the byte count in the log says.
bool PXCFileAccess::_download(const QString& localPath, const QString& deviceFileName, const QString& selector,
                              long* bytesWritten)
{
    *bytesWritten = 0;
    const QFileInfo target(localPath);
    if (target.exists() && (!target.isFile() || !target.isWritable()))
        return false;
    return PXDeviceFiles(m_camera, selector).Download(deviceFileName, localPath, true, bytesWritten);
}

QString PXCFileAccess::_lastDirectory()
{
    return settingsStore().Get(kDirectoryGroup, kDirectoryKey, QVariant()).toString();
}

void PXCFileAccess::_rememberDirectory(const QString& directory, const QString& previous)
{
    if (directory == previous)
        return;
    settingsStore().Set(kDirectoryGroup, kDirectoryKey, directory);
    m_lastDirectory = directory;
}
