// Time-entry calls over real HTTP, alone and driven by the linker against a real SQLite file.
#include "FakePrompter.h"
#include "ServiceFixture.h"
#include "app/Registry.h"
#include "service/EntryLinker.h"
#include "service/ServiceTimeEntryApi.h"
#include "store/Database.h"

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

} // namespace

class TestServiceTimeEntryApi : public QObject
{
    Q_OBJECT

private:
    ServiceFixture* service = nullptr;
    QNetworkAccessManager manager;
    FakePrompter prompter;

private slots:
    void initTestCase()
    {
        service = new ServiceFixture();
        QVERIFY2(service->isRunning(), qPrintable(service->error()));
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
        service->pointRegistryHere();
        registry()[QStringLiteral("ApiKey")] = QStringLiteral("test-api-key");
        registry()[QStringLiteral("AuthToken")] = QStringLiteral("valid-token");
    }

    void addUpdateRemove()
    {
        ServiceTimeEntryApi api(&manager, &prompter);
        QString id;
        QVERIFY(api.addBulk(QDate(2026, 11, 18), 5400, QStringLiteral("1000"), QStringLiteral("a%20b"), &id));
        const QJsonObject sent = service->receivedRequests().last().toObject();
        QCOMPARE(sent.value("verb").toString(), QStringLiteral("POST"));
        QCOMPARE(paramOf(sent, "date"), QStringLiteral("2026-11-18"));
        QCOMPARE(paramOf(sent, "duration"), QStringLiteral("5400"));
        QCOMPARE(paramOf(sent, "description"), QStringLiteral("a%20b"));

        QDateTime start, end;
        QVERIFY(api.getInfo(id.toInt(), &start, &end));
        QCOMPARE(start, at("2026-11-18 00:00:00"));
        QCOMPARE(end, at("2026-11-18 01:30:00"));
        QVERIFY(api.update(id.toInt(), start, at("2026-11-18 00:10:00")));
        QVERIFY(api.getInfo(id.toInt(), &start, &end));
        QCOMPARE(end, at("2026-11-18 00:10:00"));
        QVERIFY(api.remove(id.toInt()));
        QCOMPARE(boxes(prompter), QString());

        QVERIFY(!api.getInfo(id.toInt(), &start, &end));
        QVERIFY(!start.isValid() && !end.isValid());
        QCOMPARE(boxes(prompter), "critical|Verrin API Error|Code: 114\nMessage: Unknown entry: " + id);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expectedBoxes");

        const QString refused = QStringLiteral("critical|Verrin API Error|Code: 99\nMessage: Injected failure");
        const QString broken = QStringLiteral("warn|Network error|401");
        for (const char* method :
             {"verrin.entries.addBulk", "verrin.entries.getInfo", "verrin.entries.update", "verrin.entries.delete"}) {
            QTest::addRow("%s refused", method) << method << "error" << QByteArray() << refused;
            QTest::addRow("%s HTTP 500", method) << method << "http500" << QByteArray() << broken;
            QTest::addRow("%s not XML", method) << method << "raw" << QByteArray("<rsp status=") << QString();
        }
        QTest::newRow("addBulk without an entry id")
            << "verrin.entries.addBulk"
            << "raw" << QByteArray("<rsp status=\"ok\"><entry updated=\"x\"/></rsp>") << QString();
        QTest::newRow("getInfo without times")
            << "verrin.entries.getInfo"
            << "raw" << QByteArray("<rsp status=\"ok\"><entry id=\"500\"/></rsp>") << QString();
    }

    void failures()
    {
        QFETCH(QString, method);
        QFETCH(QString, kind);
        QFETCH(QByteArray, body);
        QFETCH(QString, expectedBoxes);

        ServiceFixture::FaultOptions options;
        options.body = body;
        QVERIFY(service->setFault(method, kind, options));
        ServiceTimeEntryApi api(&manager, &prompter);
        QString id;
        QDateTime start, end;
        bool ok = true;
        if (method.endsWith(QLatin1String("addBulk")))
            ok = api.addBulk(QDate(2026, 11, 18), 60, QStringLiteral("1000"), QString(), &id);
        else if (method.endsWith(QLatin1String("getInfo")))
            ok = api.getInfo(500, &start, &end);
        else if (method.endsWith(QLatin1String("update")))
            ok = api.update(500, at("2026-11-20 09:00:00"), at("2026-11-20 09:30:00"));
        else
            ok = api.remove(500);
        QVERIFY(!ok);
        QCOMPARE(id, QString());
        QCOMPARE(boxes(prompter), expectedBoxes);
    }

    void linkAndUnlinkThroughTheService()
    {
        QTemporaryDir folder;
        Database database;
        QString error;
        QVERIFY2(database.open(folder.filePath("verrinplus.sqlite"), &error), qPrintable(error));
        QSqlQuery query;
        QVERIFY(query.exec("INSERT INTO applications (id, path, name) VALUES (1, '/usr/bin/editor', 'Editor')"));
        QVERIFY(query.exec("INSERT INTO entries (id, title, application_id, start_time, end_time) VALUES "
                           "(1, 'notes.txt', 1, '2026-11-16 09:00:00', '2026-11-16 09:10:00'), "
                           "(2, 'notes.txt', 1, '2026-11-16 10:00:00', '2026-11-16 10:05:00'), "
                           "(3, 'other.txt', 1, '2026-11-17 08:00:00', '2026-11-17 08:02:00')"));

        ServiceTimeEntryApi api(&manager, &prompter);
        EntryLinker linker(&api);
        const EntryLinker::LinkResult linked =
            linker.connectEntriesWithTask({"1", "2", "3"}, "1000", "fixed it & more");
        QVERIFY(linked.linked);
        QCOMPARE(linked.seconds, 600 + 300 + 120);
        const QJsonObject sent = service->receivedRequests().last().toObject();
        QCOMPARE(paramOf(sent, "date"), QStringLiteral("2026-11-16"));
        QCOMPARE(paramOf(sent, "description"), QStringLiteral("fixed%20it%20%26%20more"));

        const int extId = linked.extEntryId.toInt();
        QDateTime start, end;
        QVERIFY(api.getInfo(extId, &start, &end));
        QCOMPARE(start.secsTo(end), 1020);

        // Taking part of the time back shortens the service entry from its end.
        EntryLinker::UnlinkResult unlinked = linker.unlinkEntries({"2"});
        QCOMPARE(unlinked.unlinkedIds, QStringList{"2"});
        QVERIFY(api.getInfo(extId, &start, &end));
        QCOMPARE(start.secsTo(end), 720);

        // Taking the rest deletes it.
        unlinked = linker.unlinkEntries({"1", "3"});
        QCOMPARE(unlinked.unlinkedIds.size(), 2);
        QVERIFY(unlinked.failedExtEntryIds.isEmpty());
        QCOMPARE(boxes(prompter), QString());
        QVERIFY(!api.getInfo(extId, &start, &end));
        QVERIFY(query.exec("SELECT COUNT(*) FROM entries WHERE ext_entry_id IS NOT NULL"));
        QVERIFY(query.next());
        QCOMPARE(query.value(0).toInt(), 0);
    }
};

QTEST_GUILESS_MAIN(TestServiceTimeEntryApi)
#include "TestServiceTimeEntryApi.moc"
