// The GNOME backend against stand-ins of the VerrinPlus GNOME Shell extension and of Mutter's
// IdleMonitor on a bus of the test's own, the extension's own files, and its installation.
#include "DesktopStandIns.h"
#include "FakePrompter.h"
#include "PrivateBus.h"
#include "TestKit.h"
#include "wayland/GnomeShellExtension.h"
#include "wayland/GnomeShellPlatform.h"

#include <QCoreApplication>
#include <QDBusMessage>

namespace {
constexpr int timeoutMs = 10000;
const QString extensionFolder = QStringLiteral(VERRIN_SOURCE_DIR "/resources/gnome-shell/verrinplus@verrin.com");
} // namespace

class TestGnomeShellPlatform : public QObject
{
    Q_OBJECT

private:
    PrivateBus bus;
    QTemporaryDir applications;
    QTemporaryDir dataHome;
    std::unique_ptr<DesktopStandIns> desktop;
    std::unique_ptr<GnomeShellPlatform> platform;

    std::unique_ptr<GnomeShellPlatform> newPlatform(const QString& connection)
    {
        return std::make_unique<GnomeShellPlatform>(bus.connect(connection), QStringList{applications.path()});
    }

    // The backend on `connection` has taken in every answer sent to it so far: a round trip on its
    // connection, then the deliveries Qt queued for them.
    void settle(const QString& connection)
    {
        QDBusMessage ask =
            QDBusMessage::createMethodCall("org.gnome.Mutter.IdleMonitor", "/org/gnome/Mutter/IdleMonitor/Core",
                                           "org.gnome.Mutter.IdleMonitor", "GetIdletime");
        QVERIFY(bus.connect(connection).call(ask, QDBus::Block, timeoutMs).type() == QDBusMessage::ReplyMessage);
        for (int i = 0; i < 10; ++i) {
            QCoreApplication::processEvents();
        }
    }

private slots:
    void initTestCase()
    {
        QString whyNot;
        if (!bus.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome.path()));
        QFile entry(applications.filePath("verrin-test-editor.desktop"));
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=Test Editor\nExec=/bin/true\n");
        entry.close();
        desktop = std::make_unique<DesktopStandIns>(bus.address(),
                                                    DesktopStandIns::GnomeShell | DesktopStandIns::IdleMonitor);
        QVERIFY(desktop->isReady());
        platform = newPlatform("verrin-gnome-platform");
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
    }

    void cleanupTestCase()
    {
        platform.reset();
        desktop.reset();
    }

    void frontWindow_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("wmClass");
        QTest::addColumn<uint>("pid");
        QTest::addColumn<QString>("name"); // "" for no window at all
        QTest::addColumn<QString>("path");
        const auto row = [](const char* tag, const QString& title, const QString& wmClass, uint pid,
                            const QString& name,
                            const QString& path) { QTest::newRow(tag) << title << wmClass << pid << name << path; };
        const uint self = uint(QCoreApplication::applicationPid());
        const QString editor = applications.filePath("verrin-test-editor.desktop");
        row("entry", "Notes — draft 1", "verrin-test-editor", self, "Test Editor", editor);
        row("new title", "Notes — draft 2 ✓", "verrin-test-editor", self, "Test Editor", editor);
        // Without an entry the process's executable is the application, as on X11.
        row("no entry", "Report 'Q3' \"final\"", "verrin-test-viewer", self, "verrin-test-viewer",
            QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
        // Mutter knows no pid for some windows (a sandbox's, say): the class is all there is.
        row("no pid", "Sandboxed", "org.example.Sandboxed", 0, "org.example.Sandboxed",
            "wayland-app-id:org.example.Sandboxed");
        // Focus on the desktop itself, or the extension being turned off: nothing is recorded.
        row("nothing", "", "", 0, "", "");
    }

    void frontWindow()
    {
        QFETCH(QString, title);
        QFETCH(QString, wmClass);
        QFETCH(uint, pid);
        QFETCH(QString, name);
        QFETCH(QString, path);
        desktop->shell.focus(title, wmClass, pid);
        const bool valid = !name.isEmpty();
        QTRY_VERIFY_WITH_TIMEOUT(
            platform->foregroundWindow().valid == valid && platform->foregroundWindow().title == title, timeoutMs);
        const ForegroundWindow front = platform->foregroundWindow();
        QCOMPARE(front.name, name);
        QCOMPARE(front.path, path);
        QCOMPARE(front.pid, qint64(pid));
    }

    void idleComesAndGoes()
    {
        QCOMPARE(platform->idleSeconds(), 0);
        const int watches = desktop->idle.watchCount();
        for (int round = 0; round < 2; ++round) { // the idle watch stays; the activity watch is renewed
            desktop->idle.idleFor(5000);
            QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, timeoutMs);
            // Back only once the activity watch is in place and its id known: a return before is not seen.
            QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), watches + 1, timeoutMs);
            settle("verrin-gnome-platform");
            desktop->idle.userActive();
            QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, timeoutMs);
        }
    }

    void alreadyIdleAtStartAndWatchesRemoved()
    {
        const int before = desktop->idle.watchCount();
        desktop->idle.idleFor(120000);
        // The running backend now watches for activity as well.
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, timeoutMs);
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), before + 1, timeoutMs);
        auto late = newPlatform("verrin-gnome-late");
        QVERIFY(late->idleSeconds() >= 120);
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), before + 3, timeoutMs); // its idle + activity
        settle("verrin-gnome-late");
        late.reset(); // and both its watches go with it
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), before + 1, timeoutMs);
        settle("verrin-gnome-platform");
        desktop->idle.userActive();
        QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, timeoutMs);
    }

    void withoutExtension()
    {
        PrivateBus empty; // a session where the shell runs without the extension
        QString whyNot;
        QVERIFY2(empty.start(&whyNot), qPrintable(whyNot));
        for (const bool installed : {false, true}) {
            QDir(GnomeShellExtension::installFolder()).removeRecursively();
            QString error;
            QVERIFY2(!installed || GnomeShellExtension::install(0, &error), qPrintable(error));
            GnomeShellPlatform without(empty.connect("verrin-gnome-without"), QStringList{applications.path()});
            QVERIFY(!without.isSupported());
            const QString reason = installed ? "The VerrinPlus GNOME Shell extension is not active yet"
                                             : "Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell";
            QVERIFY2(without.unsupportedReason().startsWith(reason), qPrintable(without.unsupportedReason()));
            QVERIFY(!without.foregroundWindow().valid);
            QCOMPARE(without.idleSeconds(), 0);
        }
        QDBusConnection::disconnectFromBus("verrin-gnome-without");
        QDir(GnomeShellExtension::installFolder()).removeRecursively();
    }

    void extensionFiles()
    {
        QFile metadataFile(extensionFolder + "/metadata.json");
        QVERIFY(metadataFile.open(QIODevice::ReadOnly));
        QJsonParseError error;
        const QJsonObject metadata = QJsonDocument::fromJson(metadataFile.readAll(), &error).object();
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        QCOMPARE(metadata.value("uuid").toString(), QFileInfo(extensionFolder).fileName());
        QCOMPARE(metadata.value("uuid").toString(), GnomeShellExtension::uuid());
        const QJsonArray versions = metadata.value("shell-version").toArray();
        for (const char* version : {"43", "44", "45", "46", "47"}) {
            QVERIFY2(versions.contains(QJsonValue(version)), version);
        }
        // Both kinds must export what the backend asks for.
        for (const char* name : {"extension.js", "extension-legacy.js"}) {
            QFile script(extensionFolder + "/" + name);
            QVERIFY(script.open(QIODevice::ReadOnly));
            const QByteArray text = script.readAll();
            QVERIFY2(text.contains(GnomeShellPlatform::objectPath), name);
            QVERIFY2(text.contains(GnomeShellPlatform::interface), name);
        }
    }

    void extensionScriptsParse()
    {
        const QString node = QStandardPaths::findExecutable("node");
        if (node.isEmpty()) {
            QSKIP("node is not installed: the extension's JavaScript is not parsed");
        }
        // Shell 45 and later load a module, 43 and 44 a script.
        for (const auto& [file, asName] :
             {std::pair{"extension.js", "extension.mjs"}, std::pair{"extension-legacy.js", "extension.cjs"}}) {
            QTemporaryDir copy;
            QVERIFY(QFile::copy(extensionFolder + "/" + file, copy.filePath(asName)));
            QProcess check;
            check.start(node, {"--check", copy.filePath(asName)});
            QVERIFY(check.waitForFinished(30000));
            QVERIFY2(check.exitCode() == 0, check.readAllStandardError().constData());
        }
    }

    void installOnlyWithConsent()
    {
        for (const bool answer : {false, true}) {
            QDir(GnomeShellExtension::installFolder()).removeRecursively();
            FakePrompter prompter;
            prompter.answers.enqueue(answer);
            QCOMPARE(GnomeShellExtension::offer(&prompter, bus.connect("verrin-gnome-installer")), answer);
            QCOMPARE(prompter.calls.value(0).kind, QString("ask"));
            QCOMPARE(GnomeShellExtension::isInstalled(), answer);
            // Whether gnome-extensions could turn it on or not, the user learns it needs a new login.
            QCOMPARE(prompter.calls.size(), answer ? 2 : 1);
            QVERIFY(!answer || prompter.calls[1].text.contains("log out and back in"));
        }
        QCOMPARE(GnomeShellExtension::installFolder(),
                 dataHome.path() + "/gnome-shell/extensions/" + GnomeShellExtension::uuid());
    }

    void installFitsShellVersion()
    {
        for (const auto& [shellMajor, source] :
             {std::pair{43, "extension-legacy.js"}, std::pair{44, "extension-legacy.js"}, std::pair{45, "extension.js"},
              std::pair{0, "extension.js"}}) {
            QDir(GnomeShellExtension::installFolder()).removeRecursively();
            QString error;
            QVERIFY2(GnomeShellExtension::install(shellMajor, &error), qPrintable(error));
            QFile installed(GnomeShellExtension::installFolder() + "/extension.js");
            QFile shipped(extensionFolder + "/" + source);
            QVERIFY(installed.open(QIODevice::ReadOnly) && shipped.open(QIODevice::ReadOnly));
            QVERIFY2(installed.readAll() == shipped.readAll(), qPrintable(QString::number(shellMajor)));
            QVERIFY(QFile::exists(GnomeShellExtension::installFolder() + "/metadata.json"));
        }
        QDir(GnomeShellExtension::installFolder()).removeRecursively();
    }
};

QTEST_MAIN(TestGnomeShellPlatform)
#include "TestGnomeShellPlatform.moc"
