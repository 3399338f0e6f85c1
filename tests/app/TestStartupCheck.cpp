#include "FakePrompter.h"
#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/StartupCheck.h"
#include "store/Database.h"
#include "store/DatabaseCheck.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSqlDatabase>

#include <sys/stat.h>
#include <unistd.h>

namespace {
const QDate kToday(2026, 11, 24);
// The unprivileged user the permission tests run as when the tests run as root.
constexpr uid_t kNobody = 65534;

QByteArray digest(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1);
}

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray garbage()
{
    QByteArray bytes(20 * 1024, '\0');
    QRandomGenerator generator(19);
    for (char& byte : bytes) {
        byte = char(generator.bounded(256));
    }
    return bytes;
}

// A database made by SQLite itself on a connection of its own: ours (the schema every version
// creates, in WAL mode as the program keeps it) or another program's.
void makeDatabase(const QString& path, bool ours)
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("maker"));
        db.setDatabaseName(path);
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("PRAGMA journal_mode=WAL")));
        const QStringList statements =
            ours ? Database::schemaStatements() : QStringList{QStringLiteral("CREATE TABLE notes (body TEXT)")};
        for (const QString& statement : statements) {
            QVERIFY(query.exec(statement));
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("maker"));
}
} // namespace

// The start-up check on real files: garbage, foreign and healthy databases, moving a damaged one
// aside, a read-only folder and files seen by an unprivileged user, and a start without a display.
class TestStartupCheck : public QObject
{
    Q_OBJECT

private slots:
    void databaseVerdicts_data()
    {
        QTest::addColumn<QString>("content");
        QTest::addColumn<int>("verdict");
        QTest::addColumn<QString>("reason");
        QTest::newRow("absent: created later") << "absent" << int(DatabaseCheck::Verdict::Usable) << "";
        QTest::newRow("empty file: a fresh database") << "empty" << int(DatabaseCheck::Verdict::Usable) << "";
        QTest::newRow("ours") << "ours" << int(DatabaseCheck::Verdict::Usable) << "";
        QTest::newRow("random bytes") << "garbage" << int(DatabaseCheck::Verdict::Damaged) << "file is not a database";
        QTest::newRow("another program's database")
            << "foreign" << int(DatabaseCheck::Verdict::Damaged) << "not a VerrinPlus database";
    }

    void databaseVerdicts()
    {
        QFETCH(QString, content);
        QFETCH(int, verdict);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("verrinplus.sqlite"));
        if (content == QLatin1String("empty")) {
            writeBytes(path, QByteArray());
        } else if (content == QLatin1String("garbage")) {
            writeBytes(path, garbage());
        } else if (content != QLatin1String("absent")) {
            makeDatabase(path, content == QLatin1String("ours"));
        }
        const QByteArray before = digest(path);

        const DatabaseCheck::Result result = DatabaseCheck::check(path);
        QCOMPARE(int(result.verdict), verdict);
        QVERIFY2(result.reason.contains(reason), qPrintable(result.reason));
        // Looking changes nothing: no file made, no byte written, no trace of the write test.
        QCOMPARE(QFileInfo::exists(path), content != QLatin1String("absent"));
        QCOMPARE(digest(path), before);
        if (content == QLatin1String("ours")) {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("look"));
            db.setDatabaseName(path);
            QVERIFY(db.open());
            {
                QSqlQuery query(QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE name LIKE '%check%'"), db);
                QVERIFY(query.next());
                QCOMPARE(query.value(0).toInt(), 0);
            }
            db.close();
        }
        QSqlDatabase::removeDatabase(QStringLiteral("look"));
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
        QDir().mkpath(data.dataFolder());
        const StartupCheck::Paths paths{data.dataFolder(), data.dataFolder() + QStringLiteral("/verrinplus.sqlite"),
                                        data.dataFolder() + QStringLiteral("/verrinplus.ini")};
        const QByteArray bytes = garbage();
        writeBytes(paths.database, bytes);
        writeBytes(paths.database + QStringLiteral("-wal"), "wal of the damaged file");
        const QString dated = paths.database + QStringLiteral(".damaged-2026-11-24");
        if (earlierAside) {
            writeBytes(dated, "an earlier one");
        }
        const QString aside = earlierAside ? dated + QStringLiteral("-2") : dated;
        QCOMPARE(StartupCheck::asideName(paths.database, kToday), aside);

        FakePrompter prompter;
        prompter.answers.enqueue(answer);
        QCOMPARE(StartupCheck::run(paths, &prompter, kToday), answer);
        QCOMPARE(prompter.calls.size(), 1);
        QCOMPARE(prompter.calls[0].kind, QStringLiteral("ask"));
        QCOMPARE(prompter.calls[0].title, QStringLiteral("Database error"));
        QVERIFY(prompter.calls[0].text.contains(paths.database));
        QVERIFY(prompter.calls[0].text.contains(aside));
        QVERIFY(prompter.calls[0].text.contains(QStringLiteral("file is not a database")));
        if (answer) {
            QVERIFY(!QFileInfo::exists(paths.database));
            QVERIFY(!QFileInfo::exists(paths.database + QStringLiteral("-wal")));
            QCOMPARE(digest(aside), QCryptographicHash::hash(bytes, QCryptographicHash::Sha1));
            QVERIFY(QFileInfo::exists(aside + QStringLiteral("-wal")));
            // The fresh database then opens and takes the schema.
            Database fresh;
            QString error;
            QVERIFY2(fresh.open(paths.database, &error), qPrintable(error));
            QCOMPARE(int(DatabaseCheck::check(paths.database).verdict), int(DatabaseCheck::Verdict::Usable));
        } else {
            QCOMPARE(digest(paths.database), QCryptographicHash::hash(bytes, QCryptographicHash::Sha1));
            QVERIFY(!QFileInfo::exists(aside));
        }
    }

    // The check as an ordinary user sees it; as root (CI) it runs as the unprivileged user nobody
    // through setpriv, because root may write anything.
    void permissionsAsAnUnprivilegedUser_data()
    {
        QTest::addColumn<int>("folderMode");
        QTest::addColumn<int>("databaseMode");
        QTest::addColumn<int>("iniMode");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("all writable") << 0755 << 0600 << 0600 << 0 << "";
        QTest::newRow("read-only folder")
            << 0555 << 0600 << 0600 << 1 << "Database error: The database {db} cannot be used";
        QTest::newRow("read-only database") << 0755 << 0400 << 0600 << 1
                                            << "Database error: The database {db} cannot be used: attempt to write a "
                                               "readonly database";
        QTest::newRow("read-only settings")
            << 0755 << 0600 << 0400 << 1 << "Settings error: The settings file {ini} cannot be written";
    }

    void permissionsAsAnUnprivilegedUser()
    {
        QFETCH(int, folderMode);
        QFETCH(int, databaseMode);
        QFETCH(int, iniMode);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const bool asRoot = geteuid() == 0;
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (asRoot && setpriv.isEmpty()) {
            QSKIP("running as root without setpriv (util-linux) to drop privileges");
        }

        QTemporaryDir root;
        QVERIFY(root.isValid());
        const QString home = root.filePath(QStringLiteral("data"));
        const QString folder = home + QStringLiteral("/VerrinPlus");
        const QString database = folder + QStringLiteral("/verrinplus.sqlite");
        const QString ini = folder + QStringLiteral("/verrinplus.ini");
        const QString runtime = root.filePath(QStringLiteral("runtime"));
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QDir().mkpath(runtime));
        makeDatabase(database, true);
        writeBytes(ini, "[Application]\nStarted=true\n");
        // The helper is copied next to the data: the build folder may not be reachable for nobody.
        const QString helper = root.filePath(QStringLiteral("startup_check_helper"));
        QVERIFY(QFile::copy(QStringLiteral(STARTUP_CHECK_HELPER), helper));

        // Everything belongs to the user who runs the check, as in a real home folder.
        for (const QString& path : {root.path(), home, folder, database, ini, runtime, helper}) {
            if (asRoot) {
                QCOMPARE(::chown(QFile::encodeName(path).constData(), kNobody, kNobody), 0);
            }
        }
        const QList<QPair<QString, int>> modes{{root.path(), 0755},      {runtime, 0700}, {helper, 0755},
                                               {database, databaseMode}, {ini, iniMode},  {folder, folderMode}};
        for (const auto& [path, mode] : modes) {
            QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode_t(mode)), 0);
        }
        const QByteArray before = digest(database);
        // SQLite's own companions of a WAL database (-wal, -shm) may appear; nothing else may.
        const auto ownFiles = [&] {
            QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
            names.removeIf([](const QString& name) {
                return name.endsWith(QLatin1String("-wal")) || name.endsWith(QLatin1String("-shm"));
            });
            return names;
        };
        const QStringList filesBefore = ownFiles();

        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), home);
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
        env.insert(QStringLiteral("HOME"), root.path());
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(root.path());
        if (asRoot) {
            process.start(setpriv,
                          {QStringLiteral("--reuid=%1").arg(kNobody), QStringLiteral("--regid=%1").arg(kNobody),
                           QStringLiteral("--clear-groups"), QStringLiteral("--"), helper});
        } else {
            process.start(helper, {});
        }
        QVERIFY(process.waitForFinished(30000));
        const QString err = QString::fromLocal8Bit(process.readAllStandardError());
        QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 0755), 0);

        QVERIFY2(process.exitStatus() == QProcess::NormalExit, qPrintable(err));
        QVERIFY2(process.exitCode() == exitCode, qPrintable(err));
        if (!message.isEmpty()) {
            QVERIFY2(
                err.contains(
                    QStringLiteral("verrinplus: ") +
                    QString(message).replace(QStringLiteral("{db}"), database).replace(QStringLiteral("{ini}"), ini)),
                qPrintable(err));
        }
        QCOMPARE(digest(database), before);
        QCOMPARE(ownFiles(), filesBefore);
    }

    void noDisplay()
    {
        // DISPLAY, WAYLAND_DISPLAY, QT_QPA_PLATFORM, refused
        const struct
        {
            const char *display, *wayland, *platform;
            bool refused;
        } cases[] = {{"", "", "", true},
                     {":0", "", "", false},
                     {"", "wayland-0", "", false},
                     {"", "", "xcb", true},
                     {"", "", "wayland;xcb", true},
                     {"", "", "offscreen", false},
                     {"", "", "vnc:size=800x600", false}};
        for (const auto& c : cases) {
            QVERIFY2(StartupCheck::noDisplayMessage(c.display, c.wayland, c.platform).isEmpty() != c.refused,
                     qPrintable((QStringList{c.display, c.wayland, c.platform}.join('|'))));
        }
    }

    // The real program, plainly started or with an argument it does not know, on no display at all.
    void theProgramSaysItNeedsADisplay_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("plain start") << QStringList();
        QTest::newRow("unknown argument") << QStringList{QStringLiteral("--frobnicate")};
    }

    void theProgramSaysItNeedsADisplay()
    {
        QFETCH(QStringList, arguments);
        TempDataFolder data;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString& name :
             {QStringLiteral("DISPLAY"), QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("QT_QPA_PLATFORM")}) {
            env.remove(name);
        }
        QProcess process;
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(VERRINPLUS_BINARY), arguments);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 2);
        QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError()),
                 QStringLiteral("verrinplus: needs a graphical session; use --report or --apply-rules without one\n"));
        QVERIFY(process.readAllStandardOutput().isEmpty());
        QVERIFY(!QFileInfo::exists(data.dataFolder()));
    }
};

QTEST_GUILESS_MAIN(TestStartupCheck)
#include "TestStartupCheck.moc"
