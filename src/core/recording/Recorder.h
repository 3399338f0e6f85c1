#pragma once

#include "recording/AppStruct.h"
#include "recording/EntryWriter.h"
#include "recording/ForegroundProbe.h"
#include "recording/IdleSchedule.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

class Clock;
class Platform;

// Turns once-a-second samples of the front application into stored stretches of time.
//
// The owner calls updateApps() once a second while recording (the main window's 1000 ms timer); the
// recorder has no timer of its own, so tests drive it tick by tick with a manual clock.
//
// A stretch is one unbroken run of one application path and one window title. It ends at the tick
// that sees a different path or title; the next stretch starts at that same second, so rows of
// consecutive stretches touch without gaps or overlaps. Times are whole seconds.
//
// Nothing recorded is dropped: stop() (Pause, Exit, closing, a termination signal, the session
// ending) ends and writes the stretch in progress, and the open stretch is stored at least every
// `kCheckpointSeconds` (inserted at its first checkpoint, its end moved at each later one), so a
// crash loses at most that much. A stored row that is linked to a task or deleted while its stretch
// goes on is never touched again; the rest of the stretch goes into a new row that starts where it
// ended. A clock set back past the stretch's start ends the stretch at the last tick before the jump.
// Each tick costs one probe and, only on a change or a checkpoint, one or two statements.
//
// A write that fails (a full disk, a read-only or vanished file) never loses the time silently: the
// stretch is ended where the failure happened and held in memory, recording stops, and
// writeFailed() says why. retryPending() stores what is held once writing works again; the owner
// calls it from a timer while isWriteFailing().
//
// Idle: while "IdleEnabled" is on, `IdleLimit` minutes without input end the current stretch at
// (now - limit) and open an away stretch of util::idle_app() there; the first tick with input again
// ends it and emits awayTimeDetected(). Both settings are read at every tick; the desktop is asked for the
// idle time only when the limit could have been reached since its last answer (see IdleSchedule).
//
// Nothing in front (the platform answers valid = false, e.g. focus on the bare desktop or the instant
// between one window closing and the next being activated): the tick is treated as "no change" and
// the stretch in progress goes on. Ending it would book nothing to anybody and fill the table with
// one-second fragments at every window switch; if the user has really gone, idle detection turns the
// time into away time anyway. No stretch is ever opened from such an answer, and an away stretch
// whose end is seen while nothing is in front lasts until the next real answer.
class Recorder : public QObject
{
    Q_OBJECT
public:
    static constexpr int kCheckpointSeconds = 60;

    Recorder(Platform* platform, Clock* clock, QObject* parent = nullptr);

    bool isRecordingStatus() const { return recording; }
    bool isIdle() const { return idle; }
    // The stretch in progress (an empty AppStruct when none is open).
    const AppStruct& currentApp() const { return current; }
    const QDateTime& currentStart() const { return currentStartTime; }
    // "at hh:mm:ss": when the current or last away stretch began.
    QString awayStartText() const
    {
        return awayStart.isValid() ? QStringLiteral("at ") + awayStart.toString(QStringLiteral("hh:mm:ss")) : QString();
    }

    ForegroundProbe& probe() { return foreground; }

    // How long after the last sample the next one is needed even if the front window stays the same: when
    // the stretch in progress is due to be stored or the idle time due to be read; 1 while away, and never
    // more than kCheckpointSeconds. Asked after a sample.
    int secondsUntilSampleDue() const;

    bool isWriteFailing() const { return writeFailing; }
    // Stretches that ended but are not stored yet.
    int pendingCount() const { return int(pending.size()); }

public slots:
    // Starts recording; the next tick opens a stretch. On an unsupported desktop this reports
    // statusMessage(Platform::unsupportedReason()) and every tick writes nothing.
    void start();
    // Ends and writes the stretch in progress, then stops. The idle flag is kept on purpose: input
    // seen after resuming still reports the away time.
    void stop();
    void startStopRecording(bool on);
    // One sample; call once a second while recording.
    void updateApps();
    // Stores the stretch in progress up to now without ending it (e.g. when the session is about to
    // end and stop() may not get to run).
    void flush();
    // Tries to store the held stretches, oldest first. True when nothing is held any more (and then,
    // if writes had failed, writeRecovered() was emitted).
    bool retryPending();
    // At the very end: whatever is still held goes to the log, stretch by stretch, so it can be
    // entered by hand.
    void logUnstored() const;

signals:
    // A finished stretch has been written. CONTRACT with TreeModel::addTime: each stretch is emitted
    // once, when it ends (a change, stop(), idle), with its final times; rows stored at checkpoints are
    // not announced until then. A receiver that also counts entries it read from the database itself
    // must count an entryId once (a second call with the same entryId adds only the difference to
    // what was counted; that difference is negative when away time took the tail of a stretch whose
    // checkpoint row the receiver had already read). entryId 0 means the insert failed: the time is
    // real but not stored, and such calls must not be merged with each other.
    void entryWritten(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId, int entryId);
    // The user is back after away time: show a notification (information icon, 10000 ms) with this
    // title ("Away time detected") and text ("Duration: ...\nInactivity period: hh:mm:ss - hh:mm:ss").
    void awayTimeDetected(const QString& title, const QString& text);
    // A message for the status bar (the reason recording cannot work in this session).
    void statusMessage(const QString& text);
    void recordingChanged(bool on);
    // A write failed and recording stopped. `reason` is the driver's text; `alreadyReported` is true
    // while an earlier failure has not been followed by a successful write, so the user is told once.
    void writeFailed(const QString& reason, bool alreadyReported);
    // Everything held after a failure is stored now.
    void writeRecovered();

private:
    QDateTime tickTime() const;
    void sample(AppStruct& app, bool valid, const QDateTime& tickNow);
    bool applyIdle(AppStruct& app, QDateTime& now, const QDateTime& tickNow);
    void open(const AppStruct& app, const QDateTime& at);
    // Stores the stretch's end and announces it; returns where it really ended (never inside a row
    // that was linked meanwhile).
    QDateTime finishStretch(QDateTime end);
    void forgetRow();
    void continueInNewRow();
    void checkpointIfDue(const QDateTime& now);
    void persist(const QDateTime& end);
    void reportUnsupported();
    void closeAtZoneChange(const QDateTime& now);
    void closeAtMidnight(const QDateTime& now);
    void closeAfterClockWentBack();
    // Holds the stretch in progress up to `end` (its row `entryId`, stored up to `rowStoredEnd`, when a
    // checkpoint stored it), ends it and stops recording.
    void holdAndStop(const QDateTime& end, int entryId, int appId);
    struct PendingStretch
    {
        QDateTime start;
        QDateTime end;
        AppStruct app;
        int entryId = 0; // a row a checkpoint stored, whose end is to be moved; 0 = insert a new row
        int appId = 0;
        QDateTime rowStoredEnd;
    };
    bool store(PendingStretch& stretch);

    Platform* platform;
    Clock* clock;
    ForegroundProbe foreground;
    EntryWriter writer;
    IdleSchedule idleSchedule;

    bool recording = false;
    bool idle = false;
    bool unsupportedLogged = false;
    AppStruct current;
    QDateTime currentStartTime;
    QDateTime awayStart;
    // The row of the open stretch once a checkpoint stored it (0 before), where that row starts (the
    // stretch's start, unless its first row was linked meanwhile) and up to when it is stored.
    int openEntryId = 0;
    int openAppId = 0;
    QDateTime rowStart;
    QDateTime storedEnd;
    // When the open stretch is next stored.
    QDateTime checkpointDue;
    // The previous tick's time: where a stretch ends when the clock is set back.
    QDateTime lastTick;
    QList<PendingStretch> pending;
    bool writeFailing = false;
};
