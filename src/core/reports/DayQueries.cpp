#include "reports/DayQueries.h"

#include "store/SqliteRows.h"
#include "store/util.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

namespace {

QString linkedCondition(bool linked)
{
    return linked ? QStringLiteral("AND entries.ext_task_id NOT NULL ")
                  : QStringLiteral("AND entries.ext_task_id IS NULL ");
}

QString dayStart(const QDate& date)
{
    return date.toString(QStringLiteral("yyyy-MM-dd 00:00:00"));
}

QString dayEnd(const QDate& date)
{
    return date.toString(QStringLiteral("yyyy-MM-dd 23:59:59"));
}

// Every word must be in the title or the application's name. Each word gets its own placeholder.
QString titleFilterText(const QStringList& words)
{
    QString text;
    for (int i = 0; i < words.size(); ++i) {
        const QString name = QStringLiteral(":filter%1").arg(i);
        text += QStringLiteral("AND ( entries.title LIKE %1 OR applications.name LIKE %2) ")
                    .arg(name, name + QStringLiteral("b"));
    }
    return text;
}

template <typename Query>
void bindTitleFilter(Query& query, const QStringList& words)
{
    for (int i = 0; i < words.size(); ++i) {
        const QString pattern = QLatin1Char('%') + words.at(i) + QLatin1Char('%');
        query.bindValue(QStringLiteral(":filter%1").arg(i), pattern);
        query.bindValue(QStringLiteral(":filter%1b").arg(i), pattern);
    }
}

} // namespace

namespace {
// Day number and second of the day of a stored text; false when it is not in the stored form.
int codeUnit(const QString& text, int i)
{
    return text.at(i).unicode();
}

int codeUnit(QByteArrayView text, int i)
{
    return static_cast<unsigned char>(text.at(i));
}

// Works on the text as stored (UTF-8 bytes) as well as on a QString.
template <typename Text>
bool parseStored(const Text& text, qint64* julianDay, int* secondOfDay, int* hour)
{
    if (text.size() != 19 || codeUnit(text, 4) != '-' || codeUnit(text, 7) != '-' || codeUnit(text, 10) != ' ' ||
        codeUnit(text, 13) != ':' || codeUnit(text, 16) != ':') {
        return false;
    }
    const auto number = [&text](int from, int length, int* value) {
        int result = 0;
        for (int i = from; i < from + length; ++i) {
            const int c = codeUnit(text, i);
            if (c < '0' || c > '9') {
                return false;
            }
            result = result * 10 + (c - '0');
        }
        *value = result;
        return true;
    };
    int year = 0, month = 0, day = 0, h = 0, m = 0, sec = 0;
    if (!number(0, 4, &year) || !number(5, 2, &month) || !number(8, 2, &day) || !number(11, 2, &h) ||
        !number(14, 2, &m) || !number(17, 2, &sec)) {
        return false;
    }
    const QDate date(year, month, day);
    if (!date.isValid() || h > 23 || m > 59 || sec > 59) {
        return false;
    }
    *julianDay = date.toJulianDay();
    *secondOfDay = h * 3600 + m * 60 + sec;
    *hour = h;
    return true;
}
} // namespace

qint64 DayQueries::sumOfRows(QSqlQuery& query)
{
    qint64 total = 0;
    DayRow row;
    while (query.next()) {
        row.setTimes(query.value(0).toString(), query.value(1).toString());
        total += row.seconds;
    }
    return total;
}

QHash<int, QPair<QString, QString>> DayQueries::applications()
{
    QHash<int, QPair<QString, QString>> apps;
    QSqlQuery query;
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT id, path, name FROM applications "))) {
        qDebug() << "query error: " << query.lastError().text();
        return apps;
    }
    while (query.next()) {
        apps.insert(query.value(0).toInt(), {query.value(1).toString(), query.value(2).toString()});
    }
    return apps;
}

int DayQueries::seconds(const QDateTime& start, const QDateTime& end)
{
    return static_cast<int>(util::elapsed_seconds(start, end));
}

void DayRow::setTimes(const QDateTime& start, const QDateTime& end)
{
    day = start.date();
    hour = start.time().hour();
    startSecond = start.time().msecsSinceStartOfDay() / 1000;
    seconds = DayQueries::seconds(start, end);
}

template <typename Text>
static bool setFromStored(DayRow& row, const Text& start, const Text& end)
{
    qint64 startDay = 0, endDay = 0;
    int endSecond = 0, endHour = 0;
    if (!parseStored(start, &startDay, &row.startSecond, &row.hour) ||
        !parseStored(end, &endDay, &endSecond, &endHour)) {
        return false;
    }
    row.day = QDate::fromJulianDay(startDay);
    row.seconds = static_cast<int>(util::elapsed_seconds(startDay, row.startSecond, endDay, endSecond));
    return true;
}

void DayRow::setTimes(const QString& start, const QString& end)
{
    if (!setFromStored(*this, start, end)) {
        // Anything odd goes the slow, forgiving way.
        setTimes(util::sql_to_datetime(start), util::sql_to_datetime(end));
    }
}

void DayRow::setTimes(QByteArrayView start, QByteArrayView end)
{
    if (!setFromStored(*this, start, end)) {
        setTimes(QString::fromUtf8(start), QString::fromUtf8(end));
    }
}

bool DayQueries::readDay(const QDate& date, bool linked, int hideUnder, const QString& filter,
                         const std::function<void(const DayRow&)>& each, QString* error)
{
    const QStringList words = filter.isEmpty() ? QStringList() : util::extractWords(filter);
    const QString linkedText = linkedCondition(linked);
    const QString filterText = titleFilterText(words);
    // Only the columns the trees use: every column fetched costs time on days of thousands of rows. The
    // applications' paths and names come from one small look-up instead of once per row.
    const QString columns =
        QStringLiteral("entries.id, entries.title, entries.application_id, entries.start_time, entries.end_time") +
        (linked ? QStringLiteral(", entries.ext_task_id, entries.ext_project_id, entries.ext_tasklist_id, "
                                 "entries.ext_task_name, entries.ext_project_name, entries.ext_tasklist_name ")
                : QStringLiteral(" "));
    const QString statement =
        QStringLiteral("SELECT ") + columns +
        QStringLiteral("FROM applications, entries WHERE applications.id = entries.application_id "
                       "AND entries.start_time >= :day_start AND entries.start_time <= :day_end ") +
        linkedText + filterText;
    SqliteRows query(statement);
    query.bindValue(QStringLiteral(":day_start"), dayStart(date));
    query.bindValue(QStringLiteral(":day_end"), dayEnd(date));
    bindTitleFilter(query, words);
    const QHash<int, QPair<QString, QString>> apps = applications();
    // Hiding short titles needs each title's day total first, in real seconds (a daylight-saving day
    // is not the difference of the texts), so the rows wait until every one is read.
    QList<DayRow> held;
    QHash<QPair<int, QString>, qint64> titleTotals;
    DayRow row;
    // Columns in the order of the statement.
    while (query.next()) {
        row.id = int(query.integer(0));
        row.title = query.text(1);
        row.appId = int(query.integer(2));
        const QPair<QString, QString> app = apps.value(row.appId);
        row.appPath = app.first;
        row.appName = app.second;
        row.setTimes(query.bytes(3), query.bytes(4));
        if (linked) {
            row.taskId = query.text(5);
            row.projectId = query.text(6);
            row.tasklistId = query.text(7);
            row.taskName = query.text(8);
            row.projectName = query.text(9);
            row.tasklistName = query.text(10);
        }
        if (hideUnder < 1) {
            each(row);
            continue;
        }
        titleTotals[{row.appId, row.title}] += row.seconds;
        held.append(row);
    }
    if (!query.error().isEmpty()) {
        if (error) {
            *error = query.error();
        }
        qDebug() << "query error: " << query.error();
        return false;
    }
    for (const DayRow& kept : std::as_const(held)) {
        if (titleTotals.value({kept.appId, kept.title}) >= hideUnder) {
            each(kept);
        }
    }
    return true;
}

int DayQueries::totalTimeForTitle(const QDate& date, const QString& title, int appId, bool linked,
                                  const QString& filter)
{
    const QStringList words = filter.isEmpty() ? QStringList() : util::extractWords(filter);
    QSqlQuery query;
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT start_time, end_time FROM entries, applications WHERE applications.id = "
                                 "entries.application_id AND application_id = :app_id AND start_time >= :day_start "
                                 "AND start_time <= :day_end AND title = :title ") +
                  (linked ? QStringLiteral("AND ext_task_id NOT NULL ") : QStringLiteral("AND ext_task_id IS NULL ")) +
                  titleFilterText(words));
    query.bindValue(QStringLiteral(":app_id"), appId);
    query.bindValue(QStringLiteral(":day_start"), dayStart(date));
    query.bindValue(QStringLiteral(":day_end"), dayEnd(date));
    query.bindValue(QStringLiteral(":title"), title);
    bindTitleFilter(query, words);
    if (!query.exec()) {
        qDebug() << "error" << query.lastError().text();
        return 0;
    }
    return int(sumOfRows(query));
}

QList<DayRow> DayQueries::rowsWithTitle(const QDate& date, const QString& title, int appId, bool linked)
{
    QList<DayRow> rows;
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT id, start_time, end_time, ext_task_id, ext_project_id, ext_tasklist_id, "
                                 "ext_task_name, ext_project_name, ext_tasklist_name FROM entries WHERE "
                                 "application_id = :app_id AND start_time >= :day_start AND start_time <= :day_end "
                                 "AND title = :title ") +
                  (linked ? QStringLiteral("AND ext_task_id NOT NULL ") : QStringLiteral("AND ext_task_id IS NULL ")));
    query.bindValue(QStringLiteral(":app_id"), appId);
    query.bindValue(QStringLiteral(":day_start"), dayStart(date));
    query.bindValue(QStringLiteral(":day_end"), dayEnd(date));
    query.bindValue(QStringLiteral(":title"), title);
    if (!query.exec()) {
        qDebug() << "error" << query.lastError().text();
        return rows;
    }
    while (query.next()) {
        DayRow row;
        row.id = query.value(0).toInt();
        row.appId = appId;
        row.title = title;
        row.setTimes(query.value(1).toString(), query.value(2).toString());
        row.taskId = query.value(3).toString();
        row.projectId = query.value(4).toString();
        row.tasklistId = query.value(5).toString();
        row.taskName = query.value(6).toString();
        row.projectName = query.value(7).toString();
        row.tasklistName = query.value(8).toString();
        rows.append(row);
    }
    return rows;
}

bool DayQueries::readEntry(int entryId, DayRow* row)
{
    QSqlQuery query;
    query.prepare(QStringLiteral("SELECT entries.*, applications.path AS app_path, applications.name AS app_name FROM "
                                 "entries, applications WHERE entries.application_id = applications.id AND entries.id "
                                 "= :entry_id "));
    query.bindValue(QStringLiteral(":entry_id"), entryId);
    if (!query.exec()) {
        qDebug() << "query error: " << query.lastError().text();
        return false;
    }
    if (!query.next()) {
        return false;
    }
    row->id = query.value(QStringLiteral("id")).toInt();
    row->appId = query.value(QStringLiteral("application_id")).toInt();
    row->appPath = query.value(QStringLiteral("app_path")).toString();
    row->appName = query.value(QStringLiteral("app_name")).toString();
    row->title = query.value(QStringLiteral("title")).toString();
    row->setTimes(query.value(QStringLiteral("start_time")).toString(),
                  query.value(QStringLiteral("end_time")).toString());
    row->taskId = query.value(QStringLiteral("ext_task_id")).toString();
    row->projectId = query.value(QStringLiteral("ext_project_id")).toString();
    row->tasklistId = query.value(QStringLiteral("ext_tasklist_id")).toString();
    row->taskName = query.value(QStringLiteral("ext_task_name")).toString();
    row->projectName = query.value(QStringLiteral("ext_project_name")).toString();
    row->tasklistName = query.value(QStringLiteral("ext_tasklist_name")).toString();
    return true;
}

QList<Interval> DayQueries::timestamps(const QDate& date, const QString& appPath, const QString& title, bool* ok)
{
    QList<Interval> intervals;
    QSqlQuery query;
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT applications.path AS app_path, entries.title, entries.start_time, "
                                 "entries.end_time FROM entries, applications WHERE entries.application_id = "
                                 "applications.id AND entries.start_time >= :day_start AND entries.start_time <= "
                                 ":day_end AND entries.ext_entry_id IS NULL ") +
                  (appPath.isEmpty() ? QString() : QStringLiteral("AND applications.path = :path ")) +
                  (title.isEmpty() ? QString() : QStringLiteral("AND title = :title ")) +
                  QStringLiteral("ORDER BY start_time ASC "));
    query.bindValue(QStringLiteral(":day_start"), dayStart(date));
    query.bindValue(QStringLiteral(":day_end"), dayEnd(date));
    if (!appPath.isEmpty()) {
        query.bindValue(QStringLiteral(":path"), appPath);
    }
    if (!title.isEmpty()) {
        query.bindValue(QStringLiteral(":title"), title);
    }
    const bool success = query.exec();
    if (ok) {
        *ok = success;
    }
    if (!success) {
        qDebug() << query.lastError().text();
        return intervals;
    }
    while (query.next()) {
        Interval interval;
        interval.appPath = query.value(0).toString();
        interval.title = query.value(1).toString();
        interval.start = util::sql_to_datetime(query.value(2).toString());
        interval.end = util::sql_to_datetime(query.value(3).toString());
        interval.seconds = seconds(interval.start, interval.end);
        intervals.append(interval);
    }
    return intervals;
}

QString DayQueries::idList(const QStringList& ids)
{
    QStringList numbers;
    numbers.reserve(ids.size());
    for (const QString& id : ids) {
        bool ok = false;
        const qlonglong number = id.trimmed().toLongLong(&ok);
        if (ok) {
            numbers << QString::number(number);
        }
    }
    return numbers.join(QLatin1Char(','));
}

bool DayQueries::updateEntriesTitle(const QStringList& ids, const QString& title)
{
    const QString list = idList(ids);
    if (list.isEmpty()) {
        return false;
    }
    QSqlQuery query;
    query.prepare(QStringLiteral("UPDATE entries SET title = :title WHERE id IN (") + list + QStringLiteral(")"));
    query.bindValue(QStringLiteral(":title"), title);
    if (!query.exec()) {
        qDebug() << "query error: " << query.lastError().text();
        return false;
    }
    return true;
}

bool DayQueries::deleteEntries(const QStringList& ids)
{
    qDebug() << "deleting db entries: " << ids;
    const QString list = idList(ids);
    if (list.isEmpty()) {
        return false;
    }
    QSqlQuery query;
    if (!query.exec(QStringLiteral("DELETE FROM entries WHERE id IN (") + list + QStringLiteral(")"))) {
        qDebug() << "query error: " << query.lastError().text();
        return false;
    }
    return true;
}
