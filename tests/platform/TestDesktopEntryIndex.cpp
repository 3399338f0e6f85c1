// Application identity without a display: desktop files in temporary folders and a fake /proc.
#include "TestKit.h"
#include "platform/ApplicationResolver.h"
#include "platform/DesktopEntryIndex.h"

#include <QCoreApplication>

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
    void initTestCase()
    {
        QVERIFY(root.isValid());
        for (const char* program : {"gamma tool", "deltaprog", "python3", "epsilon"}) {
            QVERIFY(writeFile(bin() + "/" + program, "#!/bin/sh\n", true));
        }
        QFile::link(bin() + "/deltaprog", bin() + "/delta-link");
        const QByteArray binPath = bin().toUtf8();
        // The user's own folder comes first: it overrides and hides system entries of the same id.
        const QList<QPair<const char*, QByteArray>> files = {
            {"system/alpha.desktop", entry("Name=Alpha\nStartupWMClass=AlphaWin\nExec=alpha\n")},
            {"system/Beta.desktop", entry("Name=Beta System\n")},
            {"system/gamma.desktop", entry("Name=Gamma\nExec=env GAMMA=1 \"" + binPath + "/gamma tool\" --flag %F\n")},
            {"system/delta.desktop", entry("Name=Delta\nExec=deltaprog %u\n")},
            {"system/linked.desktop", entry("Name=Linked\nTryExec=" + binPath + "/delta-link\n")},
            {"system/script-a.desktop", entry("Name=Script A\nExec=python3 a.py\n")},
            {"system/script-b.desktop", entry("Name=Script B\nExec=python3 b.py\n")},
            {"system/epsilon.desktop", entry("Name=Epsilon\nExec=epsilon\n")},
            {"system/epsilon-tools.desktop", entry("Name=Epsilon Tools\nExec=epsilon --tools\n")},
            {"system/kde/zeta.desktop", entry("Name=Zeta\n")},
            {"system/garbage.desktop", QByteArray("\x7f"
                                                  "ELF\0\0\x01\x02 garbage",
                                                  16)},
            {"system/link.desktop", "[Desktop Entry]\nType=Link\nName=Web\nURL=https://example.org\n"},
            {"system/empty.desktop", ""},
            {"system/shadowed.desktop", entry("Name=Shadowed System\nStartupWMClass=Shadow\n")},
            {"user/Beta.desktop", entry("Hidden=true\n")},
            {"user/shadowed.desktop", entry("Name=Shadowed User\nStartupWMClass=Shadow\n")},
            {"elsewhere/launched.desktop", entry("Name=Launched\nName[de]=Gestartet\n")},
        };
        for (const auto& [path, content] : files) {
            QVERIFY(writeFile(root.filePath(QLatin1String(path)), content));
        }
    }

    void parsing_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("exec");
        const auto row = [](const char* tag, const QByteArray& content, bool ok, const QString& name = {},
                            const QString& exec = {}) { QTest::newRow(tag) << content << ok << name << exec; };
        row("complete", entry("Name=Editor\nExec=/usr/bin/editor %f\nIcon=editor\n"), true, "Editor",
            "/usr/bin/editor");
        row("no type", "[Desktop Entry]\nName=Typeless\n", true, "Typeless");
        row("escapes", entry("Name=Tab\\there\\sand\\\\back\n"), true, "Tab\there and\\back");
        row("other groups ignored", entry("Name=Main\n[Desktop Action new]\nName=Action\nExec=/usr/bin/action\n"), true,
            "Main");
        row("noise lines", entry("# comment\nnot a key\n=value\nName = Spaced \nExec\n"), true, "Spaced");
        row("crlf and bom", "\xef\xbb\xbf[Desktop Entry]\r\nName=Windows\r\n", true, "Windows");
        row("invalid utf-8", entry("Name=Caf\xe9\xff\n"), true, QStringLiteral("Caf\ufffd\ufffd"));
        row("no group", "Name=Loose\nExec=loose\n", false);
        row("link", "[Desktop Entry]\nType=Link\nName=Web\n", false);
        row("binary", QByteArray("[Desktop Entry]\nName=\0\0\0", 24), false);
        row("empty", QByteArray(), false);
    }

    void parsing()
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

    void execProgram_data()
    {
        QTest::addColumn<QString>("exec");
        QTest::addColumn<QString>("program");
        const auto row = [](const char* tag, const char* exec, const char* program) {
            QTest::newRow(tag) << QString::fromUtf8(exec) << QString::fromUtf8(program);
        };
        row("plain", "/usr/bin/prog --x %U", "/usr/bin/prog");
        row("bare name", "prog", "prog");
        row("env with variables", "env FOO=1 BAR=two /usr/bin/prog %f", "/usr/bin/prog");
        row("env with options", "/usr/bin/env -u DISPLAY -i LANG=C prog", "prog");
        row("assignment only", "FOO=bar prog --x", "prog");
        row("quoted path", "\"/opt/My App/run\" %f", "/opt/My App/run");
        row("quoted escapes", "\"/opt/a \\\"b\\\" \\$c \\\\d\" x", "/opt/a \"b\" $c \\d");
        row("extra spaces", "   /usr/bin/prog    arg", "/usr/bin/prog");
        row("unterminated quote", "\"/opt/half open", "/opt/half open");
        row("empty", "", "");
        row("env alone", "env A=1", "");
    }

    void execProgram()
    {
        QFETCH(QString, exec);
        QFETCH(QString, program);
        QCOMPARE(desktop_file::execProgram(exec), program);
    }

    void launchedDesktopFile_data()
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

    void launchedDesktopFile()
    {
        QFETCH(QByteArray, environ);
        QFETCH(qint64, pid);
        QFETCH(QString, file);
        QCOMPARE(desktop_file::launchedDesktopFile(environ, pid), file);
    }

    void find_data()
    {
        QTest::addColumn<QString>("instance");
        QTest::addColumn<QString>("wmClass");
        QTest::addColumn<QString>("executable");
        QTest::addColumn<QString>("expected"); // file under the temp folder, "" for none
        const auto row = [](const char* tag, const char* instance, const char* wmClass, const QString& executable,
                            const char* expected) {
            QTest::newRow(tag) << QString::fromUtf8(instance) << QString::fromUtf8(wmClass) << executable
                               << QString::fromUtf8(expected);
        };
        const QString gammaExe = bin() + "/gamma tool";
        row("StartupWMClass", "alpha", "AlphaWin", "", "system/alpha.desktop");
        row("StartupWMClass is exact", "", "alphawin", "", "");
        row("StartupWMClass before executable", "", "AlphaWin", gammaExe, "system/alpha.desktop");
        row("id, other case", "", "DELTA", "", "system/delta.desktop");
        row("id in a subfolder", "", "kde-zeta", "", "system/kde/zeta.desktop");
        row("hidden by the user", "", "Beta", "", "");
        row("user overrides system", "", "Shadow", "", "user/shadowed.desktop");
        row("quoted Exec with env", "", "Unknown", gammaExe, "system/gamma.desktop");
        row("Exec through PATH", "", "", bin() + "/deltaprog", "system/delta.desktop");
        row("interpreter shared", "", "", bin() + "/python3", "");
        row("shared, one named after it", "", "", bin() + "/epsilon", "system/epsilon.desktop");
        row("nothing known", "", "", "", "");
        row("no match", "x", "Nothing", "/usr/bin/nothing-here", "");
    }

    void find()
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

    void missRescansOnlyWhenFoldersChanged()
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

    void resolver_data()
    {
        QTest::addColumn<qint64>("pid");
        QTest::addColumn<QString>("wmClass");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("locale");
        const auto row = [](const char* tag, qint64 pid, const char* wmClass, const QString& path, const char* name,
                            const char* locale = "C") {
            QTest::newRow(tag) << pid << QString::fromUtf8(wmClass) << path << QString::fromUtf8(name)
                               << QString::fromUtf8(locale);
        };
        const QString launched = root.filePath("elsewhere/launched.desktop");
        row("deleted executable", 101, "Gx", "/usr/bin/replaced-program", "Gx");
        row("launched file", 102, "AlphaWin", launched, "Launched");
        row("localized name", 102, "AlphaWin", launched, "Gestartet", "de_AT");
        row("class as name", 103, "Unknown", "/usr/bin/unknown-program", "Unknown");
        row("file name as name", 103, "", "/usr/bin/unknown-program", "unknown-program");
        row("unreadable executable", 104, "", root.filePath("system/delta.desktop"), "Delta");
        row("nothing readable", 105, "Lonely", "x11-class:Lonely", "Lonely");
        row("no pid", 0, "AlphaWin", root.filePath("system/alpha.desktop"), "Alpha");
    }

    void resolver()
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

    void resolverCachesPerProcess()
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

    void realProcess()
    {
        ApplicationResolver resolver(nullptr);
        const qint64 pid = QCoreApplication::applicationPid();
        const QString self = QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
        const ApplicationIdentity identity = resolver.resolve(pid, QString(), QString());
        QCOMPARE(identity.path, self);
        QCOMPARE(identity.name, QFileInfo(self).fileName());
    }

    void defaultFolders()
    {
        const QByteArray saved = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", QFile::encodeName(root.path()));
        const QStringList folders = DesktopEntryIndex::defaultFolders();
        qputenv("XDG_DATA_HOME", saved);
        QCOMPARE(folders.value(0), root.filePath(QStringLiteral("applications")));
        QVERIFY(folders.contains(QStringLiteral("/var/lib/flatpak/exports/share/applications")));
    }

private:
    QString user() const { return root.filePath(QStringLiteral("user")); }
    QString system() const { return root.filePath(QStringLiteral("system")); }
    QString bin() const { return root.filePath(QStringLiteral("bin")); }
    QString proc() const { return root.filePath(QStringLiteral("proc")); }
    void makeProcess(qint64 pid, const QString& exeLink, const QByteArray& environ, const QByteArray& cmdline = {})
    {
        const QString dir = proc() + QLatin1Char('/') + QString::number(pid);
        QVERIFY(QDir().mkpath(dir));
        if (!exeLink.isEmpty()) {
            QVERIFY(::symlink(QFile::encodeName(exeLink).constData(), QFile::encodeName(dir + "/exe").constData()) ==
                    0);
        }
        QVERIFY(writeFile(dir + "/environ", environ));
        QVERIFY(writeFile(dir + "/cmdline", cmdline));
    }

    DesktopEntryIndex makeIndex() const
    {
        DesktopEntryIndex index({user(), system(), root.filePath(QStringLiteral("missing"))});
        index.setExecutableSearchPath({bin()});
        return index;
    }

    QTemporaryDir root;
};

QTEST_GUILESS_MAIN(TestDesktopEntryIndex)
#include "TestDesktopEntryIndex.moc"
