#include "verrin/LinkRecovery.h"

#include "app/Prompter.h"
#include "store/util.h"
#include "verrin/TimeEntryApi.h"

#include <QDebug>
#include <QUrl>

namespace {

const QString kTitle = QStringLiteral("Pending link");

void closeOrLog(bool ok, const QString& error)
{
    if (!ok) {
        qWarning().noquote() << "Could not settle a pending link:" << error;
    }
}

} // namespace

QString LinkRecovery::describe(const LinkJournal::Intent& intent)
{
    const QString time = util::format_time(intent.seconds);
    const QString task = intent.task.taskName.isEmpty() ? QStringLiteral("task %1").arg(intent.task.taskId)
                                                        : QStringLiteral("\"%1\"").arg(intent.task.taskName);
    const QString entries = QStringLiteral("%1 %2")
                                .arg(intent.entryIds.size())
                                .arg(intent.entryIds.size() == 1 ? QStringLiteral("entry") : QStringLiteral("entries"));
    switch (intent.action) {
    case LinkJournal::Action::Add:
        return QStringLiteral("linking %1 (%2) of %3 to %4").arg(entries, time, intent.day.toString(Qt::ISODate), task);
    case LinkJournal::Action::Shorten:
        return QStringLiteral("unlinking %1 (%2) from service entry %3").arg(entries, time).arg(intent.extEntryId);
    case LinkJournal::Action::Delete:
        return QStringLiteral("unlinking %1 (%2) and deleting service entry %3")
            .arg(entries, time)
            .arg(intent.extEntryId);
    case LinkJournal::Action::Adjust:
        return QStringLiteral("setting service entry %1 to the recorded time").arg(intent.extEntryId);
    }
    return QString();
}

LinkRecovery::Report LinkRecovery::settle()
{
    Report report;
    for (const LinkJournal::Intent& intent : LinkJournal::openIntents()) {
        if (LinkJournal::inFlight().contains(intent.id)) {
            continue;
        }
        Unsettled unsettled;
        unsettled.intent = intent;
        switch (settleOne(intent, &unsettled)) {
        case Verdict::Settled:
            ++report.settled;
            break;
        case Verdict::Unsettled:
            report.unsettled << unsettled;
            break;
        case Verdict::Unreachable:
            report.serviceAnswered = false;
            unsettled.why = QStringLiteral("the service does not answer");
            report.unsettled << unsettled;
            break;
        }
    }
    qDebug() << "pending links settled:" << report.settled << "still open:" << report.unsettled.size();
    return report;
}

LinkRecovery::Verdict LinkRecovery::settleOne(const LinkJournal::Intent& intent, Unsettled* unsettled)
{
    if (intent.action == LinkJournal::Action::Add) {
        return findLostEntry(intent, unsettled);
    }
    return settleChange(intent, unsettled);
}

LinkRecovery::Verdict LinkRecovery::findLostEntry(const LinkJournal::Intent& intent, Unsettled* unsettled)
{
    // The service has no search, but its ids only grow: an entry made by the lost request has an id
    // above the highest one known when it was sent, and carries exactly what was sent.
    const QString day = util::date_to_sql(intent.day);
    const QString decodedNotes = QUrl::fromPercentEncoding(intent.notes.toLatin1());
    // A folder that never linked before knows no id to start from: then the search runs further and
    // does not stop at a gap.
    const bool blind = intent.afterExtId == 0;
    const qint64 last = intent.afterExtId + (blind ? kMaxBlindScan : kMaxScan);
    int missesInARow = 0;
    for (qint64 id = intent.afterExtId + 1; id <= last && (blind || missesInARow < kMaxMissesInARow); ++id) {
        ServiceEntryInfo info;
        const CallOutcome outcome = api->getInfo(id, &info);
        if (outcome.unknownEntry()) {
            ++missesInARow;
            continue;
        }
        if (!outcome.ok()) {
            return Verdict::Unreachable;
        }
        missesInARow = 0;
        const bool same = info.taskId == intent.task.taskId && info.date == day &&
                          info.duration == QString::number(intent.seconds) &&
                          (info.description == intent.notes || info.description == decodedNotes);
        if (same && !LinkJournal::isClaimed(id)) {
            QString error;
            const bool ok =
                LinkJournal::closeLinked(intent, id, QStringLiteral("linked (found on the service)"), &error);
            closeOrLog(ok, error);
            return ok ? Verdict::Settled : Verdict::Unsettled;
        }
    }
    unsettled->why = QStringLiteral("no answer came, and the service shows no such entry");
    return Verdict::Unsettled;
}

LinkRecovery::Verdict LinkRecovery::settleChange(const LinkJournal::Intent& intent, Unsettled* unsettled)
{
    ServiceEntryInfo info;
    const CallOutcome outcome = api->getInfo(intent.extEntryId, &info);
    QString error;
    bool ok = true;
    if (outcome.unknownEntry()) {
        if (intent.action == LinkJournal::Action::Delete) {
            ok = LinkJournal::closeUnlinked(intent, QStringLiteral("unlinked (the service entry is gone)"), &error);
        } else if (intent.action == LinkJournal::Action::Adjust) {
            ok = LinkJournal::close(intent.id, QStringLiteral("not adjusted: the service entry is gone"), &error);
        } else {
            unsettled->gone = true;
            unsettled->why = QStringLiteral("the service no longer has entry %1").arg(intent.extEntryId);
            return Verdict::Unsettled;
        }
        closeOrLog(ok, error);
        return ok ? Verdict::Settled : Verdict::Unsettled;
    }
    if (!outcome.ok()) {
        return Verdict::Unreachable;
    }
    const bool changed = info.end == intent.newEnd;
    switch (intent.action) {
    case LinkJournal::Action::Shorten:
        if (changed) {
            ok = LinkJournal::closeUnlinked(intent, QStringLiteral("unlinked (confirmed by the service)"), &error);
        } else if (info.end == intent.newEnd.addSecs(intent.seconds)) {
            ok = LinkJournal::close(intent.id, QStringLiteral("not changed on the service; still linked"), &error);
        } else {
            unsettled->why = QStringLiteral("service entry %1 has changed since").arg(intent.extEntryId);
            return Verdict::Unsettled;
        }
        break;
    case LinkJournal::Action::Delete:
        ok = LinkJournal::close(intent.id, QStringLiteral("not deleted on the service; still linked"), &error);
        break;
    case LinkJournal::Action::Adjust:
        ok = LinkJournal::close(intent.id, changed ? QStringLiteral("adjusted") : QStringLiteral("not adjusted"),
                                &error);
        break;
    case LinkJournal::Action::Add:
        break;
    }
    closeOrLog(ok, error);
    return ok ? Verdict::Settled : Verdict::Unsettled;
}

LinkRecovery::Report LinkRecovery::resolveWithUser(Prompter* prompter)
{
    Report report = settle();
    if (!prompter) {
        return report;
    }
    QList<Unsettled> left;
    for (Unsettled current : report.unsettled) {
        Answer answer = askUser(prompter, current);
        // "Check again" a few times at most; then it waits for the next time.
        for (int round = 0; answer == Answer::CheckAgain && round < 3; ++round) {
            Unsettled again;
            again.intent = current.intent;
            const Verdict verdict = settleOne(current.intent, &again);
            if (verdict == Verdict::Settled) {
                answer = Answer::Closed;
                break;
            }
            if (verdict == Verdict::Unreachable) {
                again.why = QStringLiteral("the service does not answer");
            }
            current = again;
            answer = askUser(prompter, current);
        }
        if (answer == Answer::Closed) {
            ++report.settled;
        } else {
            left << current;
        }
    }
    report.unsettled = left;
    return report;
}

LinkRecovery::Answer LinkRecovery::askUser(Prompter* prompter, const Unsettled& item)
{
    const LinkJournal::Intent& intent = item.intent;
    QString error;
    bool ok = false;
    if (item.gone) {
        const int choice = prompter->choose(
            kTitle,
            QStringLiteral("While %1, the answer was lost, and now %2 (deleted on the web?). Unlink its entries "
                           "here? Nothing is changed on the service.")
                .arg(describe(intent), item.why),
            {QStringLiteral("Unlink Here"), QStringLiteral("Later")});
        if (choice != 0) {
            return Answer::Later;
        }
        ok = LinkJournal::closeUnlinked(intent, QStringLiteral("gone on the service; unlinked here"), &error);
    } else {
        const QString text = QStringLiteral("While %1, %2. The entries are pending: they are neither free to link "
                                            "nor counted as linked until this is settled.")
                                 .arg(describe(intent), item.why);
        if (intent.action == LinkJournal::Action::Add) {
            const int choice = prompter->choose(
                kTitle, text + QStringLiteral("\n\nPut them back only if Verrin on the web does not show this time."),
                {QStringLiteral("Check Again"), QStringLiteral("Put Back"), QStringLiteral("Later")});
            if (choice == 0) {
                return Answer::CheckAgain;
            }
            if (choice != 1) {
                return Answer::Later;
            }
            ok = LinkJournal::close(intent.id, QStringLiteral("put back by the user"), &error);
        } else {
            const int choice = prompter->choose(kTitle, text,
                                                {QStringLiteral("Check Again"), QStringLiteral("Keep as Linked"),
                                                 QStringLiteral("Put Back"), QStringLiteral("Later")});
            if (choice == 0) {
                return Answer::CheckAgain;
            }
            if (choice == 1) {
                ok = LinkJournal::close(intent.id, QStringLiteral("kept linked by the user"), &error);
            } else if (choice == 2) {
                ok = LinkJournal::closeUnlinked(intent, QStringLiteral("put back by the user"), &error);
            } else {
                return Answer::Later;
            }
        }
    }
    if (!ok) {
        qWarning().noquote() << "Could not settle a pending link:" << error;
        prompter->warn(QStringLiteral("Database error"),
                       QStringLiteral("The pending link could not be settled: ") + error);
        return Answer::Later;
    }
    return Answer::Closed;
}
