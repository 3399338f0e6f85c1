// The GNOME backend against stand-ins of the VerrinPlus GNOME Shell extension and of Mutter's
// IdleMonitor on a bus of the test's own, the extension's own files, and its installation.
#include "DesktopStandIns.h"
#include "FakePrompter.h"
#include "PrivateBus.h"
#include "wayland/GnomeShellExtension.h"
#include "wayland/GnomeShellPlatform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

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
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("path");
        const uint self = uint(QCoreApplication::applicationPid());
        const QString executable = QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
        const QString editor = applications.filePath("verrin-test-editor.desktop");
        QTest::newRow("entry") << "Notes — draft 1"
                               << "verrin-test-editor" << self << true << "Test Editor" << editor;
        QTest::newRow("new title") << "Notes — draft 2 ✓"
                                   << "verrin-test-editor" << self << true << "Test Editor" << editor;
        // Without an entry the process's executable is the application, as on X11.
        QTest::newRow("no entry") << "Report 'Q3' \"final\""
                                  << "verrin-test-viewer" << self << true << "verrin-test-viewer" << executable;
        // Mutter knows no pid for some windows (a sandbox's, say): the class is all there is.
        QTest::newRow("no pid") << "Sandboxed"
                                << "org.example.Sandboxed" << 0u << true << "org.example.Sandboxed"
                                << "wayland-app-id:org.example.Sandboxed";
        // Focus on the desktop itself, or the extension being turned off: nothing is recorded.
        QTest::newRow("nothing") << ""
                                 << "" << 0u << false << ""
                                 << "";
    }

    void frontWindow()
    {
        QFETCH(QString, title);
        QFETCH(QString, wmClass);
        QFETCH(uint, pid);
        QFETCH(bool, valid);
        QFETCH(QString, name);
        QFETCH(QString, path);
        desktop->shell.focus(title, wmClass, pid);
        QTRY_VERIFY_WITH_TIMEOUT(platform->foregroundWindow().valid == valid &&
                                     platform->foregroundWindow().title == (valid ? title : QString()),
                                 timeoutMs);
        const ForegroundWindow front = platform->foregroundWindow();
        QCOMPARE(front.name, name);
        QCOMPARE(front.path, path);
        QCOMPARE(front.pid, valid ? qint64(pid) : 0);
    }

    void idleComesAndGoes()
    {
        QCOMPARE(platform->idleSeconds(), 0);
        for (int round = 0; round < 2; ++round) { // the idle watch stays; the activity watch is renewed
            desktop->idle.idleFor(5000);
            QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, timeoutMs);
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
        late.reset();
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), before + 1, timeoutMs);
        desktop->idle.userActive();
        QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, timeoutMs);
    }

    void withoutExtension_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("reason");
        QTest::newRow("not installed") << false << "Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell";
        QTest::newRow("installed, not loaded yet") << true << "The VerrinPlus GNOME Shell extension is not active yet";
    }

    void withoutExtension()
    {
        QFETCH(bool, installed);
        QFETCH(QString, reason);
        QDir(GnomeShellExtension::installFolder()).removeRecursively();
        QString error;
        QVERIFY2(!installed || GnomeShellExtension::install(0, &error), qPrintable(error));
        PrivateBus empty; // a session where the shell runs without the extension
        QString whyNot;
        QVERIFY2(empty.start(&whyNot), qPrintable(whyNot));
        GnomeShellPlatform without(empty.connect("verrin-gnome-without"), QStringList{applications.path()});
        QVERIFY(!without.isSupported());
        QVERIFY2(without.unsupportedReason().startsWith(reason), qPrintable(without.unsupportedReason()));
        QVERIFY(!without.foregroundWindow().valid);
        QCOMPARE(without.idleSeconds(), 0);
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
        QVERIFY(!metadata.value("name").toString().isEmpty());
        QVERIFY(!metadata.value("description").toString().isEmpty());
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

    void extensionScriptsParse_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("asName");
        QTest::newRow("shell 45 and later, a module") << "extension.js"
                                                      << "extension.mjs";
        QTest::newRow("shell 43 and 44, a script") << "extension-legacy.js"
                                                   << "extension.cjs";
    }

    void extensionScriptsParse()
    {
        QFETCH(QString, file);
        QFETCH(QString, asName);
        const QString node = QStandardPaths::findExecutable("node");
        if (node.isEmpty()) {
            QSKIP("node is not installed: the extension's JavaScript is not parsed");
        }
        QTemporaryDir copy;
        QVERIFY(QFile::copy(extensionFolder + "/" + file, copy.filePath(asName)));
        QProcess check;
        check.start(node, {"--check", copy.filePath(asName)});
        QVERIFY(check.waitForFinished(30000));
        QVERIFY2(check.exitCode() == 0, check.readAllStandardError().constData());
    }

    void installOnlyWithConsent_data()
    {
        QTest::addColumn<bool>("answer");
        QTest::newRow("declined") << false;
        QTest::newRow("agreed") << true;
    }

    void installOnlyWithConsent()
    {
        QFETCH(bool, answer);
        QDir(GnomeShellExtension::installFolder()).removeRecursively();
        FakePrompter prompter;
        prompter.answers.enqueue(answer);
        QCOMPARE(GnomeShellExtension::offer(&prompter, bus.connect("verrin-gnome-installer")), answer);
        QCOMPARE(prompter.calls.value(0).kind, QString("ask"));
        QCOMPARE(GnomeShellExtension::isInstalled(), answer);
        QCOMPARE(GnomeShellExtension::installFolder(),
                 dataHome.path() + "/gnome-shell/extensions/" + GnomeShellExtension::uuid());
        if (answer) {
            // Whether gnome-extensions could turn it on or not, the user learns it needs a new login.
            QCOMPARE(prompter.calls.size(), 2);
            QVERIFY2(prompter.calls[1].text.contains("log out and back in"), qPrintable(prompter.calls[1].text));
        } else {
            QCOMPARE(prompter.calls.size(), 1);
        }
        QDir(GnomeShellExtension::installFolder()).removeRecursively();
    }

    void installFitsShellVersion_data()
    {
        QTest::addColumn<int>("shellMajor");
        QTest::addColumn<QString>("source");
        QTest::newRow("43") << 43 << "extension-legacy.js";
        QTest::newRow("44") << 44 << "extension-legacy.js";
        QTest::newRow("45") << 45 << "extension.js";
        QTest::newRow("unknown") << 0 << "extension.js";
    }

    void installFitsShellVersion()
    {
        QFETCH(int, shellMajor);
        QFETCH(QString, source);
        QString error;
        QVERIFY2(GnomeShellExtension::install(shellMajor, &error), qPrintable(error));
        QFile installed(GnomeShellExtension::installFolder() + "/extension.js");
        QFile shipped(extensionFolder + "/" + source);
        QVERIFY(installed.open(QIODevice::ReadOnly) && shipped.open(QIODevice::ReadOnly));
        QCOMPARE(installed.readAll(), shipped.readAll());
        QVERIFY(QFile::exists(GnomeShellExtension::installFolder() + "/metadata.json"));
        QDir(GnomeShellExtension::installFolder()).removeRecursively();
    }
};

QTEST_MAIN(TestGnomeShellPlatform)
#include "TestGnomeShellPlatform.moc"
