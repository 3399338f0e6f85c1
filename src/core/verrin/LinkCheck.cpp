#include "verrin/LinkCheck.h"

#include "store/util.h"
#include "verrin/LinkRecovery.h"
#include "verrin/LinkedRows.h"
#include "verrin/TimeEntryApi.h"

#include <QDebug>
#include <QMap>

QString LinkCheck::verdictName(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Agree:
        return QStringLiteral("agree");
    case Verdict::Longer:
        return QStringLiteral("longer");
    case Verdict::Shorter:
        return QStringLiteral("shorter");
    case Verdict::Missing:
        return QStringLiteral("missing");
    case Verdict::Pending:
        return QStringLiteral("pending");
    case Verdict::Unreadable:
        return QStringLiteral("unreadable");
    }
    return QString();
}

bool LinkCheck::allAgree(const QList<Line>& lines)
{
    return std::all_of(lines.cbegin(), lines.cend(), [](const Line& line) { return line.verdict == Verdict::Agree; });
}

QString LinkCheck::lineText(const Line& line)
{
    QString text = verdictName(line.verdict).leftJustified(10) + line.day.toString(Qt::ISODate) + QLatin1Char(' ');
    if (line.verdict == Verdict::Pending) {
        return text + line.detail;
    }
    const QString task = line.taskName.isEmpty() ? QStringLiteral("task %1").arg(line.taskId)
                                                 : QStringLiteral("%1 (task %2)").arg(line.taskName, line.taskId);
    text += QStringLiteral("service entry %1, %2: here %3")
                .arg(line.extEntryId)
                .arg(task, util::clock_time(line.localSeconds));
    switch (line.verdict) {
    case Verdict::Longer:
    case Verdict::Shorter:
    case Verdict::Agree:
        return text + QStringLiteral(", service %1").arg(util::clock_time(line.serviceSeconds));
    case Verdict::Missing:
        return text + QStringLiteral(", not on the service");
    default:
        return text + QStringLiteral(", ") + line.detail;
    }
}

QList<LinkCheck::Line> LinkCheck::check(const QDate& from, const QDate& to)
{
    QList<Line> lines;
    const QString first = from.toString(QStringLiteral("yyyy-MM-dd 00:00:00"));
    const QString last = to.toString(QStringLiteral("yyyy-MM-dd 23:59:59"));

    // What is pending first: those rows are compared once their intent is settled.
    QSet<int> pendingRows;
    for (const LinkJournal::Intent& intent : LinkJournal::openIntents()) {
        QStringList ids;
        for (int id : intent.entryIds) {
            ids << QString::number(id);
            pendingRows.insert(id);
        }
        const QDate day = LinkedRows::firstDayWithin(ids, first, last);
        if (!day.isValid()) {
            continue;
        }
        Line line;
        line.verdict = Verdict::Pending;
        line.day = day;
        line.taskId = intent.task.taskId;
        line.taskName = intent.task.taskName;
        line.extEntryId = intent.extEntryId;
        line.localSeconds = intent.seconds;
        line.entryIds = ids;
        line.detail = LinkRecovery::describe(intent) + QStringLiteral(": the answer was lost");
        lines << line;
    }

    // Every row of each service entry counts, also rows of other days.
    QList<LinkedRows::Row> rows;
    QString error;
    if (!LinkedRows::ofEntriesTouching(first, last, &rows, &error)) {
        qWarning() << "Database error:" << error;
        return lines;
    }
    QMap<qint64, Line> byEntry;
    QSet<qint64> touchedByPending;
    for (const LinkedRows::Row& row : rows) {
        Line& line = byEntry[row.extEntryId];
        if (line.entryIds.isEmpty()) {
            line.extEntryId = row.extEntryId;
            line.taskId = row.taskId;
            line.taskName = row.taskName;
            line.day = util::sql_to_date(row.start.left(10));
        }
        line.entryIds << QString::number(row.id);
        line.localSeconds +=
            int(qMax<qint64>(0, util::sql_to_datetime(row.start).secsTo(util::sql_to_datetime(row.end))));
        if (pendingRows.contains(row.id)) {
            touchedByPending.insert(row.extEntryId);
        }
    }
    for (Line line : std::as_const(byEntry)) {
        if (touchedByPending.contains(line.extEntryId)) {
            continue;
        }
        ServiceEntryInfo info;
        const CallOutcome outcome = api->getInfo(line.extEntryId, &info);
        if (outcome.unknownEntry()) {
            line.verdict = Verdict::Missing;
        } else if (!outcome.ok()) {
            line.verdict = Verdict::Unreadable;
            line.detail = outcome.message;
        } else {
            line.serviceSeconds = int(info.start.secsTo(info.end));
            line.verdict = line.serviceSeconds == line.localSeconds  ? Verdict::Agree
                           : line.serviceSeconds > line.localSeconds ? Verdict::Longer
                                                                     : Verdict::Shorter;
        }
        lines << line;
    }
    std::stable_sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) { return a.day < b.day; });
    return lines;
}

bool LinkCheck::adjust(const Line& line, QString* error)
{
    ServiceEntryInfo info;
    const CallOutcome read = api->getInfo(line.extEntryId, &info);
    if (!read.ok()) {
        *error = read.message;
        return false;
    }
    LinkJournal::Intent intent;
    intent.action = LinkJournal::Action::Adjust;
    intent.extEntryId = line.extEntryId;
    intent.task.taskId = line.taskId;
    intent.day = line.day;
    intent.seconds = line.localSeconds;
    intent.newEnd = info.start.addSecs(line.localSeconds);
    if (!LinkJournal::open(&intent, error)) {
        return false;
    }
    LinkJournal::inFlight().insert(intent.id);
    const CallOutcome outcome = api->update(line.extEntryId, info.start, intent.newEnd);
    LinkJournal::inFlight().remove(intent.id);
    if (outcome.ok() || outcome.refused() || outcome.notSent) {
        LinkJournal::close(intent.id, outcome.ok() ? QStringLiteral("adjusted") : outcome.message, nullptr);
    }
    if (!outcome.ok()) {
        *error = outcome.message;
    }
    return outcome.ok();
}
