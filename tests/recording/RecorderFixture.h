#pragma once

#include "FakePlatform.h"
#include "ManualClock.h"
#include "TempDataFolder.h"
#include "app/Registry.h"
#include "recording/Recorder.h"
#include "store/Database.h"
#include "store/util.h"

#include <QDir>
#include <QSqlQuery>

// One stored row, joined with its application, as the tests compare it.
struct StoredRow
{
    int id = 0;
    QString title;
    QDateTime start;
    QDateTime end;
    QString path;
    QString name;
};

inline QList<StoredRow> storedRows()
{
    QList<StoredRow> rows;
    QSqlQuery query(QStringLiteral("SELECT e.id, e.title, e.start_time, e.end_time, a.path, a.name FROM entries e "
                                   "LEFT JOIN applications a ON a.id = e.application_id ORDER BY e.start_time, e.id"));
    while (query.next()) {
        rows.append({query.value(0).toInt(), query.value(1).toString(),
                     util::sql_to_datetime(query.value(2).toString()), util::sql_to_datetime(query.value(3).toString()),
                     query.value(4).toString(), query.value(5).toString()});
    }
    return rows;
}

// The stored rows, one line each: "09:00:00-09:10:00 Editor: notes.txt".
inline QStringList timeline()
{
    QStringList lines;
    for (const StoredRow& row : storedRows()) {
        lines << QStringLiteral("%1-%2 %3: %4")
                     .arg(row.start.toString(QStringLiteral("hh:mm:ss")), row.end.toString(QStringLiteral("hh:mm:ss")),
                          row.name, row.title);
    }
    return lines;
}

// A recorder on a real database file in a fresh data folder, a fake desktop with the editor in front
// showing "notes.txt", and a hand-moved clock at 09:00:00.
struct RecorderFixture
{
    RecorderFixture()
    {
        Registry::drop();
        QDir().mkpath(folder.dataFolder());
        QString error;
        opened = database.open(folder.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error);
        Registry::instance()->setIdleEnabled(true);
        Registry::instance()->setIdleLimit(5);
        Registry::instance()->setTitleCleanupEnabled(true);
        platform.setWindow(QStringLiteral("Editor"), kEditor, QStringLiteral("notes.txt"));
    }
    ~RecorderFixture() { Registry::drop(); }

    // Moves the clock and runs one tick. When `skipQuietSeconds`, as on a desktop that announces its changes:
    // a tick samples only after an announcement or once the recorder says a sample is due (tick(0), a
    // second sample within the same second, always samples).
    void tick(int seconds = 1)
    {
        clock.advance(seconds);
        sinceSample += qAbs(seconds);
        if (skipQuietSeconds && seconds != 0 && !announced && sinceSample < recorder.secondsUntilSampleDue()) {
            return;
        }
        announced = false;
        sinceSample = 0;
        recorder.updateApps();
    }
    // `seconds` ticks one second apart, the idle time growing by one each tick when `away`.
    void ticks(int seconds, bool away = false)
    {
        for (int i = 0; i < seconds; ++i) {
            if (away) {
                ++platform.idle;
            }
            tick();
        }
    }

    static inline const QString kEditor = QStringLiteral("/usr/share/applications/editor.desktop");
    TempDataFolder folder;
    Database database;
    bool opened = false;
    FakePlatform platform;
    ManualClock clock{QDateTime(QDate(2026, 11, 16), QTime(9, 0, 0))};
    Recorder recorder{&platform, &clock};
    bool skipQuietSeconds = false;
    bool announced = false;
    int sinceSample = 0;
};
