// The GNOME backend against stand-ins of its Shell extension and Mutter's IdleMonitor; the extension's files.
#include "DesktopStandIns.h"
#include "FakePrompter.h"
#include "TestKit.h"
#include "WaylandTestWindows.h"
#include "wayland/GnomeShellExtension.h"
#include "wayland/GnomeShellPlatform.h"

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

    // The backend on `connection` has taken in every answer so far: a round trip, then Qt's queued deliveries.
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

    // Back from idle once the activity watch is in place and its id known: a return before is not seen.
    void comeBack(const QString& connection, int watches)
    {
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), watches, timeoutMs);
        settle(connection);
        desktop->idle.idleFor(0);
        QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, timeoutMs);
    }

private slots:
    void initTestCase()
    {
        QString whyNot;
        if (!bus.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome.path()));
        QVERIFY(writeEditorEntry(applications.path()));
        desktop = std::make_unique<DesktopStandIns>(bus.address(),
                                                    DesktopStandIns::GnomeShell | DesktopStandIns::IdleMonitor);
        QVERIFY(desktop->isReady());
        platform = std::make_unique<GnomeShellPlatform>(bus.connect("verrin-gnome-platform"),
                                                        QStringList{applications.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
    }

    void frontWindow()
    {
        const uint self = uint(QCoreApplication::applicationPid());
        const QString editor = applications.filePath("verrin-test-editor.desktop");
        // What the extension reports (title, class, pid), then the name and path recorded ("" for nothing).
        const std::tuple<const char*, const char*, uint, const char*, QString> cases[] = {
            {"Notes — draft 1", "verrin-test-editor", self, "Test Editor", editor},
            // Mutter knows no pid for some windows (a sandbox's, say): the class is all there is.
            {"Sandboxed", "org.example.Sandboxed", 0, "org.example.Sandboxed", "wayland-app-id:org.example.Sandboxed"},
            // Focus on the desktop itself, or the extension being turned off: nothing is recorded.
            {"", "", 0, "", ""},
        };
        for (const auto& [title, wmClass, pid, name, path] : cases) {
            desktop->shell.focus(title, wmClass, pid);
            QTRY_VERIFY2_WITH_TIMEOUT(platform->foregroundWindow().valid == (*name != 0) &&
                                          platform->foregroundWindow().title == title,
                                      title, timeoutMs);
            const ForegroundWindow front = platform->foregroundWindow();
            QCOMPARE(front.name, QString(name));
            QCOMPARE(front.path, path);
            QCOMPARE(front.pid, qint64(pid));
        }
    }

    void idleComesAndGoesAndWatchesAreRemoved()
    {
        QCOMPARE(platform->idleSeconds(), 0);
        const int watches = desktop->idle.watchCount();
        for (int round = 0; round < 2; ++round) { // the idle watch stays; the activity watch is renewed
            desktop->idle.idleFor(5000);
            QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 1, timeoutMs);
            comeBack("verrin-gnome-platform", watches + 1);
        }
        // A backend started while the user is idle knows at once; its two watches go with it.
        desktop->idle.idleFor(120000);
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), watches + 1, timeoutMs);
        auto late = std::make_unique<GnomeShellPlatform>(bus.connect("verrin-gnome-late"), QStringList{});
        QVERIFY(late->idleSeconds() >= 120);
        QTRY_COMPARE_WITH_TIMEOUT(desktop->idle.watchCount(), watches + 3, timeoutMs);
        settle("verrin-gnome-late");
        late.reset();
        comeBack("verrin-gnome-platform", watches + 1);
    }

    void installWithConsentFittingTheShell()
    {
        desktop.reset(); // from now on a session where the shell runs without the extension
        for (const bool answer : {false, true}) {
            QDir(GnomeShellExtension::installFolder()).removeRecursively();
            FakePrompter prompter;
            prompter.answers.enqueue(answer);
            QCOMPARE(GnomeShellExtension::offer(&prompter, bus.connect("verrin-gnome-installer")), answer);
            QCOMPARE(GnomeShellExtension::isInstalled(), answer);
            // Whether gnome-extensions could turn it on or not, the user learns it needs a new login.
            QCOMPARE(prompter.calls.size(), answer ? 2 : 1);
            QVERIFY(!answer || prompter.calls[1].text.contains("log out and back in"));
            // Until then nothing is recorded, and the reason says which step is missing.
            GnomeShellPlatform without(bus.connect("verrin-gnome-without"), QStringList{});
            const QString reason = answer ? "The VerrinPlus GNOME Shell extension is not active yet"
                                          : "Recording on GNOME (Wayland) needs the VerrinPlus GNOME Shell";
            QVERIFY2(without.unsupportedReason().startsWith(reason), qPrintable(without.unsupportedReason()));
            QVERIFY(!without.isSupported() && !without.foregroundWindow().valid);
            QCOMPARE(without.idleSeconds(), 0);
        }
        QCOMPARE(GnomeShellExtension::installFolder(),
                 dataHome.path() + "/gnome-shell/extensions/" + GnomeShellExtension::uuid());
        // The Shell loads the extension only from a folder named after the uuid in its metadata.
        const QJsonObject metadata =
            QJsonDocument::fromJson(fileContents(GnomeShellExtension::installFolder() + "/metadata.json")).object();
        QCOMPARE(metadata.value("uuid").toString(), GnomeShellExtension::uuid());
        const QString node = QStandardPaths::findExecutable("node");
        if (node.isEmpty()) {
            qWarning("node is not installed: the extension's JavaScript is not parsed");
        }
        for (const auto& [shellMajor, source] :
             {std::pair{44, "extension-legacy.js"}, std::pair{45, "extension.js"}, std::pair{0, "extension.js"}}) {
            QString error;
            QVERIFY2(GnomeShellExtension::install(shellMajor, &error), qPrintable(error));
            const QByteArray installed = fileContents(GnomeShellExtension::installFolder() + "/extension.js");
            QVERIFY2(installed == fileContents(extensionFolder + "/" + source),
                     qPrintable(QString::number(shellMajor)));
            // It exports the object the backend asks for.
            QVERIFY(installed.contains(GnomeShellPlatform::objectPath) &&
                    installed.contains(GnomeShellPlatform::interface));
            // A syntax error would leave GNOME users with nothing recorded and nothing here to show it.
            QTemporaryDir copy;
            const QString asModule = copy.filePath(shellMajor == 44 ? "extension.cjs" : "extension.mjs");
            if (!node.isEmpty()) {
                QVERIFY(QFile::copy(GnomeShellExtension::installFolder() + "/extension.js", asModule));
                QVERIFY(runTool(node, {"--check", asModule}));
            }
        }
    }
};

QTEST_MAIN(TestGnomeShellPlatform)
#include "TestGnomeShellPlatform.moc"
