#include "TransferProgress.h"

#include "CliTable.h"
#include "HumanText.h"

#include <QMutexLocker>

#include <algorithm>

namespace {

constexpr qint64 kRedrawMs = 100;
// Room for " 100% 1023.9 MiB/1023.9 MiB 1023.9 MiB/s 0:00:00 left".
constexpr int kTailWidth = 52;
constexpr int kLeastBar = 10;
constexpr int kMostBar = 40;
// What is left of a long label before the numbers give up parts.
constexpr int kLeastLabel = 12;

} // namespace

TransferProgress::TransferProgress(CliConsole& console, QObject* parent)
    : QObject(parent)
    , m_console(console)
{
}

int TransferProgress::Begin(PXCamera* camera, const QString& label, qint64 total)
{
    QMutexLocker lock(&m_mutex);
    const int track = m_next++;
    if (m_tracks.isEmpty())
    {
        m_clock.start();
        m_lastDrawMs = -1;
    }
    Track& t = m_tracks[track];
    t.label = label;
    t.total = std::max<qint64>(total, 0);
    // Direct: the transfer runs on a worker thread that has no event loop.
    if (camera)
        t.connection = connect(
            camera, &PXCamera::updateTransferProcess, this,
            [this, track](qint64 remaining, const QString&, const QString&) { Update(track, remaining); },
            Qt::DirectConnection);
    _draw(true);
    return track;
}

void TransferProgress::Update(int track, qint64 remaining)
{
    QString note;
    {
        QMutexLocker lock(&m_mutex);
        auto it = m_tracks.find(track);
        if (it == m_tracks.end())
            return;
        it->done = std::clamp<qint64>(it->total - remaining, 0, it->total);
        if (!m_console.ErrIsTerminal() && it->total > 0)
        {
            const int quarter = static_cast<int>(it->done * 4 / it->total);
            // A line each time another quarter is passed, with the share actually done;
            // the last quarter is the command's own result line.
            if (quarter > it->quarter && quarter < 4)
                note = QStringLiteral("%1: %2% (%3 of %4 bytes)")
                           .arg(it->label)
                           .arg(it->done * 100 / it->total)
                           .arg(it->done)
                           .arg(it->total);
            it->quarter = std::max(it->quarter, quarter);
        }
        _draw(false);
    }
    if (!note.isEmpty())
        m_console.Note(note);
}

void TransferProgress::End(int track)
{
    QMutexLocker lock(&m_mutex);
    auto it = m_tracks.find(track);
    if (it == m_tracks.end())
        return;
    disconnect(it->connection);
    m_tracks.erase(it);
    if (m_tracks.isEmpty())
    {
        if (!m_console.Quiet())
            m_console.Status(QString());
    }
    else
        _draw(true);
}

void TransferProgress::_draw(bool force)
{
    if (!m_console.ErrIsTerminal() || m_console.Quiet() || m_tracks.isEmpty())
        return;
    const qint64 now = m_clock.elapsed();
    if (!force && m_lastDrawMs >= 0 && now - m_lastDrawMs < kRedrawMs)
        return;
    m_lastDrawMs = now;

    qint64 total = 0;
    qint64 done = 0;
    for (const Track& t : m_tracks)
    {
        total += t.total;
        done += t.done;
    }
    const QString label =
        m_tracks.size() == 1 ? m_tracks.first().label : QStringLiteral("%1 transfers").arg(m_tracks.size());
    const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 0;
    const double seconds = now / 1000.0;
    const double rate = seconds > 0.05 ? done / seconds : 0.0;
    // The parts of the numbers, in the order a narrow terminal gives them up: the time
    // left first, then the byte counts; the share done and the rate stay.
    const QString share = QStringLiteral("%1%").arg(percent, 3);
    const QString bytes = QStringLiteral("%1/%2").arg(HumanText::Bytes(done), HumanText::Bytes(total));
    const QString speed = rate > 0 ? HumanText::Rate(rate) : QString();
    const QString left = rate > 0 && done < total
                             ? QStringLiteral("%1 left").arg(HumanText::Clock(static_cast<qint64>((total - done) / rate + 0.5)))
                             : QString();
    auto numbers = [&](int parts) {
        QStringList shown{share};
        if (parts > 2)
            shown << bytes;
        if (!speed.isEmpty())
            shown << speed;
        if (parts > 3 && !left.isEmpty())
            shown << left;
        return QLatin1Char(' ') + shown.join(QLatin1Char(' '));
    };

    // Everything on one line short of the last column, or the terminal wraps it and the
    // next redraw cannot take it back. The bar goes first when room is short; while it
    // is drawn, the numbers are given a fixed width so that it keeps its length.
    const int width = m_console.Width() - 1;
    const int shortLabel = std::min(int(label.size()), kLeastLabel);
    QString line;
    if (width - kTailWidth - shortLabel - 3 >= kLeastBar)
    {
        const QString name = CliTable::Elided(label, std::max(kLeastLabel, (width - kTailWidth) / 2), Qt::ElideRight);
        const int barWidth = std::min(kMostBar, width - kTailWidth - int(name.size()) - 3);
        const int filled = total > 0 ? static_cast<int>(done * barWidth / total) : 0;
        line = name + QStringLiteral(" [") + QString(filled, QLatin1Char('#')) +
               QString(barWidth - filled, QLatin1Char('.')) + QLatin1Char(']') + numbers(4);
    }
    else
    {
        int parts = 4;
        while (parts > 2 && shortLabel + numbers(parts).size() > width)
            --parts;
        line = CliTable::Elided(label, width - int(numbers(parts).size()), Qt::ElideRight) + numbers(parts);
    }
    m_console.Status(line.left(width));
}
