#ifndef CLI_TRANSFERPROGRESS_H
#define CLI_TRANSFERPROGRESS_H

#include "CliConsole.h"

#include "device/PXCamera.h"

#include <QElapsedTimer>
#include <QMap>
#include <QMetaObject>
#include <QMutex>
#include <QObject>
#include <QString>

// Follows the progress signal of the cameras' transfers. On a terminal one line at the
// bottom of standard error shows file, bytes, percent, rate and time left (several
// transfers at once are summed up); otherwise a plain line at each quarter. Transfers
// may run on any thread.
class TransferProgress : public QObject
{
    Q_OBJECT

public:
    explicit TransferProgress(CliConsole& console, QObject* parent = nullptr);

    // Starts following camera's transfer of total bytes; returns the track to end.
    int Begin(PXCamera* camera, const QString& label, qint64 total);
    void Update(int track, qint64 remaining);
    void End(int track);

private:
    struct Track
    {
        QString label;
        qint64 total = 0;
        qint64 done = 0;
        int quarter = 0;
        QMetaObject::Connection connection;
    };

    void _draw(bool force);

    CliConsole& m_console;
    QMutex m_mutex;
    QMap<int, Track> m_tracks;
    int m_next = 1;
    QElapsedTimer m_clock;
    qint64 m_lastDrawMs = -1;
};

#endif
