// Time-entry calls over real HTTP, alone and driven by the linker against a real SQLite file, with the
// local service losing answers, resetting connections and failing in every way linking must survive.
#include "FakePrompter.h"
#include "RecordedRows.h"
#include "ServiceFixture.h"
#include "app/Registry.h"
#include "store/Database.h"
#include "verrin/ApiRequest.h"
#include "verrin/EntryLinker.h"
#include "verrin/LinkCheck.h"
#include "verrin/LinkJournal.h"
#include "verrin/LinkRecovery.h"
#include "verrin/Linking.h"
#include "verrin/ServiceTimeEntryApi.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace {

Registry& registry()
{
    return *Registry::instance();
}

QString boxes(const FakePrompter& prompter)
{
    QStringList shown;
    for (const FakePrompter::Call& call : prompter.calls)
        shown << call.kind + QLatin1Char('|') + call.title + QLatin1Char('|') + call.text;
    return shown.join(QLatin1Char('\n'));
}

QString paramOf(const QJsonObject& request, const QString& name)
{
    for (const QJsonValue& pair : request.value("params").toArray()) {
        if (pair.toArray().at(0).toString() == name)
            return pair.toArray().at(1).toString();
    }
    return QString();
}

QDateTime at(const char* text)
{
    return QDateTime::fromString(QString::fromLatin1(text), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

QString kindOf(const CallOutcome& outcome)
{
    switch (outcome.kind) {
    case CallOutcome::Kind::Ok:
        return QStringLiteral("ok");
    case CallOutcome::Kind::Refused:
        return QStringLiteral("refused");
    case CallOutcome::Kind::Unknown:
        return QStringLiteral("unknown");
    }
    return QString();
}

int callsOf(ServiceFixture& service, const QString& method)
{
    int count = 0;
    for (const QJsonValue& request : service.receivedRequests())
        count += request[QStringLiteral("method")].toString() == method ? 1 : 0;
    return count;
}

// Every service entry of the test user with its seconds, found by asking for ids one by one (the
// service has no listing; the seed's entries are 500 and 600, new ones follow, never reused).
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

class TestServiceTimeEntryApi : public QObject
{
    Q_OBJECT

private:
    ServiceFixture* service = nullptr;
    QNetworkAccessManager manager;
    FakePrompter prompter;
    QTemporaryDir folder;
    Database database;
    QMap<qint64, int> seeded; // service entries from before the test case

    // Three days of one title, as the recorder leaves them.
    QStringList recordThreeDays()
    {
        // The journal stays: it is how this data folder knows which service ids it has seen.
        RecordedRows::clearAll();
        ServiceTimeEntryApi api(&manager);
        seeded = serviceEntries(api);
        const int editor = RecordedRows::addApp(QStringLiteral("Editor"));
        QStringList ids;
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-16 09:00:00", 600));
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-16 10:00:00", 300));
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-17 08:00:00", 120));
        ids << QString::number(RecordedRows::addEntry(editor, "notes.txt", "2026-11-18 23:59:00", 180));
        return ids;
    }

    // Every second once: each service entry the linking made is one the rows point to, with the
    // rows' seconds, the check agrees, and nothing is pending.
    void verifyBookedOnce(TimeEntryApi& api)
    {
        QMap<qint64, int> made = serviceEntries(api);
        for (auto it = seeded.cbegin(); it != seeded.cend(); ++it)
            made.remove(it.key());
        QCOMPARE(made, localLinks());
        QVERIFY(LinkJournal::openIntents().isEmpty());
        const QList<LinkCheck::Line> lines = LinkCheck(&api).check(QDate(2026, 11, 1), QDate(2026, 11, 30));
        QStringList text;
        for (const LinkCheck::Line& line : lines)
            text << LinkCheck::lineText(line);
        QVERIFY2(LinkCheck::allAgree(lines), qPrintable(text.join('\n')));
    }

private slots:
    void initTestCase()
    {
        service = new ServiceFixture();
        QVERIFY2(service->isRunning(), qPrintable(service->error()));
        QString error;
        QVERIFY2(database.open(folder.filePath("verrinplus.sqlite"), &error), qPrintable(error));
        // Long enough for any ordinary answer on a busy machine, short against a lost one.
        ApiRequest::setDefaultTimeout(5000);
    }

    void cleanupTestCase()
    {
        delete service;
        Registry::drop();
    }

    void init()
    {
        QVERIFY2(service->reset(), qPrintable(service->error()));
        prompter.calls.clear();
        prompter.answers.clear();
        prompter.choices.clear();
        service->pointRegistryHere();
        registry().setApiKey(QStringLiteral("test-api-key"));
        registry().setAuthToken(QStringLiteral("valid-token"));
    }

    void addUpdateRemove()
    {
        ServiceTimeEntryApi api(&manager);
        QString id;
        QVERIFY(api.addBulk(QDate(2026, 11, 18), 5400, QStringLiteral("1000"), QStringLiteral("a%20b"), &id).ok());
        const QJsonObject sent = service->receivedRequests().last().toObject();
        QCOMPARE(sent.value("verb").toString(), QStringLiteral("POST"));
        QCOMPARE(paramOf(sent, "date"), QStringLiteral("2026-11-18"));
        QCOMPARE(paramOf(sent, "duration"), QStringLiteral("5400"));
        QCOMPARE(paramOf(sent, "description"), QStringLiteral("a%20b"));

        ServiceEntryInfo info;
        QVERIFY(api.getInfo(id.toLongLong(), &info).ok());
        QCOMPARE(info.start, at("2026-11-18 00:00:00"));
        QCOMPARE(info.end, at("2026-11-18 01:30:00"));
        QCOMPARE(info.taskId, QStringLiteral("1000"));
        QVERIFY(api.update(id.toLongLong(), info.start, at("2026-11-18 00:10:00")).ok());
        QVERIFY(api.getInfo(id.toLongLong(), &info).ok());
        QCOMPARE(info.end, at("2026-11-18 00:10:00"));
        QVERIFY(api.remove(id.toLongLong()).ok());
        QVERIFY(api.getInfo(id.toLongLong(), &info).unknownEntry());

        // A deleted entry's id is never handed out again, so a stale row cannot reach new time.
        QString next;
        QVERIFY(api.addBulk(QDate(2026, 11, 18), 60, QStringLiteral("1000"), QString(), &next).ok());
        QVERIFY(next.toLongLong() > id.toLongLong());
        QVERIFY(api.remove(next.toLongLong()).ok());
        QCOMPARE(boxes(prompter), QString());
    }

    void outcomes_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected"); // outcome kind, and "not sent" when proven
        QTest::addColumn<QString>("message");

        for (const char* method :
             {"verrin.entries.addBulk", "verrin.entries.getInfo", "verrin.entries.update", "verrin.entries.delete"}) {
            QTest::addRow("%s refused", method) << method << "error" << QByteArray() << "refused"
                                                << "code 99";
            QTest::addRow("%s bare error", method) << method << "error-bare" << QByteArray() << "refused"
                                                   << "";
            QTest::addRow("%s HTTP 500", method) << method << "http500" << QByteArray() << "unknown"
                                                 << "HTTP 500";
            QTest::addRow("%s not XML", method) << method << "raw" << QByteArray("<rsp status=") << "unknown"
                                                << "";
            QTest::addRow("%s reset", method) << method << "reset" << QByteArray() << "unknown"
                                              << "";
        }
        QTest::newRow("addBulk without an entry id")
            << "verrin.entries.addBulk"
            << "raw" << QByteArray("<rsp status=\"ok\"><entry updated=\"x\"/></rsp>") << "unknown"
            << "no entry";
        QTest::newRow("getInfo without times")
            << "verrin.entries.getInfo"
            << "raw" << QByteArray("<rsp status=\"ok\"><entry id=\"500\"/></rsp>") << "unknown"
            << "start";
        QTest::newRow("service stopped") << "verrin.entries.addBulk"
                                         << "" << QByteArray() << "unknown not sent"
                                         << "refused the connection";
    }

    void outcomes()
    {
        QFETCH(QString, method);
        QFETCH(QString, kind);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        QFETCH(QString, message);

        ServiceFixture::FaultOptions options;
        options.body = body;
        if (kind.isEmpty())
            service->stop();
        else
            QVERIFY(service->setFault(method, kind, options));
        ServiceTimeEntryApi api(&manager);
        QString id;
        ServiceEntryInfo info;
        CallOutcome outcome;
        if (method.endsWith(QLatin1String("addBulk")))
            outcome = api.addBulk(QDate(2026, 11, 18), 60, QStringLiteral("1000"), QString(), &id);
        else if (method.endsWith(QLatin1String("getInfo")))
            outcome = api.getInfo(500, &info);
        else if (method.endsWith(QLatin1String("update")))
            outcome = api.update(500, at("2026-11-20 09:00:00"), at("2026-11-20 09:30:00"));
        else
            outcome = api.remove(500);
        QCOMPARE(kindOf(outcome) + (outcome.notSent ? " not sent" : ""), expected);
        QVERIFY2(outcome.message.contains(message), qPrintable(outcome.message));
        QCOMPARE(id, QString());
        // The calls themselves are quiet: whoever made them tells the user once.
        QCOMPARE(boxes(prompter), QString());
        if (!kind.isEmpty() && !method.endsWith(QLatin1String("getInfo"))) {
            // A POST is never sent twice behind the caller's back, whatever became of the connection.
            QCOMPARE(callsOf(*service, method), 1);
        }
    }

    void linksOneEntryPerDayAndUnlinksByDay()
    {
        const QStringList ids = recordThreeDays();
        ServiceTimeEntryApi api(&manager);
        Linking linking(&api, &prompter);
        const EntryLinker::LinkResult linked = linking.link(ids, "1000", "fixed it & more");
        QVERIFY(linked.linked);
        QCOMPARE(linked.seconds, 600 + 300 + 120 + 180);
        QStringList sent;
        for (const QJsonValue& request : service->receivedRequests()) {
            const QJsonObject call = request.toObject();
            if (call.value("method").toString() == QLatin1String("verrin.entries.addBulk"))
                sent << paramOf(call, "date") + ' ' + paramOf(call, "duration") + ' ' + paramOf(call, "description");
        }
        // A stretch that runs past midnight counts on the day it started.
        QCOMPARE(sent, (QStringList{"2026-11-16 900 fixed%20it%20%26%20more", "2026-11-17 120 fixed%20it%20%26%20more",
                                    "2026-11-18 180 fixed%20it%20%26%20more"}));
        verifyBookedOnce(api);

        // Linking the same rows again sends nothing.
        QVERIFY(service->clearRequests());
        QVERIFY(!linking.link(ids, "1000", QString()).linked);
        QCOMPARE(callsOf(*service, "verrin.entries.addBulk"), 0);

        // Part of a day shortens that day's entry; the rest of it deletes it; other days stay.
        EntryLinker::UnlinkResult unlinked = linking.unlink({ids.at(1)});
        QCOMPARE(unlinked.unlinkedIds, QStringList{ids.at(1)});
        unlinked = linking.unlink({ids.at(0), ids.at(2)});
        QCOMPARE(unlinked.unlinkedIds.size(), 2);
        QCOMPARE(boxes(prompter), QString());
        QCOMPARE(localLinks().size(), 1);
        verifyBookedOnce(api);
    }

    void faultMatrix_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("after");         // the service did what was asked before the fault
        QTest::addColumn<QString>("state");      // of the rows right after the call: linked, pending or free
        QTest::addColumn<QList<int>>("choices"); // the user's answers while settling

        const QList<int> none;
        const QList<int> putBack{1};
        QTest::newRow("answer lost after the store") << "verrin.entries.addBulk"
                                                     << "delay" << true << "pending" << none;
        QTest::newRow("reset before the store") << "verrin.entries.addBulk"
                                                << "reset" << false << "pending" << putBack;
        QTest::newRow("reset after the store") << "verrin.entries.addBulk"
                                               << "reset" << true << "pending" << none;
        QTest::newRow("HTTP 500") << "verrin.entries.addBulk"
                                  << "http500" << false << "pending" << putBack;
        QTest::newRow("garbage after the store") << "verrin.entries.addBulk"
                                                 << "raw" << true << "pending" << none;
        QTest::newRow("refused") << "verrin.entries.addBulk"
                                 << "error" << false << "free" << none;
        QTest::newRow("shortening lost after the store") << "verrin.entries.update"
                                                         << "delay" << true << "pending" << none;
        QTest::newRow("deletion reset after the store") << "verrin.entries.delete"
                                                        << "reset" << true << "pending" << none;
        // The entry still has its old end: proof the change did not happen, so no question.
        QTest::newRow("shortening reset before the store") << "verrin.entries.update"
                                                           << "reset" << false << "pending" << none;
    }

    void faultMatrix()
    {
        QFETCH(QString, method);
        QFETCH(QString, kind);
        QFETCH(bool, after);
        QFETCH(QString, state);
        QFETCH(QList<int>, choices);

        const QStringList ids = recordThreeDays();
        const QStringList firstDay = ids.mid(0, 2);
        ServiceTimeEntryApi api(&manager);
        Linking linking(&api, &prompter);
        const bool unlinking = !method.endsWith(QLatin1String("addBulk"));
        if (unlinking)
            QVERIFY(linking.link(firstDay, "1000", QString()).linked);

        ServiceFixture::FaultOptions options;
        options.after = after;
        options.times = 1;
        options.ms = kind == QLatin1String("delay") ? 120000 : 0;
        options.body = "<rsp status=\"ok\"><entry";
        QVERIFY(service->setFault(method, kind, options));
        QVERIFY(service->clearRequests());
        // Unlinking the first row only shortens its entry; both rows delete it.
        const QStringList target = method.endsWith(QLatin1String("update")) ? firstDay.mid(0, 1) : firstDay;
        QStringList pending;
        if (unlinking)
            pending = linking.unlink(target).pendingIds;
        else
            pending = linking.link(firstDay, "1000", QString()).pendingIds;
        QCOMPARE(callsOf(*service, method), 1);
        QCOMPARE(pending.isEmpty() ? (localLinks().isEmpty() != unlinking ? "free" : "linked") : "pending", state);
        if (state == QLatin1String("pending")) {
            // Pending rows are neither linked again nor unlinked again until settled.
            const int sent = callsOf(*service, "verrin.entries.addBulk") + callsOf(*service, method);
            QVERIFY(linking.link(pending, "1000", QString()).pendingIds.isEmpty());
            linking.unlink(pending);
            QCOMPARE(callsOf(*service, "verrin.entries.addBulk") + callsOf(*service, method), sent);
        }

        // What a restart does: settle from the service's answers, and ask about the rest.
        QVERIFY(service->clearFaults());
        prompter.choices.clear();
        for (int choice : choices)
            prompter.choices.enqueue(choice);
        const LinkRecovery::Report report = LinkRecovery(&api).resolveWithUser(&prompter);
        QVERIFY2(report.unsettled.isEmpty(), qPrintable(boxes(prompter)));
        QVERIFY(prompter.choices.isEmpty());
        verifyBookedOnce(api);
        QCOMPARE(callsOf(*service, "verrin.entries.addBulk"), unlinking ? 0 : 1);
    }

    void checkTellsAndRepairsWhatChangedOnTheWeb()
    {
        const QStringList ids = recordThreeDays();
        ServiceTimeEntryApi api(&manager);
        Linking linking(&api, &prompter);
        const QStringList ext = linking.link(ids, "1000", QString()).extEntryIds;
        QCOMPARE(ext.size(), 3);
        // On the web: one entry made longer, one shorter, one deleted.
        ServiceEntryInfo info;
        QVERIFY(api.getInfo(ext.at(0).toLongLong(), &info).ok());
        QVERIFY(api.update(ext.at(0).toLongLong(), info.start, info.end.addSecs(60)).ok());
        QVERIFY(api.getInfo(ext.at(1).toLongLong(), &info).ok());
        QVERIFY(api.update(ext.at(1).toLongLong(), info.start, info.end.addSecs(-60)).ok());
        QVERIFY(api.remove(ext.at(2).toLongLong()).ok());

        LinkCheck check(&api);
        QList<LinkCheck::Line> lines = check.check(QDate(2026, 11, 16), QDate(2026, 11, 18));
        QStringList verdicts;
        for (const LinkCheck::Line& line : lines)
            verdicts << LinkCheck::verdictName(line.verdict);
        QCOMPARE(verdicts, (QStringList{"longer", "shorter", "missing"}));
        QVERIFY2(LinkCheck::lineText(lines.at(0)).contains("here 0:15:00, service 0:16:00"),
                 qPrintable(LinkCheck::lineText(lines.at(0))));

        QString error;
        QVERIFY2(check.adjust(lines.at(0), &error), qPrintable(error));
        QVERIFY2(check.adjust(lines.at(1), &error), qPrintable(error));
        QVERIFY(EntryLinker::unlinkGoneEntry(lines.at(2).extEntryId, lines.at(2).entryIds, &error));
        verifyBookedOnce(api);
    }

    void entryDeletedOnTheServiceBeforeAnUnlink()
    {
        const QStringList ids = recordThreeDays();
        ServiceTimeEntryApi api(&manager);
        Linking linking(&api, &prompter);
        const EntryLinker::LinkResult linked = linking.link(ids, "1000", QString());
        QCOMPARE(linked.extEntryIds.size(), 3);
        const qint64 gone = linked.extEntryIds.first().toLongLong();
        QVERIFY(api.remove(gone).ok());

        // Asked once; "no" keeps the rows linked and touches nothing on the service.
        QVERIFY(service->clearRequests());
        prompter.answers.enqueue(false);
        EntryLinker::UnlinkResult result = linking.unlink(ids.mid(0, 2));
        QVERIFY(result.unlinkedIds.isEmpty());
        QCOMPARE(callsOf(*service, "verrin.entries.update") + callsOf(*service, "verrin.entries.delete"), 0);
        QVERIFY2(prompter.calls.last().text.contains(QString::number(gone) + " (deleted on the web?)"),
                 qPrintable(boxes(prompter)));
        // "Yes" unlinks them here only.
        prompter.answers.enqueue(true);
        result = linking.unlink(ids.mid(0, 2));
        QCOMPARE(result.unlinkedIds, ids.mid(0, 2));
        QCOMPARE(callsOf(*service, "verrin.entries.update") + callsOf(*service, "verrin.entries.delete"), 0);
        verifyBookedOnce(api);
    }
};

QTEST_GUILESS_MAIN(TestServiceTimeEntryApi)
#include "TestServiceTimeEntryApi.moc"
