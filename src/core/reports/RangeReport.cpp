#include "reports/RangeReport.h"

#include "reports/DayQueries.h"
#include "store/SqliteRows.h"
#include "store/util.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>

namespace {

QStringList columnsOf(RangeReport::By by)
{
    switch (by) {
    case RangeReport::By::Day:
        return {QStringLiteral("day")};
    case RangeReport::By::Application:
        return {QStringLiteral("application")};
    case RangeReport::By::Title:
        return {QStringLiteral("application"), QStringLiteral("title")};
    case RangeReport::By::Task:
        return {QStringLiteral("task"), QStringLiteral("project"), QStringLiteral("task_list")};
    }
    return {};
}

QString padded(const QString& text, int width)
{
    return text.leftJustified(width);
}

} // namespace

bool RangeReport::parseBy(const QString& name, By* by)
{
    for (By candidate : {By::Day, By::Application, By::Title, By::Task}) {
        if (name.compare(byName(candidate), Qt::CaseInsensitive) == 0) {
            *by = candidate;
            return true;
        }
    }
    return false;
}

QString RangeReport::byName(By by)
{
    switch (by) {
    case By::Day:
        return QStringLiteral("day");
    case By::Application:
        return QStringLiteral("application");
    case By::Title:
        return QStringLiteral("title");
    case By::Task:
        return QStringLiteral("task");
    }
    return QString();
}

QList<RangeReport::Row> RangeReport::rows(const QDate& from, const QDate& to, By by, QString* error)
{
    QList<Row> result;
    // Only the columns the grouping needs, and numbers rather than texts as keys where there are
    // numbers: a year is hundreds of thousands of rows.
    QString columns = QStringLiteral("entries.start_time, entries.end_time, entries.ext_entry_id IS NOT NULL");
    switch (by) {
    case By::Day:
        break;
    case By::Application:
        columns += QStringLiteral(", entries.application_id");
        break;
    case By::Title:
        columns += QStringLiteral(", entries.application_id, entries.title");
        break;
    case By::Task:
        columns += QStringLiteral(", entries.ext_task_id");
        break;
    }
    // Read straight from SQLite: through QSqlQuery every value of a year's rows became a variant first.
    SqliteRows query(QStringLiteral("SELECT ") + columns +
                     QStringLiteral(" FROM entries WHERE entries.start_time >= :from AND entries.start_time <= :to"));
    query.bindValue(QStringLiteral(":from"), from.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
    query.bindValue(QStringLiteral(":to"), to.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
    QHash<QPair<qint64, QString>, int> index;
    const QString noTitle;
    while (query.next()) {
        DayRow row;
        row.setTimes(query.bytes(0), query.bytes(1));
        const bool linked = query.integer(2) != 0;
        QPair<qint64, QString> key{0, noTitle};
        switch (by) {
        case By::Day:
            key.first = row.day.toJulianDay();
            break;
        case By::Application:
            key.first = query.integer(3);
            break;
        case By::Title:
            key = {query.integer(3), query.text(4)};
            break;
        case By::Task:
            key.first = linked ? query.integer(3) : -1;
            break;
        }
        auto it = index.find(key);
        if (it == index.end()) {
            it = index.insert(key, int(result.size()));
            Row added;
            added.keys = {QString::number(key.first), key.second};
            result.append(added);
        }
        (linked ? result[it.value()].linked : result[it.value()].unlinked) += qMax(0, row.seconds);
    }
    if (!query.error().isEmpty()) {
        if (error) {
            *error = query.error();
        }
        return {};
    }
    // Names for the numbers, once per row of the result.
    const QHash<int, QPair<QString, QString>> apps =
        by == By::Application || by == By::Title ? DayQueries::applications() : QHash<int, QPair<QString, QString>>();
    QSqlQuery names;
    names.prepare(QStringLiteral("SELECT ext_task_name, ext_project_name, ext_tasklist_name FROM entries WHERE "
                                 "ext_task_id = :task AND ext_entry_id IS NOT NULL ORDER BY start_time DESC LIMIT 1"));
    for (Row& row : result) {
        const qint64 id = row.keys.first().toLongLong();
        switch (by) {
        case By::Day:
            row.keys = {QDate::fromJulianDay(id).toString(Qt::ISODate)};
            break;
        case By::Application:
            row.keys = {apps.value(int(id)).second};
            break;
        case By::Title:
            row.keys = {apps.value(int(id)).second, row.keys.at(1)};
            break;
        case By::Task:
            if (id < 0) {
                row.keys = {notLinkedKey(), QString(), QString()};
                break;
            }
            names.bindValue(QStringLiteral(":task"), id);
            row.keys =
                names.exec() && names.next()
                    ? QStringList{names.value(0).toString(), names.value(1).toString(), names.value(2).toString()}
                    : QStringList{QStringLiteral("task %1").arg(id), QString(), QString()};
            break;
        }
    }
    if (by == By::Day) {
        std::sort(result.begin(), result.end(), [](const Row& a, const Row& b) { return a.keys < b.keys; });
    } else {
        std::stable_sort(result.begin(), result.end(), [](const Row& a, const Row& b) {
            return a.total() != b.total() ? a.total() > b.total() : a.keys < b.keys;
        });
    }
    return result;
}

QString RangeReport::render(const QDate& from, const QDate& to, By by, DayReport::Format format, QString* error)
{
    QString failure;
    const QList<Row> list = rows(from, to, by, &failure);
    if (!failure.isEmpty()) {
        if (error) {
            *error = failure;
        }
        return QString();
    }
    Row total;
    for (const Row& row : list) {
        total.linked += row.linked;
        total.unlinked += row.unlinked;
    }
    const QStringList columns = columnsOf(by);
    QString out;
    switch (format) {
    case DayReport::Format::Csv: {
        QStringList header = columns;
        header << QStringLiteral("total_seconds") << QStringLiteral("linked_seconds")
               << QStringLiteral("unlinked_seconds");
        out += header.join(QLatin1Char(',')) + QStringLiteral("\r\n");
        for (const Row& row : list) {
            QStringList fields;
            for (const QString& key : row.keys) {
                fields << util::csv_cell(key);
            }
            fields << QString::number(row.total()) << QString::number(row.linked) << QString::number(row.unlinked);
            out += fields.join(QLatin1Char(',')) + QStringLiteral("\r\n");
        }
        return out;
    }
    case DayReport::Format::Json: {
        QJsonArray array;
        for (const Row& row : list) {
            QJsonObject object;
            for (int i = 0; i < columns.size(); ++i) {
                object.insert(columns.at(i), row.keys.value(i));
            }
            object.insert(QStringLiteral("total_seconds"), row.total());
            object.insert(QStringLiteral("linked_seconds"), row.linked);
            object.insert(QStringLiteral("unlinked_seconds"), row.unlinked);
            array.append(object);
        }
        QJsonObject document{{QStringLiteral("from"), from.toString(Qt::ISODate)},
                             {QStringLiteral("to"), to.toString(Qt::ISODate)},
                             {QStringLiteral("by"), byName(by)},
                             {QStringLiteral("rows"), array},
                             {QStringLiteral("total_seconds"), total.total()},
                             {QStringLiteral("linked_seconds"), total.linked},
                             {QStringLiteral("unlinked_seconds"), total.unlinked}};
        return QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented));
    }
    case DayReport::Format::Text:
        break;
    }
    int width = 12;
    for (const Row& row : list) {
        width = qMax(width, int(row.keys.join(QStringLiteral(" / ")).size()));
    }
    width = qMin(width, 80) + 2;
    out += QStringLiteral("Recorded time from %1 to %2 by %3\n")
               .arg(from.toString(Qt::ISODate), to.toString(Qt::ISODate), byName(by));
    out += padded(QString(), width) + QStringLiteral("%1 %2 %3\n")
                                          .arg(QStringLiteral("Total"), 10)
                                          .arg(QStringLiteral("Linked"), 10)
                                          .arg(QStringLiteral("Unlinked"), 10);
    const auto line = [width](const QString& label, const Row& row) {
        QString text = label.size() > width - 2 ? label.left(width - 3) + QChar(0x2026) : label;
        return padded(text, width) + QStringLiteral("%1 %2 %3\n")
                                         .arg(util::clock_time(row.total()), 10)
                                         .arg(util::clock_time(row.linked), 10)
                                         .arg(util::clock_time(row.unlinked), 10);
    };
    for (const Row& row : list) {
        QStringList parts = row.keys;
        parts.removeAll(QString());
        out += line(parts.join(QStringLiteral(" / ")), row);
    }
    out += line(QStringLiteral("Total"), total);
    return out;
}
