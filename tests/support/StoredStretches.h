#pragma once

#include "store/util.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QTest>

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

} // namespace StoredStretches
