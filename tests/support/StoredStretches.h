#pragma once

#include "TempDataFolder.h"
#include "TestKit.h"
#include "store/util.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QScopeGuard>
#include <QSqlDatabase>

#include <csignal>

// For tests that watch the real program record: what it has stored so far, read on a connection of
// the test's own while the program may still be writing.
namespace StoredStretches {

struct Stretch
{
    QDateTime start;
    QDateTime end;
    QString application;
};

// The first stored stretch with this title; invalid times when there is none yet. Rows that touch
// are one stretch: the recorder splits a stretch at midnight, and a run may cross it.
inline Stretch find(const QString& databasePath, const QString& title)
{
    Stretch stretch;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("reader"));
        db.setDatabaseName(databasePath);
        if (db.open()) {
            QSqlQuery q(db);
            q.prepare(QStringLiteral("SELECT e.start_time, e.end_time, a.name FROM entries e LEFT JOIN "
                                     "applications a ON a.id = e.application_id WHERE e.title = :t "
                                     "ORDER BY e.start_time"));
            q.bindValue(QStringLiteral(":t"), title);
            q.exec();
            while (q.next()) {
                const QDateTime start = util::sql_to_datetime(q.value(0).toString());
                if (stretch.end.isValid() && start != stretch.end) {
                    break;
                }
                if (!stretch.start.isValid()) {
                    stretch = {start, QDateTime(), q.value(2).toString()};
                }
                stretch.end = util::sql_to_datetime(q.value(1).toString());
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("reader"));
    return stretch;
}

// Lets real time pass while a window is in front: the length of a stretch is what these tests are
// about, so this is the one place where waiting for the clock is the point.
inline void letTimePass(int ms)
{
    QElapsedTimer timer;
    timer.start();
    QTRY_VERIFY_WITH_TIMEOUT(timer.hasExpired(ms), ms + 5000);
}

// Titles as they travel badly: a dash, quotes, other scripts.
const QString kAlpha = QStringLiteral("Alpha – report.odt");
const QString kBeta = QStringLiteral("Beta \"quoted\" 東京");

// The real program records kAlpha for three seconds, then (after `toBeta`) kBeta for two, then gets
// SIGTERM: both stretches must be stored, touching, each ending when it did on the wall clock, and
// under these `applications` (alpha's, beta's) when given.
inline void recordTwoWindows(const QProcessEnvironment& env, const std::function<bool()>& started,
                             const std::function<bool()>& toBeta, const QStringList& applications = {})
{
    const TempDataFolder data;
    data.writeSettings(
        {{QStringLiteral("Application/Started"), true}, {QStringLiteral("Application/IdleEnabled"), false}});
    QProcess program;
    auto endProgram = qScopeGuard([&program] {
        program.kill();
        program.waitForFinished(10000);
    });
    program.setProcessEnvironment(data.environment(true, env));
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QDateTime launched = QDateTime::currentDateTime();
    program.start(QStringLiteral(VERRINPLUS_BINARY), QStringList());
    QVERIFY(program.waitForStarted(10000));
    QVERIFY(started());
    const QString database = data.dataFolder() + QStringLiteral("/verrinplus.sqlite");

    letTimePass(3000);
    QVERIFY(toBeta());
    const QDateTime switched = QDateTime::currentDateTime();
    QTRY_VERIFY_WITH_TIMEOUT(find(database, kAlpha).end.isValid(), 20000);
    letTimePass(2000);
    const QDateTime terminated = QDateTime::currentDateTime();
    ::kill(pid_t(program.processId()), SIGTERM);
    QCOMPARE(TempDataFolder::finish(program).exitCode, 0);
    const Stretch a = find(database, kAlpha);
    const Stretch b = find(database, kBeta);
    QVERIFY(a.end.isValid());
    QVERIFY2(b.end.isValid(), "the stretch in progress at SIGTERM was lost");
    // A tick sees a change within a second; one more second for a loaded machine.
    const auto near = [](const QDateTime& recorded, const QDateTime& happened) {
        return qAbs(recorded.secsTo(happened)) <= 2;
    };
    QVERIFY2(a.start >= launched.addSecs(-1), qPrintable(a.start.toString()));
    QVERIFY2(near(a.end, switched), qPrintable(a.end.toString() + " " + switched.toString()));
    QVERIFY2(near(b.end, terminated), qPrintable(b.end.toString() + " " + terminated.toString()));
    QCOMPARE(b.start, a.end); // nothing lost between them
    QVERIFY2(applications.isEmpty() || (QStringList{a.application, b.application}) == applications,
             qPrintable(a.application + " " + b.application));
}

} // namespace StoredStretches
