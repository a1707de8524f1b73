#include "CameraPresenceTracker.h"

#include <QDeadlineTimer>
#include <QMutexLocker>

CameraPresenceTracker::CameraPresenceTracker(QObject* parent)
    : QObject(parent)
{
}

void CameraPresenceTracker::Follow(ApiController* controller)
{
    connect(controller, &ApiController::CameraAdded, this, &CameraPresenceTracker::on_controller_CameraAdded);
    connect(controller, &ApiController::CameraRemoved, this, &CameraPresenceTracker::on_controller_CameraRemoved);
}

CameraPresenceTracker::Mark CameraPresenceTracker::Take(const QString& extendedId)
{
    QMutexLocker lock(&m_mutex);
    const State state = m_states.value(extendedId);
    return {state.departures, state.arrivals};
}

CameraPresenceTracker::Outcome CameraPresenceTracker::WaitForReturn(const QString& extendedId, const Mark& mark,
                                                                    int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    QMutexLocker lock(&m_mutex);
    for (;;)
    {
        const State state = m_states.value(extendedId);
        if (state.departures > mark.departures && state.arrivals > mark.arrivals && state.present)
            return Outcome::Back;
        if (deadline.hasExpired())
            return state.departures > mark.departures ? Outcome::NotBack : Outcome::NeverLeft;
        m_changed.wait(&m_mutex, deadline);
    }
}

void CameraPresenceTracker::on_controller_CameraAdded(const CameraInfoMap& camera)
{
    QMutexLocker lock(&m_mutex);
    State& state = m_states[camera.value(QStringLiteral("Extended ID")).toString()];
    ++state.arrivals;
    state.present = true;
    m_changed.wakeAll();
}

void CameraPresenceTracker::on_controller_CameraRemoved(const CameraInfoMap& camera)
{
    QMutexLocker lock(&m_mutex);
    State& state = m_states[camera.value(QStringLiteral("Extended ID")).toString()];
    ++state.departures;
    state.present = false;
    m_changed.wakeAll();
}
