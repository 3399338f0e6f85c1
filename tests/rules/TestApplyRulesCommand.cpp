// The real program applying rules from the command line against the local Verrin service, on a data
// folder holding a real settings file and database, with no display at all.
#include "RecordedRows.h"
#include "ServiceFixture.h"
#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/SettingsFile.h"
#include "rules/RuleStore.h"
#include "store/Database.h"

#include <optional>

namespace {

const QString kPassword = QStringLiteral("p+ss &=w%rd ü/?#"); // the test seed's user

// "task, project, task list" of a row as linked locally; empty when it is not linked.
QString linkOf(int entryId)
{
    return RecordedRows::column(QStringLiteral("SELECT ext_task_name || ', ' || ext_project_name || ', ' || "
                                               "ext_tasklist_name FROM entries WHERE id = %1 AND ext_entry_id NOT NULL")
                                    .arg(entryId))
        .value(0);
}

// One command-line run case: the settings and service it meets, and what it must answer.
struct Case
{
    bool settings = true;
    QString password = kPassword; // none: no user name either
    QString token{};
    bool rule = true;
    QString pattern{};
    bool serviceUp = true;
    QString date = QStringLiteral("2026-11-16");
    QString refused{}; // a service method answered with status "error"
    int exitCode = 0;
    QString message; // on stderr, or on stdout for exit code 0
};

} // namespace

Q_DECLARE_METATYPE(Case)

class TestApplyRulesCommand : public ServiceTest
{
    Q_OBJECT

    std::optional<TempDataFolder> data;
    std::optional<Database> db;
    int editor = 0;

    void writeIni(const QString& user, const QString& password, const QString& token)
    {
        data->writeSettings({{"API/Url", service->baseUrl()},
                             {"API/SslEnabled", false},
                             {"API/Username", user},
                             {"API/Password", SettingsFile::encodePassword(password)},
                             {"API/AuthToken", token}});
    }

    // A window would need a display; the command must not.
    ProgramRun run(const QStringList& arguments) { return data->run(QStringLiteral(VERRINPLUS_BINARY), arguments); }

    QStringList sentLinks(const QString& name) { return service->sentValues("verrin.entries.addBulk", name); }

    // A fresh data folder with an open database knowing the editor application.
    void initEach() override
    {
        data.emplace();
        QVERIFY(QDir().mkpath(data->dataFolder()));
        db.emplace();
        QString error;
        QVERIFY2(db->open(data->dataFolder() + QStringLiteral("/verrinplus.sqlite"), &error), qPrintable(error));
        editor = RecordedRows::addApp(QStringLiteral("Editor"));
    }

    void cleanupEach() override
    {
        db.reset();
        data.reset();
    }

private slots:
    void exitStatusAndMessage_data()
    {
        QTest::addColumn<Case>("c");
        const auto row = [](const char* tag, const Case& c) { QTest::newRow(tag) << c; };
        row("no settings file", {.settings = false, .exitCode = 3, .message = "no settings file"});
        row("no stored session", {.password = "", .exitCode = 3, .message = "no stored session"});
        row("token expired, no password",
            {.password = "", .token = "expired-token", .exitCode = 3, .message = "stored session is no longer valid"});
        row("password refused",
            {.password = "wrong", .exitCode = 3, .message = "refused the stored user name and password"});
        row("service down",
            {.serviceUp = false, .exitCode = 4, .message = "cannot reach the Verrin service at http://127.0.0.1:"});
        row("bad date", {.date = "2026-02-30", .exitCode = 2, .message = "yyyy-MM-dd"});
        row("no rules, no need to sign in", {.rule = false, .serviceUp = false, .message = "No rules to apply"});
        row("no rule matches",
            {.pattern = "budget", .message = "Nothing to link on 2026-11-16: no rule matched the 1 group of unlinked"});
        // The stored token alone is enough, and credentials take over from an expired one.
        row("valid token", {.password = "",
                            .token = "valid-token",
                            .message = "Mockups (Website / Design, task 1000): 1 entry in 1 group, 0:01:00"});
        row("expired token, password",
            {.token = "expired-token", .message = "Total on 2026-11-16: 1 entry in 1 group linked to 1 task, 0:01:00"});
        row("entry refused",
            {.refused = "verrin.entries.addBulk", .exitCode = 1, .message = "1 task could not be linked"});
        row("no catalogue",
            {.refused = "verrin.projects.findByUser", .exitCode = 4, .message = "did not send the projects catalogue"});
    }

    void exitStatusAndMessage()
    {
        QFETCH(Case, c);
        if (c.settings) {
            writeIni(c.password.isEmpty() ? "" : tester, c.password, c.token);
        }
        const int entry = RecordedRows::addEntry(editor, QStringLiteral("plan"), "2026-11-16 09:00:00", 60);
        if (c.rule) {
            RuleStore().addDbRule("all", {editor}, "and", c.pattern, "always", QDate(2026, 1, 1), QDate(), 10, 1000);
        }
        if (!c.serviceUp) {
            service->stop();
        }
        QVERIFY(c.refused.isEmpty() || service->setFault(c.refused, QStringLiteral("error")));

        const ProgramRun result = run({"--apply-rules", c.date});
        QCOMPARE(result.exitCode, c.exitCode);
        QVERIFY2((c.exitCode == 0 ? result.out : result.err).contains(c.message), qPrintable(result.out + result.err));
        const bool linked = c.exitCode == 0 && c.rule && c.pattern.isEmpty();
        QCOMPARE(sentLinks("task_id").size(), linked || c.exitCode == 1 ? 1 : 0);
        QCOMPARE(linkOf(entry).isEmpty(), !linked);
    }

    void crashesAndOverlappingRunsBookEachSecondOnce()
    {
        writeIni(tester, kPassword, QString());
        // Two rows on the first day: the service gets one entry per task and day.
        QList<int> rows;
        for (const char* start :
             {"2026-11-16 09:00:00", "2026-11-16 14:00:00", "2026-11-17 09:00:00", "2026-11-18 09:00:00"}) {
            rows << RecordedRows::addEntry(editor, QStringLiteral("Budget"), start, rows.size() == 1 ? 60 : 600);
        }
        RuleStore().addDbRule("budget", {editor}, "and", "Budget", "always", QDate(2026, 1, 1), QDate(), 10, 1000);
        const QStringList range{"--apply-rules", "2026-11-16", "2026-11-18"};

        // The first day links normally, so the folder knows where the service's ids stand.
        QCOMPARE(run({"--apply-rules", "2026-11-16"}).exitCode, 0);

        // The next run dies while the service has stored its entry but not yet answered...
        ServiceFixture::FaultOptions slow;
        slow.ms = 120000;
        slow.times = 1;
        QVERIFY(service->setFault(QStringLiteral("verrin.entries.addBulk"), QStringLiteral("delay"), slow));
        QProcess killed;
        killed.setProcessEnvironment(data->environment(false));
        killed.start(QStringLiteral(VERRINPLUS_BINARY), range);
        QTRY_VERIFY_WITH_TIMEOUT(sentLinks("task_id").size() == 2, 30000);
        // ...and a run started meanwhile waits for the folder instead of linking the same rows.
        QProcess waiting;
        waiting.setProcessEnvironment(data->environment(false));
        waiting.start(QStringLiteral(VERRINPLUS_BINARY), range);
        QString waitingSaid;
        QTRY_VERIFY_WITH_TIMEOUT(
            (waitingSaid += QString::fromUtf8(waiting.readAllStandardError())).contains("waiting for it to finish"),
            30000);
        killed.kill();
        killed.waitForFinished(10000);
        const ProgramRun second = TempDataFolder::finish(waiting);
        QVERIFY2(second.exitCode == 0, qPrintable(second.out + second.err));
        // It found the lost entry instead of sending the day again, and linked the day that was left.
        QVERIFY2(second.out.contains("Settled 1 pending link"), qPrintable(second.out));
        QCOMPARE(sentLinks("task_id"), (QStringList{"1000", "1000", "1000"}));
        QCOMPARE(sentLinks("date"), (QStringList{"2026-11-16", "2026-11-17", "2026-11-18"}));
        QCOMPARE(sentLinks("duration"), (QStringList{"660", "600", "600"}));

        const ProgramRun check = run({"--check-links", "2026-11-16", "2026-11-18"});
        QVERIFY2(check.out.contains("Checked 3 links from 2026-11-16 to 2026-11-18: 3 agree"),
                 qPrintable(check.out + check.err));
        QCOMPARE(check.exitCode, 0);
        for (int row : rows) {
            QCOMPARE(linkOf(row), QStringLiteral("Mockups, Website, Design"));
        }
    }
};

QTEST_GUILESS_MAIN(TestApplyRulesCommand)
#include "TestApplyRulesCommand.moc"
