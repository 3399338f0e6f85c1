// Cost of writing recorded stretches into the store: what one recorder write costs, with the
// database in WAL mode as the program runs it.
#include "store/Database.h"
#include "store/util.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextStream>

#include <ctime>

namespace {
double cpuSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    Database db;
    QString error;
    if (!db.open(dir.filePath(QStringLiteral("bench.sqlite")), &error)) {
        QTextStream(stderr) << "cannot open database: " << error << "\n";
        return 1;
    }
    const int rows = 5000;
    QDateTime start(QDate(2026, 1, 5), QTime(8, 0, 0));
    QElapsedTimer wall;
    wall.start();
    const double cpu0 = cpuSeconds();
    for (int i = 0; i < rows; ++i) {
        QSqlQuery insert;
        insert.prepare(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time) "
                                      "VALUES (:title, :app_id, :start_time, :end_time)"));
        insert.bindValue(QStringLiteral(":title"), QStringLiteral("Document %1 - Editor").arg(i % 50));
        insert.bindValue(QStringLiteral(":app_id"), 1 + i % 20);
        insert.bindValue(QStringLiteral(":start_time"), util::datetime_to_sql(start));
        start = start.addSecs(7);
        insert.bindValue(QStringLiteral(":end_time"), util::datetime_to_sql(start));
        insert.exec();
    }
    const double cpu = cpuSeconds() - cpu0;
    QTextStream out(stdout);
    out << "entry insert: " << rows << " rows, " << QString::number(double(wall.nsecsElapsed()) / 1e3 / rows, 'f', 1)
        << " us wall and " << QString::number(cpu * 1e6 / rows, 'f', 1) << " us CPU per row\n";
    return 0;
}
