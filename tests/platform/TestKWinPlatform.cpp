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
        return kwin.scripting("isScriptLoaded", {plugin}).arguments().value(0).toBool();
    }

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
        QVERIFY(scriptLoaded(platform->pluginName()));
        QVERIFY2(platform->idleProtocol() == "ext_idle_notifier_v1" || platform->idleProtocol() == "org_kde_kwin_idle",
                 platform->idleProtocol().constData());
        QVERIFY(kwin.windows.open("verrin-test-editor", "Notes — draft 1"));
        QVERIFY(kwin.windows.open("verrin-test-viewer", "Report 'Q3' \"final\""));
    }

    void frontWindowAndItsTitle()
    {
        const QString editor = applications.filePath("verrin-test-editor.desktop");
        // KWin names the process, so an application without an entry is its executable, as on X11.
        const QString executable = QFileInfo(QStringLiteral(WAYLAND_TEST_WINDOW)).canonicalFilePath();
        const struct
        {
            const char* appId;
            const char* title;
            QString path;
        } cases[] = {
            {"verrin-test-editor", "Notes — draft 1", editor},
            {"verrin-test-viewer", "Report 'Q3' \"final\"", executable},
            {"verrin-test-editor", "Notes — draft 1", editor}, // back again
        };
        for (const auto& c : cases) {
            QVERIFY(kwin.activate(c.title));
            QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString(c.title), timeoutMs);
            const ForegroundWindow front = platform->foregroundWindow();
            QVERIFY(front.valid);
            QCOMPARE(front.name, c.path == editor ? QString("Test Editor") : QString(c.appId));
            QCOMPARE(front.path, c.path);
            QCOMPARE(front.pid, kwin.windows.pid(c.appId));
        }
        kwin.windows.retitle("verrin-test-editor", "Notes — draft 2 ✓");
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Notes — draft 2 ✓"), timeoutMs);
        QCOMPARE(platform->foregroundWindow().name, QString("Test Editor"));
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
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 2, timeoutMs);
        const QString plugin = platform->pluginName();
        platform.reset();
        QVERIFY(!scriptLoaded(plugin));
    }
};

QTEST_MAIN(TestKWinPlatform)
#include "TestKWinPlatform.moc"
