// The wlroots backend against a real headless sway with real Wayland client windows. sway refuses to
// run as root, so as root the test starts it as an unprivileged user of its own; root may still
// connect to that user's socket. The test's own Qt stays offscreen: the backend keeps a connection
// of its own.
#include "platform/Platform.h"
#include "platform/wayland/WlrootsPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <pwd.h>
#include <unistd.h>

namespace {
const char* const testUser = "verrin-wayland-test";
constexpr int startTimeoutMs = 20000;

struct TestWindow
{
    std::unique_ptr<QProcess> process;
    QString appId;
    QString title;
};
} // namespace

class TestWlrootsPlatform : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir swayRuntime{QDir::tempPath() + "/verrin-sway-XXXXXX"};
    QTemporaryDir clientRuntime;
    QTemporaryDir applications;
    QProcess sway;
    QString waylandSocket;
    QString ipcSocket;
    std::unique_ptr<WlrootsPlatform> platform; // asks sway's IPC for process ids
    std::unique_ptr<WlrootsPlatform> plain;    // what any wlroots compositor gives: app ids only
    QList<TestWindow*> windows;

    // Where sway runs as a user of its own: creates that user once, hands it the runtime folder and
    // returns the setpriv prefix. Empty when the test does not run as root.
    QStringList dropPrivileges(QString* error)
    {
        if (::geteuid() != 0) {
            return {};
        }
        if (!::getpwnam(testUser)) {
            QProcess add;
            add.start(QStringLiteral("useradd"), {"--system", "--user-group", "--no-create-home", "--home-dir",
                                                  "/nonexistent", "--shell", "/usr/sbin/nologin", testUser});
            if (!add.waitForFinished(30000) || (add.exitCode() != 0 && !::getpwnam(testUser))) {
                *error = "cannot create the user " + QString(testUser) + ": " + add.readAllStandardError();
                return {};
            }
        }
        const passwd* user = ::getpwnam(testUser);
        if (!user) {
            *error = "no user " + QString(testUser);
            return {};
        }
        const QByteArray dir = QFile::encodeName(swayRuntime.path());
        if (::chown(dir.constData(), user->pw_uid, user->pw_gid) != 0) {
            *error = "cannot hand the runtime folder to " + QString(testUser);
            return {};
        }
        return {QStringLiteral("--reuid=%1").arg(user->pw_uid), QStringLiteral("--regid=%1").arg(user->pw_gid),
                QStringLiteral("--clear-groups")};
    }

    QString findInRuntime(const QString& pattern) const
    {
        const QStringList names = QDir(swayRuntime.path()).entryList({pattern}, QDir::System | QDir::Files);
        for (const QString& name : names) {
            if (!name.endsWith(QLatin1String(".lock"))) {
                return swayRuntime.filePath(name);
            }
        }
        return QString();
    }

    bool swaymsg(const QString& command)
    {
        QProcess msg;
        msg.start(QStringLiteral("swaymsg"), {"-s", ipcSocket, command});
        if (!msg.waitForFinished(10000) || msg.exitCode() != 0) {
            qWarning() << "swaymsg" << command << "failed:" << msg.readAllStandardOutput()
                       << msg.readAllStandardError();
            return false;
        }
        return true;
    }

    TestWindow* openWindow(const QString& appId, const QString& title)
    {
        auto* window = new TestWindow;
        windows.append(window);
        window->title = title;
        window->appId = appId;
        window->process = std::make_unique<QProcess>();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "wayland");
        env.insert("WAYLAND_DISPLAY", waylandSocket);
        env.insert("XDG_RUNTIME_DIR", clientRuntime.path());
        env.remove("DISPLAY");
        window->process->setProcessEnvironment(env);
        window->process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        window->process->start(QStringLiteral(WAYLAND_TEST_WINDOW), {appId, title});
        if (!QTest::qWaitFor(
                [&] { return window->process->canReadLine() || window->process->state() == QProcess::NotRunning; },
                startTimeoutMs) ||
            !window->process->readLine().startsWith("mapped")) {
            qWarning() << "the test window" << appId << "did not map";
            return nullptr;
        }
        return window;
    }

    TestWindow* windowOf(const QString& appId) const
    {
        for (TestWindow* window : windows) {
            if (window->appId == appId) {
                return window;
            }
        }
        return nullptr;
    }

    void closeWindow(TestWindow* window)
    {
        window->process->closeWriteChannel(); // end of input closes it
        if (!window->process->waitForFinished(5000)) {
            window->process->kill();
            window->process->waitForFinished(5000);
        }
        windows.removeOne(window);
        delete window;
    }

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("sway")).isEmpty()) {
            QSKIP("sway is not installed (scripts/install-deps.sh installs it)");
        }
        QVERIFY(swayRuntime.isValid() && clientRuntime.isValid() && applications.isValid());
        QString error;
        const QStringList privileges = dropPrivileges(&error);
        if (!error.isEmpty()) {
            QSKIP(qPrintable("sway cannot start: " + error));
        }
        QFile config(swayRuntime.filePath("config"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write("xwayland disable\noutput HEADLESS-1 resolution 1280x720\n");
        config.close();

        QProcessEnvironment env;
        env.insert("PATH", qEnvironmentVariable("PATH"));
        env.insert("HOME", swayRuntime.path());
        env.insert("XDG_RUNTIME_DIR", swayRuntime.path());
        env.insert("WLR_BACKENDS", "headless");
        env.insert("WLR_LIBINPUT_NO_DEVICES", "1");
        env.insert("WLR_RENDERER", "pixman");
        sway.setProcessEnvironment(env);
        sway.setProcessChannelMode(QProcess::MergedChannels);
        const QStringList swayArgs = {"-c", config.fileName()};
        if (privileges.isEmpty()) {
            sway.start(QStringLiteral("sway"), swayArgs);
        } else {
            sway.start(QStringLiteral("setpriv"), privileges + QStringList{"--", "sway"} + swayArgs);
        }
        const bool ready = QTest::qWaitFor(
            [&] {
                waylandSocket = findInRuntime("wayland-*");
                ipcSocket = findInRuntime("sway-ipc.*.sock");
                return (!waylandSocket.isEmpty() && !ipcSocket.isEmpty()) || sway.state() == QProcess::NotRunning;
            },
            startTimeoutMs);
        if (!ready || sway.state() == QProcess::NotRunning) {
            QSKIP(qPrintable("sway cannot start here: " + QString::fromLocal8Bit(sway.readAll().right(2000))));
        }
        qputenv("WAYLAND_DISPLAY", QFile::encodeName(waylandSocket));
        qputenv("XDG_SESSION_TYPE", "wayland");

        QFile entry(applications.filePath("verrin-test-editor.desktop"));
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=Test Editor\nExec=/bin/true\n");
        entry.close();

        qputenv("SWAYSOCK", QFile::encodeName(ipcSocket));
        platform = std::make_unique<WlrootsPlatform>(QByteArray(), QStringList{applications.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
        plain = std::make_unique<WlrootsPlatform>(QByteArray(), QStringList{applications.path()});
        plain->setSwaySocket(QString());
        // sway 1.7 offers only KDE's idle protocol, later ones ext-idle-notify as well.
        QVERIFY2(platform->idleProtocol() == "ext_idle_notifier_v1" || platform->idleProtocol() == "org_kde_kwin_idle",
                 platform->idleProtocol().constData());

        QVERIFY(openWindow("verrin-test-editor", "Notes — draft 1"));
        QVERIFY(openWindow("verrin-test-viewer", "Report 'Q3' \"final\""));
    }

    void cleanupTestCase()
    {
        platform.reset();
        plain.reset();
        while (!windows.isEmpty()) {
            closeWindow(windows.first());
        }
        if (sway.state() != QProcess::NotRunning) {
            sway.terminate();
            if (!sway.waitForFinished(10000)) {
                sway.kill();
                sway.waitForFinished(5000);
            }
        }
    }

    void frontWindow_data()
    {
        QTest::addColumn<QString>("appId");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("plainPath");
        QTest::addColumn<QString>("title");
        const QString editorEntry = applications.filePath("verrin-test-editor.desktop");
        const QString executable = QFileInfo(QStringLiteral(WAYLAND_TEST_WINDOW)).canonicalFilePath();
        // An app id with a desktop entry is recorded under the entry. Without one, the executable
        // when sway names the process, else the app id.
        QTest::newRow("entry") << "verrin-test-editor"
                               << "Test Editor" << editorEntry << editorEntry << "Notes — draft 1";
        QTest::newRow("no entry") << "verrin-test-viewer"
                                  << "verrin-test-viewer" << executable << "wayland-app-id:verrin-test-viewer"
                                  << "Report 'Q3' \"final\"";
        QTest::newRow("back again") << "verrin-test-editor"
                                    << "Test Editor" << editorEntry << editorEntry << "Notes — draft 1";
    }

    void frontWindow()
    {
        QFETCH(QString, appId);
        QFETCH(QString, name);
        QFETCH(QString, path);
        QFETCH(QString, plainPath);
        QFETCH(QString, title);
        QVERIFY(swaymsg(QStringLiteral("[app_id=\"%1\"] focus").arg(appId)));
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, title, startTimeoutMs);
        const ForegroundWindow front = platform->foregroundWindow();
        QVERIFY(front.valid);
        QCOMPARE(front.name, name);
        QCOMPARE(front.path, path);
        QCOMPARE(front.pid, windowOf(appId)->process->processId());

        QTRY_COMPARE_WITH_TIMEOUT(plain->foregroundWindow().title, title, startTimeoutMs);
        QCOMPARE(plain->foregroundWindow().name, name);
        QCOMPARE(plain->foregroundWindow().path, plainPath);
        QCOMPARE(plain->foregroundWindow().pid, 0);
    }

    void titleFollowsWindow()
    {
        QVERIFY(swaymsg(QStringLiteral("[app_id=\"verrin-test-editor\"] focus")));
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Notes — draft 1"), startTimeoutMs);
        windows.first()->process->write(QStringLiteral("title Notes — draft 2 ✓\n").toUtf8());
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Notes — draft 2 ✓"), startTimeoutMs);
        QCOMPARE(platform->foregroundWindow().name, QString("Test Editor"));
    }

    void closedWindowLeavesFront()
    {
        TestWindow* temporary = openWindow("verrin-test-temporary", "Short-lived");
        QVERIFY(temporary);
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Short-lived"), startTimeoutMs);
        closeWindow(temporary);
        // sway gives the focus to a remaining window; the closed one must never be reported again.
        QTRY_VERIFY_WITH_TIMEOUT(platform->foregroundWindow().valid &&
                                     platform->foregroundWindow().title != QLatin1String("Short-lived"),
                                 startTimeoutMs);
    }

    void idleGrowsAndInputResetsIt()
    {
        // The headless compositor has no input devices, so nobody touches anything.
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 2, startTimeoutMs);
        if (QStandardPaths::findExecutable(QStringLiteral("wtype")).isEmpty()) {
            QSKIP("wtype is not installed: cannot send input to reset idle time");
        }
        QProcess type;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("WAYLAND_DISPLAY", waylandSocket);
        env.insert("XDG_RUNTIME_DIR", clientRuntime.path());
        type.setProcessEnvironment(env);
        type.start(QStringLiteral("wtype"), {"-k", "Shift_L"});
        QVERIFY(type.waitForFinished(10000));
        QVERIFY2(type.exitCode() == 0, type.readAllStandardError().constData());
        QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, startTimeoutMs);
    }

    void factoryChoosesWlroots()
    {
        // XWayland or not, a Wayland session whose compositor reports windows gets this backend.
        qputenv("DISPLAY", ":999");
        std::unique_ptr<Platform> chosen = createPlatform();
        QVERIFY2(chosen->isSupported(), qPrintable(chosen->unsupportedReason()));
        QVERIFY(dynamic_cast<WlrootsPlatform*>(chosen.get()));
        QTRY_VERIFY_WITH_TIMEOUT(chosen->foregroundWindow().valid, startTimeoutMs);
    }

    void lostCompositorStopsRecording()
    {
        // Last: ends sway. Afterwards nothing is in front and the reason says why.
        sway.terminate();
        QVERIFY(sway.waitForFinished(10000));
        QTRY_VERIFY_WITH_TIMEOUT(!platform->isSupported(), startTimeoutMs);
        QVERIFY(!platform->foregroundWindow().valid);
        QCOMPARE(platform->idleSeconds(), 0);
        QVERIFY2(platform->unsupportedReason().contains("Wayland compositor"),
                 qPrintable(platform->unsupportedReason()));
    }
};

QTEST_MAIN(TestWlrootsPlatform)
#include "TestWlrootsPlatform.moc"
