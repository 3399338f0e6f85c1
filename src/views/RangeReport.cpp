#include "views/RangeReport.h"

#include "store/util.h"
#include "views/DayQueries.h"

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

QString RangeReport::csvField(const QString& text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')) &&
        !text.contains(QLatin1Char('\r'))) {
        return text;
    }
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QList<RangeReport::Row> RangeReport::rows(const QDate& from, const QDate& to, By by, QString* error)
{
    QList<Row> result;
    QSqlQuery query;
    query.setForwardOnly(true);
    query.prepare(QStringLiteral(
        "SELECT entries.start_time, entries.end_time, applications.name, entries.title, entries.ext_entry_id, "
        "entries.ext_task_name, entries.ext_project_name, entries.ext_tasklist_name FROM entries, applications "
        "WHERE applications.id = entries.application_id AND entries.start_time >= :from AND entries.start_time <= "
        ":to ORDER BY entries.start_time"));
    query.bindValue(QStringLiteral(":from"), from.toString(QStringLiteral("yyyy-MM-dd 00:00:00")));
    query.bindValue(QStringLiteral(":to"), to.toString(QStringLiteral("yyyy-MM-dd 23:59:59")));
    if (!query.exec()) {
        if (error) {
            *error = query.lastError().text();
        }
        return result;
    }
    QHash<QStringList, int> index;
    while (query.next()) {
        DayRow row;
        row.setTimes(query.value(0).toString(), query.value(1).toString());
        const bool linked = !query.value(4).isNull();
        QStringList keys;
        switch (by) {
        case By::Day:
            keys = {row.day.toString(Qt::ISODate)};
            break;
        case By::Application:
            keys = {query.value(2).toString()};
            break;
        case By::Title:
            keys = {query.value(2).toString(), query.value(3).toString()};
            break;
        case By::Task:
            keys = linked ? QStringList{query.value(5).toString(), query.value(6).toString(), query.value(7).toString()}
                          : QStringList{QStringLiteral("(not linked)"), QString(), QString()};
            break;
        }
        auto it = index.find(keys);
        if (it == index.end()) {
            it = index.insert(keys, int(result.size()));
            result.append(Row{keys, 0, 0});
        }
        (linked ? result[it.value()].linked : result[it.value()].unlinked) += qMax(0, row.seconds);
    }
    if (by != By::Day) {
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
                fields << csvField(key);
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
