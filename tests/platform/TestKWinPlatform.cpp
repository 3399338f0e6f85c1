// The KWin backend against a real KWin (`kwin_wayland --virtual`) on a bus of the test's own, with
// real Wayland client windows: the script VerrinPlus loads into KWin must report what the test
// activates, through KWin's real scripting API and callDBus.
#include "HeadlessKWin.h"
#include "TestKit.h"
#include "wayland/KWinPlatform.h"

#include <QDBusMessage>

namespace {
constexpr int timeoutMs = 20000;
} // namespace

class TestKWinPlatform : public QObject
{
    Q_OBJECT

private:
    HeadlessKWin kwin{QStringLiteral(WAYLAND_TEST_WINDOW)};
    QTemporaryDir applications;
    std::unique_ptr<KWinPlatform> platform;

    bool scriptLoaded(const QString& plugin)
    {
        QDBusMessage ask =
            QDBusMessage::createMethodCall("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "isScriptLoaded");
        ask << plugin;
        return kwin.connect("verrin-kwin-test").call(ask, QDBus::Block, 10000).arguments().value(0).toBool();
    }

private slots:
    void initTestCase()
    {
        QString whyNot;
        if (!kwin.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        QFile entry(applications.filePath("verrin-test-editor.desktop"));
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=Test Editor\nExec=/bin/true\n");
        entry.close();

        platform =
            std::make_unique<KWinPlatform>(kwin.connect("verrin-kwin-platform"),
                                           QFile::encodeName(kwin.waylandSocket()), QStringList{applications.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
        QVERIFY(scriptLoaded(platform->pluginName()));
        QVERIFY2(platform->idleProtocol() == "ext_idle_notifier_v1" || platform->idleProtocol() == "org_kde_kwin_idle",
                 platform->idleProtocol().constData());
        QVERIFY(kwin.windows.open("verrin-test-editor", "Notes — draft 1"));
        QVERIFY(kwin.windows.open("verrin-test-viewer", "Report 'Q3' \"final\""));
    }

    void cleanupTestCase() { platform.reset(); }

    void frontWindow_data()
    {
        QTest::addColumn<QString>("appId");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("title");
        const QString editorEntry = applications.filePath("verrin-test-editor.desktop");
        const QString executable = QFileInfo(QStringLiteral(WAYLAND_TEST_WINDOW)).canonicalFilePath();
        // KWin names the process, so an application without an entry is its executable, as on X11.
        const auto row = [](const char* tag, const QString& appId, const QString& name, const QString& path,
                            const QString& title) { QTest::newRow(tag) << appId << name << path << title; };
        row("entry", "verrin-test-editor", "Test Editor", editorEntry, "Notes — draft 1");
        row("no entry", "verrin-test-viewer", "verrin-test-viewer", executable, "Report 'Q3' \"final\"");
        row("back again", "verrin-test-editor", "Test Editor", editorEntry, "Notes — draft 1");
    }

    void frontWindow()
    {
        QFETCH(QString, appId);
        QFETCH(QString, name);
        QFETCH(QString, path);
        QFETCH(QString, title);
        QVERIFY(kwin.activate(title));
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, title, timeoutMs);
        const ForegroundWindow front = platform->foregroundWindow();
        QVERIFY(front.valid);
        QCOMPARE(front.name, name);
        QCOMPARE(front.path, path);
        QCOMPARE(front.pid, kwin.windows.find(appId)->process->processId());
    }

    void titleFollowsWindow()
    {
        QVERIFY(kwin.activate("Notes — draft 1"));
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Notes — draft 1"), timeoutMs);
        kwin.windows.retitle("verrin-test-editor", "Notes — draft 2 ✓");
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Notes — draft 2 ✓"), timeoutMs);
        QCOMPARE(platform->foregroundWindow().name, QString("Test Editor"));
    }

    void reportsFromOthersAreIgnored()
    {
        // Anyone on the bus can call the object; only KWin's script may say what is in front.
        const ForegroundWindow before = platform->foregroundWindow();
        QDBusMessage forged =
            QDBusMessage::createMethodCall(kwin.connect("verrin-kwin-platform").baseService(), KWinPlatform::objectPath,
                                           "com.verrin.VerrinPlus.KWin", "activeWindowChanged");
        forged << QString("Forged") << QString("forged") << QString("1");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Ignored a window report that did not come from KWin"));
        const QDBusMessage reply = kwin.connect("verrin-kwin-test").call(forged, QDBus::BlockWithGui, 10000);
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(platform->foregroundWindow().title, before.title);
    }

    void idleGrows()
    {
        // The virtual backend has no input devices, so nobody touches anything.
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 2, timeoutMs);
    }

    void scriptLeavesWithTheBackend()
    {
        const QString plugin = platform->pluginName();
        platform.reset();
        QVERIFY(!scriptLoaded(plugin));
    }
};

QTEST_MAIN(TestKWinPlatform)
#include "TestKWinPlatform.moc"
