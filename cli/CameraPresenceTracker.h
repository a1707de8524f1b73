#ifndef CLI_CAMERAPRESENCETRACKER_H
#define CLI_CAMERAPRESENCETRACKER_H

#include "sdk/ApiController.h"
#include "sdk/CameraInfoMap.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QWaitCondition>

// Counts the departures and arrivals of cameras that the controller reports, so that
// worker threads can wait for a camera to reset and come back. Lives in the thread
// that owns the controller, which must run an event loop meanwhile.
class CameraPresenceTracker : public QObject
{
    Q_OBJECT

public:
    struct Mark
    {
        quint64 departures = 0;
        quint64 arrivals = 0;
    };
    enum class Outcome
    {
        Back,
        NeverLeft,
        NotBack,
    };

    explicit CameraPresenceTracker(QObject* parent = nullptr);

    void Follow(ApiController* controller);
    // Taken before the reset, so that a camera which leaves and returns before the
    // worker starts waiting is still seen.
    Mark Take(const QString& extendedId);
    // Blocks until the camera has left and come back since mark, or timeoutMs passed.
    Outcome WaitForReturn(const QString& extendedId, const Mark& mark, int timeoutMs);

public slots:
    void on_controller_CameraAdded(const CameraInfoMap& camera);
    void on_controller_CameraRemoved(const CameraInfoMap& camera);

private:
    struct State
    {
        quint64 departures = 0;
        quint64 arrivals = 0;
        bool present = true;
    };

    QMutex m_mutex;
    QWaitCondition m_changed;
    QHash<QString, State> m_states;
};

#endif
