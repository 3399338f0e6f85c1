#include "RecordedRows.h"
#include "ServiceFixture.h"
#include "TempDataFolder.h"
#include "app/SettingsFile.h"
#include "rules/RuleStore.h"
#include "store/Database.h"
#include "store/util.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QSqlQuery>
#include <QTest>

// The real program applying rules from the command line against the local Verrin service, on a data
// folder holding a real settings file and database, with no display at all.
namespace {

const QString kPassword = QStringLiteral("p+ss &=w%rd ü/?#"); // the test seed's user
const QString kEmail = QStringLiteral("tester@verrin.test");

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

void startProgram(QProcess& process, const TempDataFolder& data, const QStringList& arguments)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), data.path() + QStringLiteral("/data"));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), data.path() + QStringLiteral("/runtime"));
    // A window would need a display; the command must not.
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(VERRINPLUS_BINARY), arguments);
}

Run finish(QProcess& process)
{
    Run run;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished(10000);
        run.err = QStringLiteral("did not finish");
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

Run runProgram(const TempDataFolder& data, const QStringList& arguments)
{
    QProcess process;
    startProgram(process, data, arguments);
    return finish(process);
}

void writeIni(const TempDataFolder& data, const QString& url, const QString& user, const QString& password,
              const QString& token)
{
    QDir().mkpath(data.dataFolder());
    QSettings ini(data.dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
    ini.setValue(QStringLiteral("API/Url"), url);
    ini.setValue(QStringLiteral("API/SslEnabled"), false);
    ini.setValue(QStringLiteral("API/Username"), user);
    ini.setValue(QStringLiteral("API/Password"), SettingsFile::encodePassword(password));
    ini.setValue(QStringLiteral("API/AuthToken"), token);
}

// "task, project, task list" of a row as linked locally; empty when it is not linked.
QString linkOf(int entryId)
{
    QSqlQuery q;
    q.prepare(QStringLiteral("SELECT ext_entry_id, ext_task_name, ext_project_name, ext_tasklist_name FROM entries "
                             "WHERE id = :id"));
    q.bindValue(QStringLiteral(":id"), entryId);
    if (!q.exec() || !q.next() || q.value(0).isNull()) {
        return QString();
    }
    return QStringLiteral("%1, %2, %3").arg(q.value(1).toString(), q.value(2).toString(), q.value(3).toString());
}

// The addBulk calls the service received, each as "task_id date duration".
QStringList addBulkCalls(ServiceFixture& service)
{
    QStringList calls;
    for (const QJsonValue& request : service.receivedRequests()) {
        if (request[QStringLiteral("method")].toString() != QLatin1String("verrin.entries.addBulk")) {
            continue;
        }
        QMap<QString, QString> params;
        for (const QJsonValue& pair : request[QStringLiteral("params")].toArray()) {
            params[pair[0].toString()] = pair[1].toString();
        }
        calls << QStringLiteral("%1 %2 %3")
                     .arg(params[QStringLiteral("task_id")], params[QStringLiteral("date")],
                          params[QStringLiteral("duration")]);
    }
    return calls;
}

} // namespace

class TestApplyRulesCommand : public QObject
{
    Q_OBJECT

private slots:
    void linksWhatMatchedOnceAndNothingTwice();
    void exitStatusAndMessage_data();
    void exitStatusAndMessage();
    void crashesAndOverlappingRunsBookEachSecondOnce();
};

void TestApplyRulesCommand::linksWhatMatchedOnceAndNothingTwice()
{
    ServiceFixture service;
    QVERIFY2(service.isRunning(), qPrintable(service.error()));
    TempDataFolder data;
    writeIni(data, service.baseUrl(), kEmail, kPassword, QString());
    Database db;
    QString error;
    QVERIFY2(db.open(data.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error), qPrintable(error));

    const int editor = RecordedRows::addApp(QStringLiteral("Editor"));
    const int browser = RecordedRows::addApp(QStringLiteral("Browser"));
    const int monday = RecordedRows::addEntry(editor, QStringLiteral("Quarterly report"), "2026-11-16 09:00:00", 600);
    const int mondayAgain =
        RecordedRows::addEntry(editor, QStringLiteral("Quarterly report"), "2026-11-16 14:00:00", 60);
    const int tuesday = RecordedRows::addEntry(editor, QStringLiteral("Quarterly report"), "2026-11-17 10:00:00", 240);
    const int mail = RecordedRows::addEntry(browser, QStringLiteral("Mail - Inbox"), "2026-11-17 11:00:00", 45);
    const int news = RecordedRows::addEntry(browser, QStringLiteral("News"), "2026-11-17 12:00:00", 30);
    const int later = RecordedRows::addEntry(editor, QStringLiteral("Quarterly report"), "2026-11-18 08:00:00", 120);

    // Both editor rules match the report; the one first in order decides, though its task id is the
    // higher one and it was added last.
    RuleStore store;
    const QDate d(2026, 1, 1);
    store.addDbRule("broad", {editor}, "or", "report", "always", d, d, 10, 1000);
    store.addDbRule("mail", {browser}, "regexp", "^mail", "always", d, d, 11, 1100);
    const int exact = store.addDbRule("exact", {editor}, "exact", "Quarterly report", "always", d, d, 10, 1010);
    store.moveDbRule(exact, -1);
    store.moveDbRule(exact, -1);

    const Run first = runProgram(data, {"--apply-rules", "2026-11-16", "2026-11-17"});
    QVERIFY2(first.exitCode == 0, qPrintable(first.err));
    QCOMPARE(first.out.split('\n', Qt::SkipEmptyParts),
             (QStringList{"Front page (Website / Build, task 1010): 3 entries in 2 groups, 0:15:00",
                          "Tickets (Intranet / Support, task 1100): 1 entry in 1 group, 0:00:45",
                          "Total from 2026-11-16 to 2026-11-17: 4 entries in 3 groups linked to 2 tasks, 0:15:45"}));
    QVERIFY2(first.err.isEmpty(), qPrintable(first.err));

    // One service entry per task and day, dated that day.
    QCOMPARE(addBulkCalls(service), (QStringList{"1010 2026-11-16 660", "1010 2026-11-17 240", "1100 2026-11-17 45"}));
    for (int id : {monday, mondayAgain, tuesday}) {
        QCOMPARE(linkOf(id), QStringLiteral("Front page, Website, Build"));
    }
    QCOMPARE(linkOf(mail), QStringLiteral("Tickets, Intranet, Support"));
    QCOMPARE(linkOf(news), QString());
    QCOMPARE(linkOf(later), QString());

    // Linked entries are never offered again.
    QVERIFY(service.clearRequests());
    const Run second = runProgram(data, {"--apply-rules", "2026-11-16", "2026-11-17"});
    QVERIFY2(second.exitCode == 0, qPrintable(second.err));
    QCOMPARE(second.out.trimmed(), QStringLiteral("Nothing to link from 2026-11-16 to 2026-11-17: no rule matched "
                                                  "the 1 group of unlinked entries"));
    QVERIFY(addBulkCalls(service).isEmpty());

    // A day of its own, by the one-date form.
    const Run third = runProgram(data, {"--apply-rules", "2026-11-18"});
    QVERIFY2(third.exitCode == 0, qPrintable(third.err));
    QVERIFY2(third.out.endsWith("Total on 2026-11-18: 1 entry in 1 group linked to 1 task, 0:02:00\n"),
             qPrintable(third.out));
    QCOMPARE(addBulkCalls(service), QStringList{"1010 2026-11-18 120"});
}

void TestApplyRulesCommand::exitStatusAndMessage_data()
{
    QTest::addColumn<bool>("settings");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("token");
    QTest::addColumn<bool>("withRule");
    QTest::addColumn<bool>("serviceUp");
    QTest::addColumn<QStringList>("dates");
    QTest::addColumn<QString>("refusedMethod"); // answered with status "error"
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message"); // on stderr, or on stdout for exit code 0

    const QStringList day{"2026-11-16"};
    QTest::newRow("no settings file") << false << ""
                                      << ""
                                      << "" << true << true << day << "" << 3 << "no settings file";
    QTest::newRow("no stored session") << true << ""
                                       << ""
                                       << "" << true << true << day << "" << 3 << "no stored session";
    QTest::newRow("token expired, no password")
        << true << ""
        << ""
        << "expired-token" << true << true << day << "" << 3 << "stored session is no longer valid";
    QTest::newRow("password refused") << true << kEmail << "wrong"
                                      << "" << true << true << day << "" << 3
                                      << "refused the stored user name and password";
    QTest::newRow("service down") << true << kEmail << kPassword << "" << true << false << day << "" << 4
                                  << "cannot reach the Verrin service at http://127.0.0.1:";
    QTest::newRow("bad date") << true << kEmail << kPassword << "" << true << true << QStringList{"2026-02-30"} << ""
                              << 2 << "yyyy-MM-dd";
    QTest::newRow("no rules, no need to sign in")
        << true << kEmail << kPassword << "" << false << false << day << "" << 0 << "No rules to apply";
    // The stored token alone is enough, and credentials take over from an expired one.
    QTest::newRow("valid token") << true << ""
                                 << ""
                                 << "valid-token" << true << true << day << "" << 0 << "Total on";
    QTest::newRow("expired token, password")
        << true << kEmail << kPassword << "expired-token" << true << true << day << "" << 0 << "Total on";
    QTest::newRow("entry refused") << true << kEmail << kPassword << "" << true << true << day
                                   << "verrin.entries.addBulk" << 1 << "1 task could not be linked";
    QTest::newRow("no catalogue") << true << kEmail << kPassword << "" << true << true << day
                                  << "verrin.projects.findByUser" << 4 << "did not send the projects catalogue";
}

void TestApplyRulesCommand::exitStatusAndMessage()
{
    QFETCH(bool, settings);
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QString, token);
    QFETCH(bool, withRule);
    QFETCH(bool, serviceUp);
    QFETCH(QStringList, dates);
    QFETCH(QString, refusedMethod);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    ServiceFixture service;
    QVERIFY2(service.isRunning(), qPrintable(service.error()));
    TempDataFolder data;
    if (settings) {
        writeIni(data, service.baseUrl(), user, password, token);
    }
    QDir().mkpath(data.dataFolder());
    int entry = 0;
    {
        Database db;
        QString error;
        QVERIFY2(db.open(data.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error), qPrintable(error));
        const int editor = RecordedRows::addApp(QStringLiteral("Editor"));
        entry = RecordedRows::addEntry(editor, QStringLiteral("plan"), "2026-11-16 09:00:00", 60);
        if (withRule) {
            RuleStore().addDbRule("all", {editor}, "and", "", "always", QDate(2026, 1, 1), QDate(), 10, 1000);
        }
    }
    if (!serviceUp) {
        service.stop();
    }
    if (!refusedMethod.isEmpty()) {
        QVERIFY(service.setFault(refusedMethod, QStringLiteral("error")));
    }

    const Run run = runProgram(data, QStringList{"--apply-rules"} + dates);
    QCOMPARE(run.exitCode, exitCode);
    const QString& shown = exitCode == 0 ? run.out : run.err;
    QVERIFY2(shown.contains(message), qPrintable(run.out + run.err));
    if (serviceUp) {
        QCOMPARE(addBulkCalls(service).size(), (exitCode == 0 && withRule) || exitCode == 1 ? 1 : 0);
    }
    Database db;
    QString error;
    QVERIFY2(db.open(data.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error), qPrintable(error));
    QCOMPARE(linkOf(entry).isEmpty(), !(exitCode == 0 && withRule));
}

void TestApplyRulesCommand::crashesAndOverlappingRunsBookEachSecondOnce()
{
    ServiceFixture service;
    QVERIFY2(service.isRunning(), qPrintable(service.error()));
    TempDataFolder data;
    writeIni(data, service.baseUrl(), kEmail, kPassword, QString());
    QList<int> rows;
    {
        Database db;
        QString error;
        QVERIFY2(db.open(data.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error), qPrintable(error));
        const int editor = RecordedRows::addApp(QStringLiteral("Editor"));
        for (const char* start : {"2026-11-16 09:00:00", "2026-11-17 09:00:00", "2026-11-18 09:00:00"}) {
            rows << RecordedRows::addEntry(editor, QStringLiteral("Budget"), start, 600);
        }
        RuleStore().addDbRule("budget", {editor}, "and", "Budget", "always", QDate(2026, 1, 1), QDate(), 10, 1000);
    }
    const QStringList range{"--apply-rules", "2026-11-16", "2026-11-18"};

    // The first day links normally, so the folder knows where the service's ids stand.
    QCOMPARE(runProgram(data, {"--apply-rules", "2026-11-16"}).exitCode, 0);

    // The next run dies while the service has stored its entry but not yet answered...
    ServiceFixture::FaultOptions slow;
    slow.ms = 120000;
    slow.times = 1;
    QVERIFY(service.setFault(QStringLiteral("verrin.entries.addBulk"), QStringLiteral("delay"), slow));
    QProcess killed;
    startProgram(killed, data, range);
    QTRY_VERIFY_WITH_TIMEOUT(addBulkCalls(service).size() == 2, 30000);
    // ...and a run started meanwhile waits for the folder instead of linking the same rows.
    QProcess waiting;
    startProgram(waiting, data, range);
    QString waitingSaid;
    QTRY_VERIFY_WITH_TIMEOUT(
        (waitingSaid += QString::fromUtf8(waiting.readAllStandardError())).contains("waiting for it to finish"), 30000);
    killed.kill();
    killed.waitForFinished(10000);
    const Run second = finish(waiting);
    QVERIFY2(second.exitCode == 0, qPrintable(second.out + second.err));
    // It found the lost entry instead of sending the day again, and linked the day that was left.
    QVERIFY2(second.out.contains("Settled 1 pending link"), qPrintable(second.out));
    QCOMPARE(addBulkCalls(service), (QStringList{"1000 2026-11-16 600", "1000 2026-11-17 600", "1000 2026-11-18 600"}));

    const Run check = runProgram(data, {"--check-links", "2026-11-16", "2026-11-18"});
    QVERIFY2(check.exitCode == 0, qPrintable(check.out + check.err));
    QVERIFY2(check.out.contains("Checked 3 links from 2026-11-16 to 2026-11-18: 3 agree"), qPrintable(check.out));
    Database db;
    QString error;
    QVERIFY2(db.open(data.dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error), qPrintable(error));
    for (int row : rows) {
        QVERIFY(!linkOf(row).isEmpty());
    }
}

QTEST_GUILESS_MAIN(TestApplyRulesCommand)
#include "TestApplyRulesCommand.moc"
