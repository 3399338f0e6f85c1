// Application identity without a display: desktop files in temporary folders and a fake /proc.
#include "TestKit.h"
#include "TestTools.h"
#include "platform/ApplicationResolver.h"
#include "platform/DesktopEntryIndex.h"

#include <filesystem>
#include <unistd.h>

namespace {
QByteArray entry(const QByteArray& keys)
{
    return "[Desktop Entry]\nType=Application\n" + keys;
}

// Moves a folder's time well away from now, so the file system's clock granularity cannot hide a change.
void touchFolder(const QString& dir, int hours)
{
    const auto time = std::filesystem::file_time_type::clock::now() + std::chrono::hours(hours);
    std::filesystem::last_write_time(QFile::encodeName(dir).toStdString(), time);
}
} // namespace

class TestDesktopEntryIndex : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
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
            {"system/shadowed.desktop", entry("Name=Shadowed System\nStartupWMClass=Shadow\n")},
            {"user/Beta.desktop", entry("Hidden=true\n")},
            {"user/shadowed.desktop", entry("Name=Shadowed User\nStartupWMClass=Shadow\n")},
            {"elsewhere/launched.desktop", entry("Name=Launched\nName[de]=Gestartet\n")},
        };
        for (const auto& [path, content] : files) {
            QVERIFY(writeFile(root.filePath(QLatin1String(path)), content));
        }
    }

    void parsing()
    {
        // What is taken of a file: "name|program", or "-" for a file that is no application's entry.
        const std::pair<QByteArray, QString> cases[] = {
            {entry("Name=Editor\nExec=/usr/bin/editor %f\nIcon=editor\n"), "Editor|/usr/bin/editor"},
            {entry("Name=Tab\\there\\sand\\\\back\n"), "Tab\there and\\back|"},
            {entry("Name=Main\n[Desktop Action new]\nName=Action\nExec=/usr/bin/action\n"), "Main|"},
            {entry("# comment\nnot a key\n=value\nName = Spaced \nExec\n"), "Spaced|"},
            {"\xef\xbb\xbf[Desktop Entry]\r\nName=Windows\r\n", "Windows|"},
            {"Name=Loose\nExec=loose\n", "-"},
            {"[Desktop Entry]\nType=Link\nName=Web\n", "-"},
            {"[Desktop Entry]\n", "-"},
            {QByteArray("[Desktop Entry]\nName=\0\0\0", 24), "-"},
        };
        for (const auto& [content, expected] : cases) {
            DesktopEntry parsed;
            const bool ok = desktop_file::parseData(content, QString(), &parsed);
            const QString taken = ok ? parsed.name + "|" + parsed.execProgram : "-";
            QVERIFY2(taken == expected, qPrintable(content.toPercentEncoding() + " -> " + taken));
        }
    }

    void execProgram()
    {
        const std::pair<const char*, const char*> cases[] = {
            {"env FOO=1 BAR=two /usr/bin/prog %f", "/usr/bin/prog"},
            {"/usr/bin/env -u DISPLAY -i LANG=C prog", "prog"},
            {"FOO=bar prog --x", "prog"},
            {"\"/opt/My App/run\" %f", "/opt/My App/run"},
            {"\"/opt/a \\\"b\\\" \\$c \\\\d\" x", "/opt/a \"b\" $c \\d"},
            {"   /usr/bin/prog    arg", "/usr/bin/prog"},
            {"\"/opt/half open", "/opt/half open"}, // unterminated quote
            {"env A=1", ""},
        };
        for (const auto& [exec, program] : cases) {
            QVERIFY2(desktop_file::execProgram(exec) == program, exec);
        }
    }

    void launchedDesktopFile()
    {
        const QByteArray launched("GIO_LAUNCHED_DESKTOP_FILE=/usr/share/applications/a.desktop");
        const auto block = [](const QList<QByteArray>& vars) { return vars.join('\0') + '\0'; };
        // Only the process GIO started (pid 10 here) is the application, not what inherited its variables.
        const std::pair<QByteArray, QString> cases[] = {
            {block({launched, "GIO_LAUNCHED_DESKTOP_FILE_PID=10"}), "/usr/share/applications/a.desktop"},
            {block({"GIO_LAUNCHED_DESKTOP_FILE_PID=9", launched}), ""},
            {"GIO_LAUNCHED_DESKTOP_FILE=a.desktop", ""}, // relative
        };
        for (const auto& [environ, file] : cases) {
            QCOMPARE(desktop_file::launchedDesktopFile(environ, 10), file);
        }
    }

    void find()
    {
        const QString gamma = bin() + "/gamma tool";
        // Window class, instance and executable, then the file found under the temp folder ("" for none).
        const std::tuple<const char*, const char*, QString, const char*> cases[] = {
            {"AlphaWin", "alpha", gamma, "system/alpha.desktop"}, // StartupWMClass, before the executable
            {"alphawin", "", "", ""},                             // which is exact
            {"DELTA", "", "", "system/delta.desktop"},            // id, other case
            {"kde-zeta", "", "", "system/kde/zeta.desktop"},
            {"Beta", "", "", ""}, // hidden by the user
            {"Shadow", "", "", "user/shadowed.desktop"},
            {"Unknown", "", gamma, "system/gamma.desktop"},         // quoted Exec with env
            {"", "", bin() + "/deltaprog", "system/delta.desktop"}, // Exec through PATH
            {"", "", bin() + "/python3", ""},                       // interpreter shared by two
            {"", "", bin() + "/epsilon", "system/epsilon.desktop"}, // shared, one named after it
        };
        DesktopEntryIndex index = makeIndex();
        for (const auto& [wmClass, instance, executable, expected] : cases) {
            const DesktopEntry* found = index.find({7, {}, instance, wmClass, executable});
            QVERIFY2((found ? found->path : "") == (*expected ? root.filePath(expected) : ""),
                     qPrintable(wmClass + (" " + executable + " -> " + (found ? found->path : ""))));
        }
    }

    void missRescansOnlyWhenFoldersChanged()
    {
        QTemporaryDir apps;
        QVERIFY(writeFile(apps.filePath("one.desktop"), entry("Name=One\n")));
        DesktopEntryIndex index({apps.path()});
        index.setRefreshInterval(0);
        const DesktopEntryIndex::Query classTwo{0, {}, {}, "two", {}}, classThree{0, {}, {}, "three", {}};
        QVERIFY(!index.find(classTwo) && !index.find(classTwo) && !index.find(classTwo));
        QCOMPARE(index.scanCount(), 1);

        QVERIFY(writeFile(apps.filePath("two.desktop"), entry("Name=Two\n")));
        touchFolder(apps.path(), 1);
        const DesktopEntry* two = index.find(classTwo);
        QCOMPARE(two ? two->name : QString(), QStringLiteral("Two"));
        QCOMPARE(index.scanCount(), 2);

        // Within the refresh interval a miss does not even look at the folders.
        index.setRefreshInterval(60 * 60 * 1000);
        QVERIFY(writeFile(apps.filePath("three.desktop"), entry("Name=Three\n")));
        touchFolder(apps.path(), 2);
        QVERIFY(!index.find(classThree));
        QCOMPARE(index.scanCount(), 2);
    }

    void resolverAndItsCache()
    {
        // The executable was replaced while running: the kernel marks the link " (deleted)".
        makeProcess(101, "/usr/bin/replaced-program (deleted)", "LANG=C");
        makeProcess(102, "/usr/bin/whatever",
                    "GIO_LAUNCHED_DESKTOP_FILE=" + root.filePath("elsewhere/launched.desktop").toUtf8());
        makeProcess(103, "/usr/bin/unknown-program", "");
        // Another user's process: no exe link to read, but the command line is world-readable.
        makeProcess(104, QString(), "", bin().toUtf8() + "/deltaprog\0--flag\0");
        makeProcess(105, QString(), "", "");
        const QString launched = root.filePath("elsewhere/launched.desktop");
        // Pid, window class and locale, then the path and name the application is known by.
        const std::tuple<qint64, const char*, const char*, QString, const char*> cases[] = {
            {101, "Gx", "C", "/usr/bin/replaced-program", "Gx"},
            {102, "AlphaWin", "C", launched, "Launched"},
            {102, "AlphaWin", "de_AT", launched, "Gestartet"},
            {103, "", "C", "/usr/bin/unknown-program", "unknown-program"},
            {104, "", "C", root.filePath("system/delta.desktop"), "Delta"},
            {105, "Lonely", "C", "x11-class:Lonely", "Lonely"},
            {0, "AlphaWin", "C", root.filePath("system/alpha.desktop"), "Alpha"},
        };
        const QRegularExpression unreadable(QStringLiteral("Cannot read the executable of process"));
        QTest::failOnWarning(unreadable); // logged once per process, not on every probe
        for (const auto& [pid, wmClass, locale, path, name] : cases) {
            DesktopEntryIndex index = makeIndex();
            ApplicationResolver resolver(&index, proc());
            resolver.setLocale(locale);
            if (pid == 104 || pid == 105) {
                QTest::ignoreMessage(QtWarningMsg, unreadable);
            }
            for (int probe = 0; probe < 2; ++probe) {
                const ApplicationIdentity identity = resolver.resolve(pid, QString(), wmClass);
                QCOMPARE(identity.path + " " + identity.name, path + " " + name);
            }
        }

        makeProcess(201, bin() + "/deltaprog", "");
        DesktopEntryIndex index = makeIndex();
        ApplicationResolver resolver(&index, proc());
        QCOMPARE(resolver.resolve(201, "d", "D").path, root.filePath("system/delta.desktop"));
        // The process is gone from /proc, yet the answer for the same window class comes from the cache.
        QDir(proc() + "/201").removeRecursively();
        QCOMPARE(resolver.resolve(201, "d", "D").path, root.filePath("system/delta.desktop"));
        // A different class under the same pid is another program (the pid was reused): asked afresh.
        makeProcess(201, "/usr/bin/reused", "");
        QCOMPARE(resolver.resolve(201, "r", "Reused").path, QStringLiteral("/usr/bin/reused"));
    }

private:
    QString bin() const { return root.filePath(QStringLiteral("bin")); }
    QString proc() const { return root.filePath(QStringLiteral("proc")); }
    void makeProcess(qint64 pid, const QString& exeLink, const QByteArray& environ, const QByteArray& cmdline = {})
    {
        const QString dir = proc() + QLatin1Char('/') + QString::number(pid);
        QVERIFY(QDir().mkpath(dir));
        QVERIFY(exeLink.isEmpty() ||
                ::symlink(QFile::encodeName(exeLink).constData(), QFile::encodeName(dir + "/exe").constData()) == 0);
        QVERIFY(writeFile(dir + "/environ", environ));
        QVERIFY(writeFile(dir + "/cmdline", cmdline));
    }

    DesktopEntryIndex makeIndex() const
    {
        DesktopEntryIndex index({root.filePath("user"), root.filePath("system"), root.filePath("missing")});
        index.setExecutableSearchPath({bin()});
        return index;
    }

    QTemporaryDir root;
};

QTEST_GUILESS_MAIN(TestDesktopEntryIndex)
#include "TestDesktopEntryIndex.moc"
