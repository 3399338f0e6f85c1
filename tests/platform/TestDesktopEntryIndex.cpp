// Application identity without a display: desktop files in temporary folders and a fake /proc.
#include "platform/ApplicationResolver.h"
#include "platform/DesktopEntryIndex.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/time.h>
#include <unistd.h>

namespace {
bool writeFile(const QString& path, const QByteArray& data, bool executable = false)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size()) {
        return false;
    }
    if (executable) {
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    }
    return true;
}

QByteArray entry(const QByteArray& keys)
{
    return "[Desktop Entry]\nType=Application\n" + keys;
}

// Moves a folder's modification time well away from now, so a change is seen even when the file
// system's clock granularity would hide it.
void touchFolder(const QString& dir)
{
    struct timeval times[2];
    gettimeofday(&times[0], nullptr);
    times[0].tv_sec += 1000;
    times[1] = times[0];
    utimes(QFile::encodeName(dir).constData(), times);
}
} // namespace

class TestDesktopEntryIndex : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void parsing_data();
    void parsing();
    void execProgram_data();
    void execProgram();
    void launchedDesktopFile_data();
    void launchedDesktopFile();
    void find_data();
    void find();
    void missRescansOnlyWhenFoldersChanged();
    void resolver_data();
    void resolver();
    void resolverCachesPerProcess();
    void realProcess();
    void defaultFolders();

private:
    QString user() const { return root.filePath(QStringLiteral("user")); }
    QString system() const { return root.filePath(QStringLiteral("system")); }
    QString bin() const { return root.filePath(QStringLiteral("bin")); }
    QString proc() const { return root.filePath(QStringLiteral("proc")); }
    void makeProcess(qint64 pid, const QString& exeLink, const QByteArray& environ, const QByteArray& cmdline = {});
    DesktopEntryIndex makeIndex() const;

    QTemporaryDir root;
};

void TestDesktopEntryIndex::initTestCase()
{
    QVERIFY(root.isValid());
    QVERIFY(writeFile(bin() + "/gamma tool", "#!/bin/sh\n", true));
    QVERIFY(writeFile(bin() + "/deltaprog", "#!/bin/sh\n", true));
    QVERIFY(writeFile(bin() + "/python3", "#!/bin/sh\n", true));
    QVERIFY(writeFile(bin() + "/epsilon", "#!/bin/sh\n", true));
    QFile::link(bin() + "/deltaprog", bin() + "/delta-link");

    QVERIFY(writeFile(system() + "/alpha.desktop", entry("Name=Alpha\nStartupWMClass=AlphaWin\nExec=alpha\n")));
    QVERIFY(writeFile(system() + "/Beta.desktop", entry("Name=Beta System\n")));
    QVERIFY(writeFile(system() + "/gamma.desktop",
                      entry("Name=Gamma\nExec=env GAMMA=1 \"" + bin().toUtf8() + "/gamma tool\" --flag %F\n")));
    QVERIFY(writeFile(system() + "/delta.desktop", entry("Name=Delta\nExec=deltaprog %u\n")));
    QVERIFY(writeFile(system() + "/linked.desktop", entry("Name=Linked\nTryExec=" + bin().toUtf8() + "/delta-link\n")));
    QVERIFY(writeFile(system() + "/script-a.desktop", entry("Name=Script A\nExec=python3 a.py\n")));
    QVERIFY(writeFile(system() + "/script-b.desktop", entry("Name=Script B\nExec=python3 b.py\n")));
    QVERIFY(writeFile(system() + "/epsilon.desktop", entry("Name=Epsilon\nExec=epsilon\n")));
    QVERIFY(writeFile(system() + "/epsilon-tools.desktop", entry("Name=Epsilon Tools\nExec=epsilon --tools\n")));
    QVERIFY(writeFile(system() + "/kde/zeta.desktop", entry("Name=Zeta\n")));
    QVERIFY(writeFile(system() + "/garbage.desktop", QByteArray("\x7f"
                                                                "ELF\0\0\x01\x02 garbage",
                                                                16)));
    QVERIFY(writeFile(system() + "/link.desktop", "[Desktop Entry]\nType=Link\nName=Web\nURL=https://example.org\n"));
    QVERIFY(writeFile(system() + "/empty.desktop", ""));
    QVERIFY(writeFile(system() + "/shadowed.desktop", entry("Name=Shadowed System\nStartupWMClass=Shadow\n")));
    // The user's own folder comes first: it overrides and hides system entries of the same id.
    QVERIFY(writeFile(user() + "/Beta.desktop", entry("Hidden=true\n")));
    QVERIFY(writeFile(user() + "/shadowed.desktop", entry("Name=Shadowed User\nStartupWMClass=Shadow\n")));
    QVERIFY(writeFile(root.filePath("elsewhere/launched.desktop"), entry("Name=Launched\nName[de]=Gestartet\n")));
}

DesktopEntryIndex TestDesktopEntryIndex::makeIndex() const
{
    DesktopEntryIndex index({user(), system(), root.filePath(QStringLiteral("missing"))});
    index.setExecutableSearchPath({bin()});
    return index;
}

void TestDesktopEntryIndex::parsing_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("exec");

    QTest::newRow("complete") << entry("Name=Editor\nExec=/usr/bin/editor %f\nIcon=editor\n") << true << "Editor"
                              << "/usr/bin/editor";
    QTest::newRow("no type") << QByteArray("[Desktop Entry]\nName=Typeless\n") << true << "Typeless"
                             << "";
    QTest::newRow("escapes") << entry("Name=Tab\\there\\sand\\\\back\n") << true << "Tab\there and\\back"
                             << "";
    QTest::newRow("other groups ignored")
        << entry("Name=Main\n[Desktop Action new]\nName=Action\nExec=/usr/bin/action\n") << true << "Main"
        << "";
    QTest::newRow("noise lines") << entry("# comment\nnot a key\n=value\nName = Spaced \nExec\n") << true << "Spaced"
                                 << "";
    QTest::newRow("crlf and bom") << QByteArray("\xef\xbb\xbf[Desktop Entry]\r\nName=Windows\r\n") << true << "Windows"
                                  << "";
    QTest::newRow("no group") << QByteArray("Name=Loose\nExec=loose\n") << false << ""
                              << "";
    QTest::newRow("link") << QByteArray("[Desktop Entry]\nType=Link\nName=Web\n") << false << ""
                          << "";
    QTest::newRow("binary") << QByteArray("[Desktop Entry]\nName=\0\0\0", 24) << false << ""
                            << "";
    QTest::newRow("empty") << QByteArray() << false << ""
                           << "";
    QTest::newRow("invalid utf-8") << entry("Name=Caf\xe9\xff\n") << true << QStringLiteral("Caf\ufffd\ufffd") << "";
}

void TestDesktopEntryIndex::parsing()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, ok);
    QFETCH(QString, name);
    QFETCH(QString, exec);
    const QString path = root.filePath(QStringLiteral("parse/%1.desktop").arg(QTest::currentDataTag()));
    QVERIFY(writeFile(path, content));
    DesktopEntry parsed;
    QCOMPARE(desktop_file::parse(path, &parsed), ok);
    if (ok) {
        QCOMPARE(parsed.name, name);
        QCOMPARE(parsed.execProgram, exec);
    }
}

void TestDesktopEntryIndex::execProgram_data()
{
    QTest::addColumn<QString>("exec");
    QTest::addColumn<QString>("program");
    QTest::newRow("plain") << "/usr/bin/prog --x %U"
                           << "/usr/bin/prog";
    QTest::newRow("bare name") << "prog"
                               << "prog";
    QTest::newRow("env with variables") << "env FOO=1 BAR=two /usr/bin/prog %f"
                                        << "/usr/bin/prog";
    QTest::newRow("env with options") << "/usr/bin/env -u DISPLAY -i LANG=C prog"
                                      << "prog";
    QTest::newRow("assignment only") << "FOO=bar prog --x"
                                     << "prog";
    QTest::newRow("quoted path") << "\"/opt/My App/run\" %f"
                                 << "/opt/My App/run";
    QTest::newRow("quoted escapes") << R"("/opt/a \"b\" \$c \\d" x)"
                                    << R"(/opt/a "b" $c \d)";
    QTest::newRow("extra spaces") << "   /usr/bin/prog    arg"
                                  << "/usr/bin/prog";
    QTest::newRow("unterminated quote") << "\"/opt/half open"
                                        << "/opt/half open";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("env alone") << "env A=1"
                               << "";
}

void TestDesktopEntryIndex::execProgram()
{
    QFETCH(QString, exec);
    QFETCH(QString, program);
    QCOMPARE(desktop_file::execProgram(exec), program);
}

void TestDesktopEntryIndex::launchedDesktopFile_data()
{
    QTest::addColumn<QByteArray>("environ");
    QTest::addColumn<qint64>("pid");
    QTest::addColumn<QString>("file");
    const QByteArray launched("GIO_LAUNCHED_DESKTOP_FILE=/usr/share/applications/a.desktop");
    const auto block = [](const QList<QByteArray>& vars) { return vars.join('\0') + '\0'; };
    QTest::newRow("alone") << block({"HOME=/home/u", launched, "PATH=/bin"}) << qint64(10)
                           << "/usr/share/applications/a.desktop";
    QTest::newRow("same pid") << block({launched, "GIO_LAUNCHED_DESKTOP_FILE_PID=10"}) << qint64(10)
                              << "/usr/share/applications/a.desktop";
    QTest::newRow("inherited") << block({"GIO_LAUNCHED_DESKTOP_FILE_PID=9", launched}) << qint64(10) << "";
    QTest::newRow("relative") << QByteArray("GIO_LAUNCHED_DESKTOP_FILE=a.desktop") << qint64(10) << "";
    QTest::newRow("missing") << QByteArray("HOME=/home/u") << qint64(10) << "";
    QTest::newRow("empty") << QByteArray() << qint64(10) << "";
}

void TestDesktopEntryIndex::launchedDesktopFile()
{
    QFETCH(QByteArray, environ);
    QFETCH(qint64, pid);
    QFETCH(QString, file);
    QCOMPARE(desktop_file::launchedDesktopFile(environ, pid), file);
}

void TestDesktopEntryIndex::find_data()
{
    QTest::addColumn<QString>("instance");
    QTest::addColumn<QString>("wmClass");
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QString>("expected"); // file under the temp folder, "" for none

    const QString gammaExe = bin() + "/gamma tool";
    QTest::newRow("StartupWMClass") << "alpha"
                                    << "AlphaWin"
                                    << ""
                                    << "system/alpha.desktop";
    QTest::newRow("StartupWMClass is exact") << ""
                                             << "alphawin"
                                             << ""
                                             << "";
    QTest::newRow("StartupWMClass before executable") << ""
                                                      << "AlphaWin" << gammaExe << "system/alpha.desktop";
    QTest::newRow("id, other case") << ""
                                    << "DELTA"
                                    << ""
                                    << "system/delta.desktop";
    QTest::newRow("id in a subfolder") << ""
                                       << "kde-zeta"
                                       << ""
                                       << "system/kde/zeta.desktop";
    QTest::newRow("hidden by the user") << ""
                                        << "Beta"
                                        << ""
                                        << "";
    QTest::newRow("user overrides system") << ""
                                           << "Shadow"
                                           << ""
                                           << "user/shadowed.desktop";
    QTest::newRow("quoted Exec with env") << ""
                                          << "Unknown" << gammaExe << "system/gamma.desktop";
    QTest::newRow("Exec through PATH") << ""
                                       << "" << bin() + "/deltaprog"
                                       << "system/delta.desktop";
    QTest::newRow("interpreter shared") << ""
                                        << "" << bin() + "/python3"
                                        << "";
    QTest::newRow("shared, one named after it") << ""
                                                << "" << bin() + "/epsilon"
                                                << "system/epsilon.desktop";
    QTest::newRow("nothing known") << ""
                                   << ""
                                   << ""
                                   << "";
    QTest::newRow("no match") << "x"
                              << "Nothing"
                              << "/usr/bin/nothing-here"
                              << "";
}

void TestDesktopEntryIndex::find()
{
    QFETCH(QString, instance);
    QFETCH(QString, wmClass);
    QFETCH(QString, executable);
    QFETCH(QString, expected);
    DesktopEntryIndex index = makeIndex();
    DesktopEntryIndex::Query query;
    query.pid = 7;
    query.wmInstance = instance;
    query.wmClass = wmClass;
    query.executable = executable;
    const DesktopEntry* found = index.find(query);
    QCOMPARE(found ? found->path : QString(), expected.isEmpty() ? QString() : root.filePath(expected));
}

void TestDesktopEntryIndex::missRescansOnlyWhenFoldersChanged()
{
    QTemporaryDir apps;
    QVERIFY(writeFile(apps.filePath("one.desktop"), entry("Name=One\n")));
    DesktopEntryIndex index({apps.path()});
    index.setRefreshInterval(0);
    DesktopEntryIndex::Query query;
    query.wmClass = QStringLiteral("two");
    for (int i = 0; i < 5; ++i) {
        QVERIFY(!index.find(query));
    }
    QCOMPARE(index.scanCount(), 1);

    QVERIFY(writeFile(apps.filePath("two.desktop"), entry("Name=Two\n")));
    touchFolder(apps.path());
    const DesktopEntry* two = index.find(query);
    QVERIFY(two);
    QCOMPARE(two->name, QStringLiteral("Two"));
    QCOMPARE(index.scanCount(), 2);

    // Within the refresh interval a miss does not even look at the folders.
    index.setRefreshInterval(60 * 60 * 1000);
    QVERIFY(writeFile(apps.filePath("three.desktop"), entry("Name=Three\n")));
    touchFolder(apps.path());
    query.wmClass = QStringLiteral("three");
    QVERIFY(!index.find(query));
    QCOMPARE(index.scanCount(), 2);
}

void TestDesktopEntryIndex::makeProcess(qint64 pid, const QString& exeLink, const QByteArray& environ,
                                        const QByteArray& cmdline)
{
    const QString dir = proc() + QLatin1Char('/') + QString::number(pid);
    QVERIFY(QDir().mkpath(dir));
    if (!exeLink.isEmpty()) {
        QVERIFY(::symlink(QFile::encodeName(exeLink).constData(), QFile::encodeName(dir + "/exe").constData()) == 0);
    }
    QVERIFY(writeFile(dir + "/environ", environ));
    QVERIFY(writeFile(dir + "/cmdline", cmdline));
}

void TestDesktopEntryIndex::resolver_data()
{
    QTest::addColumn<qint64>("pid");
    QTest::addColumn<QString>("wmClass");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("locale");

    QTest::newRow("deleted executable") << qint64(101) << "Gx"
                                        << "/usr/bin/replaced-program"
                                        << "Gx"
                                        << "C";
    QTest::newRow("launched file") << qint64(102) << "AlphaWin" << root.filePath("elsewhere/launched.desktop")
                                   << "Launched"
                                   << "C";
    QTest::newRow("localized name") << qint64(102) << "AlphaWin" << root.filePath("elsewhere/launched.desktop")
                                    << "Gestartet"
                                    << "de_AT";
    QTest::newRow("class as name") << qint64(103) << "Unknown"
                                   << "/usr/bin/unknown-program"
                                   << "Unknown"
                                   << "C";
    QTest::newRow("file name as name") << qint64(103) << ""
                                       << "/usr/bin/unknown-program"
                                       << "unknown-program"
                                       << "C";
    QTest::newRow("unreadable executable") << qint64(104) << "" << root.filePath("system/delta.desktop") << "Delta"
                                           << "C";
    QTest::newRow("nothing readable") << qint64(105) << "Lonely"
                                      << "x11-class:Lonely"
                                      << "Lonely"
                                      << "C";
    QTest::newRow("no pid") << qint64(0) << "AlphaWin" << root.filePath("system/alpha.desktop") << "Alpha"
                            << "C";
}

void TestDesktopEntryIndex::resolver()
{
    QFETCH(qint64, pid);
    QFETCH(QString, wmClass);
    QFETCH(QString, path);
    QFETCH(QString, name);
    QFETCH(QString, locale);

    QDir(proc()).removeRecursively();
    // The executable was replaced while running: the kernel marks the link " (deleted)".
    makeProcess(101, "/usr/bin/replaced-program (deleted)", "LANG=C");
    makeProcess(102, "/usr/bin/whatever",
                "GIO_LAUNCHED_DESKTOP_FILE=" + root.filePath("elsewhere/launched.desktop").toUtf8());
    makeProcess(103, "/usr/bin/unknown-program", "");
    // Another user's process: no exe link to read, but the command line is world-readable.
    makeProcess(104, QString(), "", bin().toUtf8() + "/deltaprog\0--flag\0");
    makeProcess(105, QString(), "", "");

    DesktopEntryIndex index = makeIndex();
    ApplicationResolver resolver(&index, proc());
    resolver.setLocale(locale);
    const QRegularExpression unreadable(QStringLiteral("Cannot read the executable of process"));
    if (pid == 104 || pid == 105) {
        QTest::ignoreMessage(QtWarningMsg, unreadable);
    }
    QTest::failOnWarning(unreadable); // logged once per process, not on every probe
    const ApplicationIdentity identity = resolver.resolve(pid, QString(), wmClass);
    QCOMPARE(identity.path, path);
    QCOMPARE(identity.name, name);
    QCOMPARE(resolver.resolve(pid, QString(), wmClass).path, path);
}

void TestDesktopEntryIndex::resolverCachesPerProcess()
{
    QDir(proc()).removeRecursively();
    makeProcess(201, bin() + "/deltaprog", "");
    DesktopEntryIndex index = makeIndex();
    ApplicationResolver resolver(&index, proc());
    QCOMPARE(resolver.resolve(201, "d", "D").path, root.filePath("system/delta.desktop"));

    // The process is gone from /proc, yet the answer for the same window class comes from the cache.
    QDir(proc()).removeRecursively();
    QCOMPARE(resolver.resolve(201, "d", "D").path, root.filePath("system/delta.desktop"));

    // A different class under the same pid is another program (the pid was reused): asked afresh.
    makeProcess(201, "/usr/bin/reused", "");
    QCOMPARE(resolver.resolve(201, "r", "Reused").path, QStringLiteral("/usr/bin/reused"));
}

void TestDesktopEntryIndex::realProcess()
{
    ApplicationResolver resolver(nullptr);
    const qint64 pid = QCoreApplication::applicationPid();
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
    QCOMPARE(resolver.executableOf(pid), self);
    QVERIFY(resolver.environOf(pid).contains("PATH="));
    const ApplicationIdentity identity = resolver.resolve(pid, QString(), QString());
    QCOMPARE(identity.path, self);
    QCOMPARE(identity.name, QFileInfo(self).fileName());
}

void TestDesktopEntryIndex::defaultFolders()
{
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QFile::encodeName(root.path()));
    const QStringList folders = DesktopEntryIndex::defaultFolders();
    qputenv("XDG_DATA_HOME", saved);
    QCOMPARE(folders.value(0), root.filePath(QStringLiteral("applications")));
    QVERIFY(folders.contains(QStringLiteral("/var/lib/flatpak/exports/share/applications")));
    QVERIFY(folders.contains(QDir::homePath() + "/.local/share/flatpak/exports/share/applications"));
    QVERIFY(folders.contains(QStringLiteral("/var/lib/snapd/desktop/applications")));
}

QTEST_GUILESS_MAIN(TestDesktopEntryIndex)
#include "TestDesktopEntryIndex.moc"
