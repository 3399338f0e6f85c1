// Time-entry calls and the linker over real HTTP and SQLite, with the service failing every way it can.
#include "RecordedRows.h"
#include "ServiceFixture.h"
#include "TestKit.h"
#include "store/Database.h"
#include "verrin/ApiRequest.h"
#include "verrin/EntryLinker.h"
#include "verrin/LinkCheck.h"
#include "verrin/LinkJournal.h"
#include "verrin/LinkRecovery.h"
#include "verrin/Linking.h"
#include "verrin/ServiceTimeEntryApi.h"

namespace {

// Every service entry of the test user with its seconds, asked id by id: the service has no listing.
QMap<qint64, int> serviceEntries(TimeEntryApi& api)
{
    QMap<qint64, int> entries;
    for (qint64 id = 500; id <= 760; ++id) {
        ServiceEntryInfo info;
        if (api.getInfo(id, &info).ok())
            entries.insert(id, int(info.start.secsTo(info.end)));
    }
    return entries;
}

// Service entry id -> seconds of the local rows linked to it.
QMap<qint64, int> localLinks()
{
    QMap<qint64, int> links;
    QSqlQuery query(QStringLiteral("SELECT ext_entry_id, SUM(strftime('%s', end_time) - strftime('%s', start_time)) "
                                   "FROM entries WHERE ext_entry_id IS NOT NULL GROUP BY ext_entry_id"));
    while (query.next())
        links.insert(query.value(0).toLongLong(), query.value(1).toInt());
    return links;
}

} // namespace

class TestServiceTimeEntryApi : public ServiceTest
{
    Q_OBJECT

    QTemporaryDir folder;
    Database database;
    QMap<qint64, int> seeded; // service entries from before the test case
    std::unique_ptr<ServiceTimeEntryApi> api;
    std::unique_ptr<Linking> linking;

    void initCase() override
    {
        QString error;
        QVERIFY2(database.open(folder.filePath("verrinplus.sqlite"), &error), qPrintable(error));
        // Long enough for any ordinary answer on a busy machine, short against a lost one.
        ApiRequest::setDefaultTimeout(5000);
    }

    void initEach() override
    {
        registry().setApiKey(QStringLiteral("test-api-key"));
        registry().setAuthToken(QStringLiteral("valid-token"));
        api = std::make_unique<ServiceTimeEntryApi>(&manager);
        linking = std::make_unique<Linking>(api.get(), &prompter);
    }

    // Four stretches of one title over three days, as the recorder leaves them.
    QStringList recordThreeDays()
    {
        // The journal stays: it is how this data folder knows which service ids it has seen.
        RecordedRows::clearAll();
        seeded = serviceEntries(*api);
        const int editor = RecordedRows::addApp(QStringLiteral("Editor"));
        QStringList ids;
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-16 09:00:00", 600));
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-16 10:00:00", 300));
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-17 08:00:00", 120));
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-18 23:59:00", 180));
        return ids;
    }

    // Every second booked once: the entries made match the linked rows, the check agrees, none pending.
    void verifyBookedOnce()
    {
        QMap<qint64, int> made = serviceEntries(*api);
        for (auto it = seeded.cbegin(); it != seeded.cend(); ++it)
            made.remove(it.key());
        QCOMPARE(made, localLinks());
        QVERIFY(LinkJournal::openIntents().isEmpty());
        const QList<LinkCheck::Line> lines = LinkCheck(api.get()).check(QDate(2026, 11, 1), QDate(2026, 11, 30));
        QStringList text;
        for (const LinkCheck::Line& line : lines)
            text << LinkCheck::lineText(line);
        QVERIFY2(LinkCheck::allAgree(lines), qPrintable(text.join('\n')));
    }

private slots:
    void outcomes_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("kind"); // empty: the service is stopped
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected"); // outcome kind, and "not sent" when proven
        QTest::addColumn<QString>("message");
        const auto row = [](const QString& name, const QString& method, const char* kind, const QByteArray& body,
                            const char* expected, const char* message) {
            QTest::newRow(qPrintable(name)) << method << QString(kind) << body << QString(expected) << QString(message);
        };
        // One call function serves every method: a refusal through the two that read the answer further, every
        // other way an answer fails once.
        for (const QString method : {"addBulk", "getInfo"})
            row(method + " refused", "verrin.entries." + method, "error", {}, "refused", "code 99");
        const QString info = QStringLiteral("verrin.entries.getInfo");
        row("bare error", info, "error-bare", {}, "refused", "");
        row("HTTP 500", info, "http500", {}, "unknown", "HTTP 500");
        row("not XML", info, "raw", "<rsp status=", "unknown", "");
        row("addBulk without an entry id", "verrin.entries.addBulk", "raw",
            "<rsp status=\"ok\"><entry updated=\"x\"/></rsp>", "unknown", "no entry");
        row("getInfo without times", "verrin.entries.getInfo", "raw", "<rsp status=\"ok\"><entry id=\"500\"/></rsp>",
            "unknown", "start");
        row("service stopped", "verrin.entries.addBulk", "", {}, "unknown not sent", "refused the connection");
    }

    void outcomes()
    {
        QFETCH(QString, method);
        QFETCH(QString, kind);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        QFETCH(QString, message);

        if (kind.isEmpty())
            service->stop();
        else
            QVERIFY(service->setFault(method, kind, {.body = body}));
        QString id;
        ServiceEntryInfo info;
        CallOutcome outcome;
        if (method.endsWith(QLatin1String("addBulk")))
            outcome = api->addBulk(QDate(2026, 11, 18), 60, QStringLiteral("1000"), QString(), &id);
        else
            outcome = api->getInfo(500, &info);
        const char* kinds[] = {"ok", "refused", "unknown"};
        QCOMPARE(kinds[int(outcome.kind)] + QString(outcome.notSent ? " not sent" : ""), expected);
        QVERIFY2(outcome.message.contains(message), qPrintable(outcome.message));
        QCOMPARE(id, QString());
        // A POST is never sent twice behind the caller's back, whatever became of the connection.
        if (!kind.isEmpty() && !method.endsWith(QLatin1String("getInfo")))
            QCOMPARE(callsOf(method), 1);
    }

    void linksOneEntryPerDayAndUnlinksByDay()
    {
        const QStringList ids = recordThreeDays();
        const EntryLinker::LinkResult linked = linking->link(ids, "1000", "fixed it & more");
        QVERIFY(linked.linked);
        QCOMPARE(linked.seconds, 600 + 300 + 120 + 180);
        const auto sent = [this](const char* name) { return service->sentValues("verrin.entries.addBulk", name); };
        // A stretch that runs past midnight counts on the day it started.
        QCOMPARE(sent("date"), (QStringList{"2026-11-16", "2026-11-17", "2026-11-18"}));
        QCOMPARE(sent("duration"), (QStringList{"900", "120", "180"}));
        QCOMPARE(sent("description"), QStringList(3, "fixed%20it%20%26%20more"));
        verifyBookedOnce();

        // Linking the same rows again sends nothing.
        QVERIFY(service->clearRequests());
        QVERIFY(!linking->link(ids, "1000", QString()).linked);
        QCOMPARE(callsOf("verrin.entries.addBulk"), 0);

        // Part of a day shortens that day's entry; the rest of it deletes it; other days stay.
        QCOMPARE(linking->unlink({ids.at(1)}).unlinkedIds, QStringList{ids.at(1)});
        QCOMPARE(linking->unlink({ids.at(0), ids.at(2)}).unlinkedIds.size(), 2);
        QCOMPARE(prompter.shown(), QString());
        QCOMPARE(localLinks().size(), 1);
        verifyBookedOnce();
    }

    void faultMatrix_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("after");    // the service did what was asked before the fault
        QTest::addColumn<QString>("state"); // of the rows right after the call: pending or free
        QTest::addColumn<int>("choice");    // the user's answer while settling, -1: not asked
        const auto row = [](const char* name, const char* method, const char* kind, bool after, const char* state,
                            int choice = -1) {
            QTest::newRow(name) << QStringLiteral("verrin.entries.") + method << QString(kind) << after
                                << QString(state) << choice;
        };
        row("answer lost after the store", "addBulk", "delay", true, "pending");
        row("reset before the store", "addBulk", "reset", false, "pending", 1);
        row("refused", "addBulk", "error", false, "free");
        row("shortening lost after the store", "update", "delay", true, "pending");
        row("deletion reset after the store", "delete", "reset", true, "pending");
        // The entry still has its old end: proof the change did not happen, so no question.
        row("shortening reset before the store", "update", "reset", false, "pending");
    }

    void faultMatrix()
    {
        QFETCH(QString, method);
        QFETCH(QString, kind);
        QFETCH(bool, after);
        QFETCH(QString, state);
        QFETCH(int, choice);

        const QStringList firstDay = recordThreeDays().mid(0, 2);
        const bool unlinking = !method.endsWith(QLatin1String("addBulk"));
        if (unlinking)
            QVERIFY(linking->link(firstDay, "1000", QString()).linked);

        const int delayMs = kind == QLatin1String("delay") ? 120000 : 0;
        QVERIFY(service->setFault(method, kind, {.ms = delayMs, .times = 1, .after = after}));
        QVERIFY(service->clearRequests());
        // Unlinking the first row only shortens its entry; both rows delete it.
        const QStringList target = method.endsWith(QLatin1String("update")) ? firstDay.mid(0, 1) : firstDay;
        const QStringList pending =
            unlinking ? linking->unlink(target).pendingIds : linking->link(firstDay, "1000", QString()).pendingIds;
        QCOMPARE(callsOf(method), 1);
        QCOMPARE(pending.isEmpty() ? (localLinks().isEmpty() != unlinking ? "free" : "linked") : "pending", state);
        if (!pending.isEmpty()) {
            // Pending rows are neither linked again nor unlinked again until settled.
            const int sent = callsOf("verrin.entries.addBulk") + callsOf(method);
            QVERIFY(linking->link(pending, "1000", QString()).pendingIds.isEmpty());
            linking->unlink(pending);
            QCOMPARE(callsOf("verrin.entries.addBulk") + callsOf(method), sent);
        }

        // What a restart does: settle from the service's answers, and ask about the rest.
        QVERIFY(service->clearFaults());
        if (choice >= 0)
            prompter.choices.enqueue(choice);
        const LinkRecovery::Report report = LinkRecovery(api.get()).resolveWithUser(&prompter);
        QVERIFY2(report.unsettled.isEmpty(), qPrintable(prompter.shown()));
        QVERIFY(prompter.choices.isEmpty());
        verifyBookedOnce();
        QCOMPARE(callsOf("verrin.entries.addBulk"), unlinking ? 0 : 1);
    }

    void checkTellsAndRepairsWhatChangedOnTheWeb()
    {
        const QStringList ext = linking->link(recordThreeDays(), "1000", QString()).extEntryIds;
        QCOMPARE(ext.size(), 3);
        // On the web: one entry made longer, one shorter, one deleted.
        ServiceEntryInfo info;
        for (int i : {1, 2}) {
            QVERIFY(api->getInfo(ext.at(i).toLongLong(), &info).ok());
            QVERIFY(api->update(ext.at(i).toLongLong(), info.start, info.end.addSecs(i == 1 ? 60 : -60)).ok());
        }
        QVERIFY(api->remove(ext.at(0).toLongLong()).ok());

        LinkCheck check(api.get());
        const QList<LinkCheck::Line> lines = check.check(QDate(2026, 11, 16), QDate(2026, 11, 18));
        QStringList verdicts;
        for (const LinkCheck::Line& line : lines)
            verdicts << LinkCheck::verdictName(line.verdict);
        QCOMPARE(verdicts, (QStringList{"missing", "longer", "shorter"}));
        QVERIFY2(LinkCheck::lineText(lines.at(1)).contains("here 0:02:00, service 0:03:00"),
                 qPrintable(LinkCheck::lineText(lines.at(1))));

        QString error;
        QVERIFY2(check.adjust(lines.at(1), &error), qPrintable(error));
        QVERIFY2(check.adjust(lines.at(2), &error), qPrintable(error));
        // Unlinking the deleted entry's two rows asks once; "no" keeps them linked, "yes" unlinks them here only:
        // the service is not touched.
        const QStringList goneRows = lines.at(0).entryIds;
        QVERIFY(service->clearRequests());
        for (bool yes : {false, true}) {
            prompter.answers.enqueue(yes);
            QCOMPARE(linking->unlink(goneRows).unlinkedIds, yes ? goneRows : QStringList());
            QCOMPARE(callsOf("verrin.entries.update") + callsOf("verrin.entries.delete"), 0);
            QVERIFY2(prompter.calls.last().text.contains(ext.at(0) + " (deleted on the web?)"),
                     qPrintable(prompter.shown()));
        }
        verifyBookedOnce();
    }
};

QTEST_GUILESS_MAIN(TestServiceTimeEntryApi)
#include "TestServiceTimeEntryApi.moc"
