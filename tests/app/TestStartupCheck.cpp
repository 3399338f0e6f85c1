#include "FakePrompter.h"
#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/StartupCheck.h"
#include "store/Database.h"
#include "store/DatabaseCheck.h"

#include <QSqlDatabase>

#include <sys/stat.h>
#include <unistd.h>

namespace {
// The unprivileged user the permission tests run as when the tests run as root.
const QString kNobody = QStringLiteral("65534");
using Verdict = DatabaseCheck::Verdict;
const QByteArray kGarbage(20 * 1024, 'x');

// Ours (the schema every version creates, in WAL mode as the program keeps it) or another program's,
// written through a connection of its own as another program would.
void makeDatabase(const QString& path, bool ours)
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "other");
        db.setDatabaseName(path);
        QVERIFY(db.open());
        QSqlQuery query(db);
        const QStringList schema = ours ? Database::schemaStatements() : QStringList{"CREATE TABLE notes (body TEXT)"};
        for (const QString& statement : QStringList{"PRAGMA journal_mode=WAL"} + schema) {
            QVERIFY2(query.exec(statement), qPrintable(statement));
        }
    }
    QSqlDatabase::removeDatabase("other");
}
} // namespace

// The start-up check on real files: empty, foreign, damaged and healthy databases, moving a damaged one
// aside, a read-only folder and files seen by an unprivileged user.
class TestStartupCheck : public QObject
{
    Q_OBJECT

private slots:
    void databaseVerdicts()
    {
        const struct
        {
            QString content;
            Verdict verdict;
            QString reason;
        } cases[] = {{"absent", Verdict::Usable, ""}, // created later
                     {"empty", Verdict::Usable, ""},  // a fresh database
                     {"foreign", Verdict::Damaged, "not a VerrinPlus database"}};
        for (const auto& c : cases) {
            QTemporaryDir dir;
            const QString path = dir.filePath("verrinplus.sqlite");
            if (c.content == "empty") {
                QVERIFY(writeFile(path, QByteArray()));
            } else if (c.content == "foreign") {
                makeDatabase(path, false);
            }
            const QByteArray before = fileContents(path);
            const DatabaseCheck::Result result = DatabaseCheck::check(path);
            QVERIFY2(result.verdict == c.verdict && result.reason.contains(c.reason),
                     qPrintable(c.content + ": " + result.reason));
            // Looking changes nothing: no file made, no byte written, no trace of the write test.
            QCOMPARE(QFileInfo::exists(path), c.content != "absent");
            QCOMPARE(fileContents(path), before);
        }
    }

    void aDamagedDatabaseIsMovedAsideOnlyWhenTheUserSaysSo_data()
    {
        QTest::addColumn<bool>("answer");
        QTest::addColumn<bool>("earlierAside");
        QTest::newRow("no: quit, file untouched") << false << false;
        QTest::newRow("yes: moved aside with the date") << true << false;
        QTest::newRow("yes, a file of that name exists") << true << true;
    }

    void aDamagedDatabaseIsMovedAsideOnlyWhenTheUserSaysSo()
    {
        QFETCH(bool, answer);
        QFETCH(bool, earlierAside);
        TempDataFolder data;
        const QString db = data.dataFolder() + "/verrinplus.sqlite";
        QVERIFY(writeFile(db, kGarbage) && writeFile(db + "-wal", "wal of the damaged file"));
        const QString dated = db + ".damaged-2026-11-24";
        QVERIFY(!earlierAside || writeFile(dated, "an earlier one"));
        const QString aside = earlierAside ? dated + "-2" : dated;

        FakePrompter prompter;
        prompter.answers.enqueue(answer);
        QCOMPARE(StartupCheck::run({data.dataFolder(), db, data.dataFolder() + "/verrinplus.ini"}, &prompter,
                                   QDate(2026, 11, 24)),
                 answer);
        QCOMPARE(prompter.calls.size(), 1);
        const FakePrompter::Call& call = prompter.calls[0];
        QVERIFY(call.kind == "ask" && call.title == "Database error");
        for (const QString& part : {db, aside, QString("file is not a database")}) {
            QVERIFY2(call.text.contains(part), qPrintable(call.text));
        }
        // Moved with its journal, nothing of it left where the fresh database will be made.
        QCOMPARE(fileContents(answer ? aside : db), kGarbage);
        QCOMPARE(QFileInfo::exists(db), !answer);
        QCOMPARE(QFileInfo::exists(db + "-wal"), !answer);
        QCOMPARE(QFileInfo::exists(aside + "-wal"), answer);
    }

    // The check as an ordinary user sees it; as root (CI) it runs as the unprivileged user nobody
    // through setpriv, because root may write anything.
    void permissionsAsAnUnprivilegedUser_data()
    {
        QTest::addColumn<int>("folderMode");
        QTest::addColumn<int>("databaseMode");
        QTest::addColumn<int>("iniMode");
        QTest::addColumn<QString>("message"); // none: the check passes
        QTest::newRow("all writable") << 0755 << 0600 << 0600 << "";
        QTest::newRow("read-only folder") << 0555 << 0600 << 0600 << "Database error: The database {db} cannot be used";
        QTest::newRow("read-only database")
            << 0755 << 0400 << 0600
            << "Database error: The database {db} cannot be used: attempt to write a readonly database";
        QTest::newRow("read-only settings")
            << 0755 << 0600 << 0400 << "Settings error: The settings file {ini} cannot be written";
    }

    void permissionsAsAnUnprivilegedUser()
    {
        QFETCH(int, folderMode);
        QFETCH(int, databaseMode);
        QFETCH(int, iniMode);
        QFETCH(QString, message);
        const bool asRoot = geteuid() == 0;
        const QString setpriv = QStandardPaths::findExecutable("setpriv");
        if (asRoot && setpriv.isEmpty()) {
            QSKIP("running as root without setpriv (util-linux) to drop privileges");
        }
        TempDataFolder root;
        const QString folder = root.dataFolder();
        const QString database = folder + "/verrinplus.sqlite";
        const QString ini = folder + "/verrinplus.ini";
        root.writeSettings();
        makeDatabase(database, true);
        // The helper is copied next to the data: the build folder may not be reachable for nobody.
        const QString helper = root.path() + "/startup_check_helper";
        QVERIFY(QFile::copy(STARTUP_CHECK_HELPER, helper));
        // Everything belongs to the user who runs the check, as in a real home folder.
        QVERIFY(!asRoot || runTool("chown", {"-R", kNobody + ":" + kNobody, root.path()}));
        for (const auto& [path, mode] :
             QList<QPair<QString, int>>{{database, databaseMode}, {ini, iniMode}, {folder, folderMode}}) {
            QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode_t(mode)), 0);
        }
        const QByteArray before = fileContents(database);
        // SQLite's own companions of a WAL database (-wal, -shm) may appear; nothing else may.
        const auto ownFiles = [&] {
            QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
            names.removeIf([](const QString& name) { return name.endsWith("-wal") || name.endsWith("-shm"); });
            return names;
        };
        const QStringList filesBefore = ownFiles();

        QProcessEnvironment env = root.environment(false);
        env.insert("HOME", root.path());
        const QStringList asNobody{"--reuid=" + kNobody, "--regid=" + kNobody, "--clear-groups", "--", helper};
        const auto [exitCode, out, err] = root.run(asRoot ? setpriv : helper, asRoot ? asNobody : QStringList(), env);
        QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 0755), 0);

        QVERIFY2(exitCode == (message.isEmpty() ? 0 : 1), qPrintable(err));
        message.replace("{db}", database).replace("{ini}", ini);
        QVERIFY2(message.isEmpty() || err.contains("verrinplus: " + message), qPrintable(err));
        QCOMPARE(fileContents(database), before);
        QCOMPARE(ownFiles(), filesBefore);
    }

    void noDisplay()
    {
        // DISPLAY, WAYLAND_DISPLAY, QT_QPA_PLATFORM, refused
        const struct
        {
            const char *display, *wayland, *platform;
            bool refused;
        } cases[] = {
            {"", "", "", true},    {":0", "", "", false},         {"", "wayland-0", "", false},
            {"", "", "xcb", true}, {"", "", "wayland;xcb", true}, {"", "", "offscreen:size=800x600", false},
        };
        for (const auto& c : cases) {
            QVERIFY2(StartupCheck::noDisplayMessage(c.display, c.wayland, c.platform).isEmpty() != c.refused,
                     qPrintable((QStringList{c.display, c.wayland, c.platform}.join('|'))));
        }
    }
};

QTEST_GUILESS_MAIN(TestStartupCheck)
#include "TestStartupCheck.moc"
