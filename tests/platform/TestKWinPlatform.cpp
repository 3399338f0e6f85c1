// The KWin backend against a real KWin and real Wayland windows: its script must report what the test activates.
#include "DesktopStandIns.h"
#include "TestKit.h"
#include "WaylandTestWindows.h"
#include "wayland/KWinPlatform.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace {
// A real KWin of the test's own: `kwin_wayland --virtual` (no screen, no input devices) on a private bus.
class HeadlessKWin : public HeadlessCompositor
{
public:
    using HeadlessCompositor::HeadlessCompositor;
    ~HeadlessKWin()
    {
        windows.closeAll(); // before the bus KWin is on goes
        endProcess(compositor);
        QDBusConnection::disconnectFromBus(control);
    }

    // Starts the bus and KWin and waits until KWin takes scripts. False, with the reason, when KWin
    // cannot run here.
    bool start(QString* whyNot)
    {
        const QString installed = QStandardPaths::findExecutable("kwin_wayland");
        if (installed.isEmpty()) {
            *whyNot = "kwin_wayland is not installed (scripts/install-deps.sh installs it)";
            return false;
        }
        // Debian gives kwin_wayland a file capability (to raise its scheduling limits) that containers
        // often may not grant, and then it cannot be started at all; a copy has no capabilities. KWin
        // takes its own platform plugin only under the name kwin_wayland.
        const QString binary = runtime.filePath("kwin_wayland");
        if (!bus.start(whyNot) || !QFile::copy(installed, binary) ||
            !QFile::setPermissions(binary, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)) {
            *whyNot = "cannot start a bus or copy kwin_wayland: " + *whyNot;
            return false;
        }
        QProcessEnvironment env;
        env.insert("XDG_CONFIG_HOME", runtime.filePath("config"));
        env.insert("DBUS_SESSION_BUS_ADDRESS", bus.address());
        env.insert("KWIN_COMPOSE", "Q"); // software painting: no GPU here, and less CPU than llvmpipe
        wayland = runtime.filePath("verrin-kwin");
        windows.timeoutMs = 30000;
        // KWin takes its name on the bus before its scripting object exists.
        return launch(
            binary,
            {"--virtual", "--no-lockscreen", "--no-global-shortcuts", "--no-kactivities", "--socket", "verrin-kwin",
             "--width", "1280", "--height", "720"},
            env,
            [&] {
                return QFile::exists(wayland) &&
                       bus.connect(control).interface()->isServiceRegistered("org.kde.KWin") &&
                       scripting("isScriptLoaded", {"verrin-none"}).type() == QDBusMessage::ReplyMessage;
            },
            whyNot);
    }

    QDBusConnection connect(const QString& name) const { return bus.connect(name); }

    // Calls KWin's scripting object on the test's own connection.
    QDBusMessage scripting(const QString& method, const QVariantList& arguments) const
    {
        QDBusMessage message =
            QDBusMessage::createMethodCall("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", method);
        message.setArguments(arguments);
        return bus.connect(control).call(message, QDBus::Block, 10000);
    }

    // Makes the window with this caption the active one, through a script of KWin's own API.
    bool activate(const QString& caption)
    {
        // KWin 6 calls windows what KWin 5 called clients.
        const QByteArray text = "const v6 = !!workspace.windowList;\n"
                                "for (const w of v6 ? workspace.windowList() : workspace.clientList())\n"
                                "    if (w.caption === " +
                                QJsonDocument(QJsonArray{caption}).toJson(QJsonDocument::Compact) +
                                "[0]) v6 ? (workspace.activeWindow = w) : (workspace.activeClient = w);\n";
        const QString name = QStringLiteral("verrin-test-%1").arg(++scripts);
        QFile file(runtime.filePath(name + ".js"));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
            return false;
        }
        file.close();
        const QDBusMessage loaded = scripting("loadScript", {file.fileName(), name});
        return loaded.type() == QDBusMessage::ReplyMessage && loaded.arguments().value(0).toInt() >= 0 &&
               scripting("start", {}).type() == QDBusMessage::ReplyMessage;
    }

private:
    const QString control = QStringLiteral("verrin-kwin-control");
    PrivateBus bus;
    int scripts = 0;
};
} // namespace

class TestKWinPlatform : public QObject
{
    Q_OBJECT

private:
    HeadlessKWin kwin{QStringLiteral(WAYLAND_TEST_WINDOW)};
    QTemporaryDir applications;
    std::unique_ptr<KWinPlatform> platform;

private slots:
    void initTestCase()
    {
        QString whyNot;
        if (!kwin.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        QVERIFY(writeEditorEntry(applications.path()));
        platform =
            std::make_unique<KWinPlatform>(kwin.connect("verrin-kwin-platform"),
                                           QFile::encodeName(kwin.waylandSocket()), QStringList{applications.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
        QVERIFY(kwin.scripting("isScriptLoaded", {platform->pluginName()}).arguments().value(0).toBool());
        QVERIFY(kwin.windows.openEditorAndViewer());
    }

    void frontWindowAndItsTitle()
    {
        // KWin names the process, so an application without an entry is its executable, as on X11.
        checkFrontWindows(kwin.windows, applications.path(),
                          [&](const char*, const char* title) { return kwin.activate(title); },
                          {{platform.get(), QFileInfo(WAYLAND_TEST_WINDOW).canonicalFilePath(), true}});
    }

    void reportsFromOthersAreIgnored()
    {
        // Anyone on the bus can call the object; only KWin's script may say what is in front.
        const QString before = platform->foregroundWindow().title;
        QDBusMessage forged =
            QDBusMessage::createMethodCall(kwin.connect("verrin-kwin-platform").baseService(), KWinPlatform::objectPath,
                                           "com.verrin.VerrinPlus.KWin", "activeWindowChanged");
        forged << QString("Forged") << QString("forged") << QString("1");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Ignored a window report that did not come from KWin"));
        const QDBusMessage reply = kwin.connect("verrin-kwin-test").call(forged, QDBus::BlockWithGui, 10000);
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(platform->foregroundWindow().title, before);
    }

    void idleGrowsAndScriptLeavesWithTheBackend()
    {
        // The virtual backend has no input devices, so nobody touches anything.
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 2, 20000);
        const QString plugin = platform->pluginName();
        platform.reset();
        QVERIFY(!kwin.scripting("isScriptLoaded", {plugin}).arguments().value(0).toBool());
    }
};

QTEST_MAIN(TestKWinPlatform)
#include "TestKWinPlatform.moc"
