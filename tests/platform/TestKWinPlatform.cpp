// The KWin backend against a real KWin and real Wayland windows: its script must report what the test activates.
#include "HeadlessKWin.h"
#include "TestKit.h"
#include "wayland/KWinPlatform.h"

class TestKWinPlatform : public QObject
{
    Q_OBJECT

private:
    HeadlessKWin kwin{QStringLiteral(WAYLAND_TEST_WINDOW)};
    std::unique_ptr<KWinPlatform> platform;

private slots:
    void initTestCase()
    {
        QString whyNot;
        if (!kwin.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        platform = std::make_unique<KWinPlatform>(kwin.connect("verrin-kwin-platform"),
                                                  QFile::encodeName(kwin.waylandSocket()),
                                                  QStringList{kwin.windows.applications.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
        QVERIFY(kwin.scripting("isScriptLoaded", {platform->pluginName()}).arguments().value(0).toBool());
        QVERIFY(kwin.windows.openEditorAndViewer());
    }

    void frontWindowAndItsTitle()
    {
        // KWin names the process, so an application without an entry is its executable, as on X11.
        checkFrontWindows(kwin.windows, [&](const char*, const char* title) { return kwin.activate(title); },
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
