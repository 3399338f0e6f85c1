#include "HistoryGenerator.h"

#include "store/Database.h"

#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <cmath>

namespace {

const QStringList kAppWords = {"Firefox", "Terminal", "Mail",    "Calendar", "Editor", "Slides",  "Sheets", "Chat",
                               "Music",   "Files",    "Notes",   "Draw",     "Photos", "Maps",    "Player", "Studio",
                               "Console", "Viewer",   "Tracker", "Writer",   "Reader", "Monitor", "Shell",  "Designer"};
const QStringList kTitleWords = {"report", "budget",    "meeting", "invoice", "draft",  "review",  "plan",    "notes",
                                 "design", "release",   "backlog", "sprint",  "client", "offer",   "roadmap", "logo",
                                 "étude",  "Übersicht", "数据",    "summary", "agenda", "minutes", "todo",    "ideas"};

struct Catalogue
{
    struct Task
    {
        int id;
        int tasklist;
        int project;
    };
    QList<Task> tasks;
};

Catalogue makeCatalogue(QRandomGenerator& random)
{
    Catalogue catalogue;
    int tasklistId = 2000;
    int taskId = 5000;
    for (int project = 100; project < 120; ++project) {
        const int tasklists = 2 + int(random.bounded(3));
        for (int t = 0; t < tasklists; ++t, ++tasklistId) {
            const int tasks = 2 + int(random.bounded(5));
            for (int k = 0; k < tasks; ++k) {
                catalogue.tasks.append({taskId++, tasklistId, project});
            }
        }
    }
    return catalogue;
}

QString titleFor(QRandomGenerator& random, int app, int title)
{
    QString text = kTitleWords.at((app * 7 + title * 3) % kTitleWords.size()) + QLatin1Char(' ') +
                   kTitleWords.at((app + title * 5) % kTitleWords.size()) +
                   QStringLiteral(" %1-%2").arg(app).arg(title);
    // Some titles carry quotes, as real window titles do.
    if (title % 9 == 4) {
        text = QStringLiteral("\"") + text + QStringLiteral("\" — it's saved");
    }
    Q_UNUSED(random);
    return text;
}

// Mostly few favourites, with a long tail.
int skewed(QRandomGenerator& random, int count)
{
    const double u = random.generateDouble();
    return std::min(count - 1, int(std::floor(count * u * u * u)));
}

} // namespace

bool HistoryGenerator::generate(const QString& path, const Options& options, Result* result, QString* error)
{
    // A connection of its own, so the program's default connection (if any) is left alone.
    const QString connection = QStringLiteral("verrin-history");
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(path);
        if (!db.open()) {
            if (error) {
                *error = db.lastError().text();
            }
        } else {
            ok = fill(db, options, result, error);
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return ok;
}

bool HistoryGenerator::fill(QSqlDatabase& db, const Options& options, Result* result, QString* error)
{
    QSqlQuery schema(db);
    schema.exec(QStringLiteral("PRAGMA journal_mode=WAL"));
    for (const QString& statement : Database::schemaStatements() + Database::extraIndexStatements()) {
        if (!schema.exec(statement)) {
            if (error) {
                *error = schema.lastError().text();
            }
            return false;
        }
    }
    QRandomGenerator random(options.seed);
    const Catalogue catalogue = makeCatalogue(random);
    db.transaction();

    QList<int> appIds;
    QSqlQuery app(db);
    app.prepare(QStringLiteral("INSERT INTO applications (path, name) VALUES (?, ?)"));
    for (int i = 0; i < options.applications; ++i) {
        const QString name = kAppWords.at(i % kAppWords.size()) +
                             (i < kAppWords.size() ? QString() : QStringLiteral(" %1").arg(i / kAppWords.size()));
        app.addBindValue(i == 0 ? QStringLiteral("verrin://idle")
                                : QStringLiteral("/usr/share/applications/org.example.app%1.desktop").arg(i));
        app.addBindValue(i == 0 ? QStringLiteral("Away Time") : name);
        if (!app.exec()) {
            if (error) {
                *error = app.lastError().text();
            }
            return false;
        }
        appIds.append(app.lastInsertId().toInt());
    }

    QDate heavyDay = options.to;
    while (heavyDay.dayOfWeek() > 5) {
        heavyDay = heavyDay.addDays(-1);
    }

    QSqlQuery entry(db);
    entry.prepare(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time, ext_task_id, "
                                 "ext_entry_id, ext_project_id, ext_tasklist_id, ext_task_name, ext_project_name, "
                                 "ext_tasklist_name) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    Result counts;
    counts.heavyDay = heavyDay;
    int extEntry = 90000;
    for (QDate day = options.from; day <= options.to; day = day.addDays(1)) {
        const bool weekend = day.dayOfWeek() > 5;
        int n = weekend ? options.entriesPerWorkday / 10
                        : options.entriesPerWorkday / 2 + int(random.bounded(options.entriesPerWorkday + 1));
        if (day == heavyDay) {
            n = options.heavyDayEntries;
        }
        if (n <= 0) {
            continue;
        }
        ++counts.days;
        // A working day of about ten hours, split into n stretches.
        const double mean = 36000.0 / n;
        QDateTime at(day, QTime(7, 30).addSecs(int(random.bounded(5400))));
        int focusApp = 1 + skewed(random, options.applications - 1);
        for (int i = 0; i < n; ++i) {
            if (random.bounded(100) < 30) {
                focusApp = 1 + skewed(random, options.applications - 1);
            }
            const bool isAway = random.bounded(1000) < 8;
            const int appIndex = isAway ? 0 : focusApp;
            const int seconds = std::max(1, int(-mean * std::log(1.0 - random.generateDouble())));
            const QDateTime end = at.addSecs(isAway ? seconds * 20 : seconds);
            const QString title = isAway ? QStringLiteral("Away")
                                         : titleFor(random, appIndex, skewed(random, options.titlesPerApplication));
            entry.addBindValue(title);
            entry.addBindValue(appIds.at(appIndex));
            entry.addBindValue(at.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
            entry.addBindValue(end.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
            if (!isAway && int(random.bounded(100)) < options.linkedPercent) {
                // Linked time: one task per application and day, as rules and the user tend to do.
                const auto& task = catalogue.tasks.at((appIndex * 31 + day.dayOfYear()) % catalogue.tasks.size());
                entry.addBindValue(task.id);
                entry.addBindValue(extEntry++);
                entry.addBindValue(task.project);
                entry.addBindValue(task.tasklist);
                entry.addBindValue(QStringLiteral("Task %1").arg(task.id));
                entry.addBindValue(QStringLiteral("Project %1").arg(task.project));
                entry.addBindValue(QStringLiteral("List %1").arg(task.tasklist));
            } else {
                for (int k = 0; k < 7; ++k) {
                    entry.addBindValue(QVariant());
                }
            }
            if (!entry.exec()) {
                if (error) {
                    *error = entry.lastError().text();
                }
                db.rollback();
                return false;
            }
            ++counts.entries;
            // Short pauses now and then, in proportion to the day's pace so a busy day stays one day.
            at = end.addSecs(random.bounded(100) < 5 ? int(random.bounded(int(mean * 10) + 1)) : 0);
        }
    }
    if (!db.commit()) {
        if (error) {
            *error = db.lastError().text();
        }
        return false;
    }
    if (result) {
        *result = counts;
    }
    return true;
}
