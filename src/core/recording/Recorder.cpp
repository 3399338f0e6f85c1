#include "recording/Recorder.h"

#include "app/Clock.h"
#include "app/Registry.h"
#include "platform/Platform.h"
#include "recording/AppIcons.h"
#include "store/util.h"

#include <QDebug>
#include <QTimeZone>

namespace {
int idleLimitSeconds()
{
    // A limit under a minute (a hand-edited settings file) would book everything as away time.
    return qMax(1, Registry::instance()->idleLimit()) * 60;
}
} // namespace

Recorder::Recorder(Platform* platform, Clock* clock, QObject* parent)
    : QObject(parent), platform(platform), clock(clock), foreground(platform)
{
}

void Recorder::start()
{
    if (recording) {
        return;
    }
    recording = true;
    current = AppStruct();
    openEntryId = 0;
    openAppId = 0;
    if (!platform->isSupported()) {
        reportUnsupported();
        emit statusMessage(platform->unsupportedReason());
    }
    emit recordingChanged(true);
}

void Recorder::stop()
{
    if (!recording) {
        return;
    }
    if (!current.path.isEmpty()) {
        finishStretch(tickTime());
        if (!recording) {
            return; // the write failed: the stretch is held and recording has stopped already
        }
    }
    current = AppStruct();
    recording = false;
    emit recordingChanged(false);
}

void Recorder::startStopRecording(bool on)
{
    if (on) {
        start();
    } else {
        stop();
    }
}

void Recorder::flush()
{
    if (!recording || current.path.isEmpty()) {
        return;
    }
    const QDateTime now = tickTime();
    if (now > rowStart) {
        persist(now);
    }
}

QDateTime Recorder::tickTime() const
{
    // Rows are stored to the second; dropping the milliseconds here keeps an end and the next start equal.
    // Local-time arithmetic asks the time-zone database, so it is skipped when there is nothing to do.
    const QDateTime now = clock->now();
    const int msec = now.time().msec();
    return msec == 0 ? now : now.addMSecs(-msec);
}

void Recorder::updateApps()
{
    if (!recording) {
        return;
    }
    if (!platform->isSupported()) {
        // The desktop stopped answering while recording (its compositor went away): what was seen
        // ends at the last good tick, and none of the time after it is booked to that window.
        if (!current.path.isEmpty()) {
            finishStretch(lastTick.isValid() ? lastTick : tickTime());
            current = AppStruct();
            emit statusMessage(platform->unsupportedReason());
        }
        reportUnsupported();
        return;
    }
    bool valid = false;
    AppStruct app = foreground.getForegroundApp(&valid);
    const QDateTime tickNow = tickTime();
    sample(app, valid, tickNow);
    lastTick = tickNow;
}

int Recorder::secondsUntilSampleDue() const
{
    // While away the idle time is due at every second, so every second is sampled.
    const qint64 now = lastTick.toSecsSinceEpoch();
    qint64 seconds = kCheckpointSeconds;
    if (!current.path.isEmpty()) {
        seconds = qMin(seconds, checkpointDue.toSecsSinceEpoch() - now);
    }
    if (Registry::instance()->idleEnabled()) {
        seconds = qMin(seconds, idleSchedule.secondsUntilDue(now, idleLimitSeconds()));
    }
    return int(qMax<qint64>(1, seconds));
}

void Recorder::sample(AppStruct& app, bool valid, const QDateTime& tickNow)
{
    QDateTime now = tickNow;

    if (Registry::instance()->idleEnabled()) {
        valid = applyIdle(app, now, tickNow) || valid;
    }
    if (!valid) {
        checkpointIfDue(tickNow);
        return;
    }
    if (!current.path.isEmpty() && tickNow < currentStartTime) {
        closeAfterClockWentBack();
        if (!recording) {
            return;
        }
    }
    if (current.path.isEmpty()) {
        open(app, tickNow);
        return;
    }
    if (tickNow.offsetFromUtc() != rowStart.offsetFromUtc()) {
        closeAtZoneChange(tickNow);
    }
    if (tickNow.date() != rowStart.date()) {
        closeAtMidnight(tickNow);
    }
    if (app.sameStretchAs(current)) {
        checkpointIfDue(tickNow);
        return;
    }
    const QDateTime end = finishStretch(qMax(now, currentStartTime));
    if (recording) {
        open(app, end);
    }
}

// Returns true when the idle logic replaced the sample (entering or staying away).
bool Recorder::applyIdle(AppStruct& app, QDateTime& now, const QDateTime& tickNow)
{
    const int limit = idleLimitSeconds();
    const qint64 nowSecs = tickNow.toSecsSinceEpoch();
    if (!idle && !idleSchedule.due(nowSecs, limit)) {
        return false; // the user cannot have been away long enough since the last reading
    }
    const int idleSeconds = platform->idleSeconds();
    idleSchedule.noteReading(nowSecs, idleSeconds);
    if (idleSeconds >= limit) {
        if (!idle) {
            idle = true;
            qDebug() << "Entered IDLE";
            app = util::idle_app();
            now = tickNow.addSecs(-limit);
            // The stretch in progress may have begun after the last input (a title that changed by
            // itself); the away stretch then starts with it, never before it.
            if (!current.path.isEmpty() && now < currentStartTime) {
                now = currentStartTime;
            }
            return true;
        }
        if (current.path.isEmpty()) {
            // Recording resumed while still away: the away stretch starts now.
            app = util::idle_app();
        } else {
            app = current;
        }
        return true;
    }
    if (idle) {
        idle = false;
        qDebug() << "out of idle";
        const QDateTime from = awayStart.isValid() ? awayStart : tickNow;
        const QString text = QStringLiteral("Duration: ") + util::format_time(int(from.secsTo(tickNow))) +
                             QStringLiteral("\nInactivity period: ") + from.toString(QStringLiteral("hh:mm:ss")) +
                             QStringLiteral(" - ") + tickNow.toString(QStringLiteral("hh:mm:ss"));
        emit awayTimeDetected(QStringLiteral("Away time detected"), text);
    }
    return false;
}

void Recorder::open(const AppStruct& app, const QDateTime& at)
{
    current = app;
    currentStartTime = at;
    rowStart = at;
    checkpointDue = at.addSecs(kCheckpointSeconds);
    forgetRow();
    if (idle && app.path == QLatin1String(util::kIdleAppPath)) {
        awayStart = at;
    }
}

void Recorder::forgetRow()
{
    openEntryId = 0;
    openAppId = 0;
}

void Recorder::continueInNewRow()
{
    // The stored row was linked to a task or deleted while its stretch went on. It is left as it is
    // (its time may already be on the service); the rest of the stretch goes into a new row after it.
    qDebug() << "entry" << openEntryId << "changed while it was being recorded; the stretch goes on in a new row";
    rowStart = storedEnd;
    forgetRow();
}

QDateTime Recorder::finishStretch(QDateTime end)
{
    if (end < currentStartTime) {
        // The wall clock went back (a clock or time-zone correction): keep what was stored.
        end = qMax(lastTick, currentStartTime);
    }
    if (openEntryId != 0) {
        if (end > rowStart) {
            const EntryWriter::RowChange change = writer.updateDbEntryEnd(openEntryId, end);
            if (change == EntryWriter::RowChange::Failed) {
                holdAndStop(end, openEntryId, openAppId);
                return end;
            }
            if (change == EntryWriter::RowChange::Done) {
                emit entryWritten(rowStart, end, current, openAppId, openEntryId);
                forgetRow();
                return end;
            }
            continueInNewRow();
            end = qMax(end, rowStart);
        } else {
            // Away time took the whole stretch: the row a checkpoint stored goes again rather than
            // showing as an empty entry.
            if (writer.removeDbEntry(openEntryId) == EntryWriter::RowChange::Gone) {
                continueInNewRow();
            }
            forgetRow();
            return qMax(end, rowStart);
        }
    }
    end = qMax(end, rowStart);
    // Two ticks within one second store nothing.
    if (end > rowStart) {
        const QPair<int, int> ids = writer.addDbTime(rowStart, end, current);
        if (ids.second == 0) {
            holdAndStop(end, 0, 0);
            return end;
        }
        emit entryWritten(rowStart, end, current, ids.first, ids.second);
    }
    forgetRow();
    return end;
}

void Recorder::checkpointIfDue(const QDateTime& now)
{
    // Comparing two local times of the same zone needs no time-zone look-up; subtracting them would.
    if (current.path.isEmpty() || now < checkpointDue) {
        return;
    }
    persist(now);
}

void Recorder::closeAfterClockWentBack()
{
    // The wall clock was set back past the start of the stretch in progress: it ends at the last tick
    // before the jump, and a new stretch starts now.
    qWarning() << "The clock went back from" << lastTick.toString(Qt::ISODate) << "to"
               << tickTime().toString(Qt::ISODate);
    finishStretch(lastTick);
    current = AppStruct();
}

void Recorder::closeAtZoneChange(const QDateTime& now)
{
    // Rows hold local wall-clock texts, and the hour the clock goes back in autumn reads the same
    // twice. So no row spans a daylight-saving change: the stretch ends one second before it, while
    // the old offset still holds (the texts of both ends then read in the same pass of that hour),
    // and goes on in a new row from the change.
    const QDateTime change = QTimeZone::systemTimeZone().previousTransition(now.addSecs(1)).atUtc.toLocalTime();
    if (!change.isValid() || change <= rowStart || change > now) {
        return;
    }
    const AppStruct app = current;
    finishStretch(change.addSecs(-1));
    open(app, change);
}

void Recorder::closeAtMidnight(const QDateTime& now)
{
    // Days are days: a stretch that goes on past midnight ends there and continues in a new row from
    // 00:00:00, so every row (and every view, report and summary) lies within one day. Like any
    // checkpoint, the split is stored at once, so it survives a crash.
    const QDateTime midnight = now.date().startOfDay();
    if (!midnight.isValid() || midnight <= rowStart || midnight > now) {
        return;
    }
    const AppStruct app = current;
    finishStretch(midnight);
    open(app, midnight);
}

void Recorder::persist(const QDateTime& end)
{
    // Whatever the outcome, wait a full interval before trying again: a tick must stay cheap even when
    // the database is failing.
    checkpointDue = end.addSecs(kCheckpointSeconds);
    if (openEntryId != 0) {
        const EntryWriter::RowChange change = writer.updateDbEntryEnd(openEntryId, end);
        if (change == EntryWriter::RowChange::Failed) {
            holdAndStop(end, openEntryId, openAppId);
            return;
        }
        if (change == EntryWriter::RowChange::Done) {
            storedEnd = end;
            return;
        }
        continueInNewRow();
    }
    if (end <= rowStart) {
        return;
    }
    const QPair<int, int> ids = writer.addDbTime(rowStart, end, current);
    if (ids.second == 0) {
        holdAndStop(end, 0, 0);
        return;
    }
    openAppId = ids.first;
    openEntryId = ids.second;
    storedEnd = end;
}

void Recorder::reportUnsupported()
{
    if (!unsupportedLogged) {
        unsupportedLogged = true;
        qWarning() << "Recording disabled:" << platform->unsupportedReason();
    }
}

void Recorder::holdAndStop(const QDateTime& end, int entryId, int appId)
{
    PendingStretch stretch;
    stretch.start = rowStart;
    stretch.end = end;
    stretch.app = current;
    stretch.entryId = entryId;
    stretch.appId = appId;
    stretch.rowStoredEnd = storedEnd;
    pending.append(stretch);
    qWarning() << "Recording stopped, a write failed:" << writer.lastError();

    // The held stretch ends here; recording resumes with a new one once writing works again.
    current = AppStruct();
    forgetRow();
    const bool alreadyReported = writeFailing;
    writeFailing = true;
    if (recording) {
        recording = false;
        emit recordingChanged(false);
    }
    emit writeFailed(writer.lastError(), alreadyReported);
}

bool Recorder::store(PendingStretch& stretch)
{
    if (stretch.entryId != 0) {
        const EntryWriter::RowChange change = writer.updateDbEntryEnd(stretch.entryId, stretch.end);
        if (change == EntryWriter::RowChange::Failed) {
            return false;
        }
        if (change == EntryWriter::RowChange::Done) {
            emit entryWritten(stretch.start, stretch.end, stretch.app, stretch.appId, stretch.entryId);
            return true;
        }
        // Linked or deleted meanwhile: what the row did not hold goes into a row of its own.
        stretch.start = qMax(stretch.start, stretch.rowStoredEnd);
        stretch.entryId = 0;
    }
    if (stretch.end <= stretch.start) {
        return true;
    }
    const QPair<int, int> ids = writer.addDbTime(stretch.start, stretch.end, stretch.app);
    if (ids.second == 0) {
        return false;
    }
    emit entryWritten(stretch.start, stretch.end, stretch.app, ids.first, ids.second);
    return true;
}

bool Recorder::retryPending()
{
    while (!pending.isEmpty()) {
        if (!store(pending.first())) {
            return false;
        }
        pending.removeFirst();
    }
    if (writeFailing) {
        writeFailing = false;
        qDebug() << "Writing works again; the held time is stored";
        emit writeRecovered();
    }
    return true;
}

void Recorder::logUnstored() const
{
    for (const PendingStretch& stretch : pending) {
        qWarning().noquote() << "Not stored (the database could not be written):" << stretch.start.toString(Qt::ISODate)
                             << "-" << stretch.end.toString(Qt::ISODate) << stretch.app.name << "-"
                             << stretch.app.title;
    }
}
