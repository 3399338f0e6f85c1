// The wlroots backend against a real headless sway and real Wayland windows (the test's own Qt is offscreen).
#include "HeadlessSway.h"
#include "TestKit.h"
#include "platform/Platform.h"
#include "wayland/WlrootsPlatform.h"

class TestWlrootsPlatform : public QObject
{
    Q_OBJECT

private:
    HeadlessSway sway{QStringLiteral(WAYLAND_TEST_WINDOW)};
    std::unique_ptr<WlrootsPlatform> platform; // asks sway's IPC for process ids
    std::unique_ptr<WlrootsPlatform> plain;    // what any wlroots compositor gives: app ids only

private slots:
    void initTestCase()
    {
        QString whyNot;
        if (!sway.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        qputenv("WAYLAND_DISPLAY", QFile::encodeName(sway.waylandSocket()));
        qputenv("XDG_SESSION_TYPE", "wayland");
        qputenv("SWAYSOCK", QFile::encodeName(sway.ipcSocket()));
        platform = std::make_unique<WlrootsPlatform>(QByteArray(), QStringList{sway.windows.applications.path()});
        QVERIFY2(platform->isSupported(), qPrintable(platform->unsupportedReason()));
        plain = std::make_unique<WlrootsPlatform>(QByteArray(), QStringList{sway.windows.applications.path()});
        plain->setSwaySocket(QString());
        QVERIFY(sway.windows.openEditorAndViewer());
    }

    void frontWindowAndItsTitle()
    {
        // An app id with a desktop entry is recorded under the entry. Without one, the executable
        // when sway names the process, else the app id.
        checkFrontWindows(sway.windows, [&](const char* appId, const char*) { return sway.focus(appId); },
                          {{platform.get(), QFileInfo(WAYLAND_TEST_WINDOW).canonicalFilePath(), true},
                           {plain.get(), "wayland-app-id:verrin-test-viewer", false}});
    }

    void closedWindowLeavesFront()
    {
        QVERIFY(sway.windows.open("verrin-test-temporary", "Short-lived"));
        QTRY_COMPARE_WITH_TIMEOUT(platform->foregroundWindow().title, QString("Short-lived"), sway.windows.timeoutMs);
        sway.windows.close("verrin-test-temporary");
        // sway gives the focus to a remaining window; the closed one must never be reported again.
        QTRY_VERIFY_WITH_TIMEOUT(platform->foregroundWindow().valid &&
                                     platform->foregroundWindow().title != QLatin1String("Short-lived"),
                                 sway.windows.timeoutMs);
    }

    void idleGrowsAndInputResetsIt()
    {
        // The headless compositor has no input devices, so nobody touches anything.
        QTRY_VERIFY_WITH_TIMEOUT(platform->idleSeconds() >= 2, sway.windows.timeoutMs);
        if (QStandardPaths::findExecutable(QStringLiteral("wtype")).isEmpty()) {
            QSKIP("wtype is not installed: cannot send input to reset idle time");
        }
        QVERIFY(runTool("wtype", {"-k", "Shift_L"}, sway.clientEnvironment()));
        QTRY_COMPARE_WITH_TIMEOUT(platform->idleSeconds(), 0, sway.windows.timeoutMs);
    }

    void factoryChoosesWlrootsThenCompositorIsLost()
    {
        // XWayland or not, a Wayland session whose compositor reports windows gets this backend.
        qputenv("DISPLAY", ":999");
        std::unique_ptr<Platform> chosen = createPlatform();
        QVERIFY2(chosen->isSupported(), qPrintable(chosen->unsupportedReason()));
        QVERIFY(dynamic_cast<WlrootsPlatform*>(chosen.get()));
        QTRY_VERIFY_WITH_TIMEOUT(chosen->foregroundWindow().valid, sway.windows.timeoutMs);

        // Once sway ends, nothing is in front and the reason says why.
        sway.stop();
        QTRY_VERIFY_WITH_TIMEOUT(!platform->isSupported(), sway.windows.timeoutMs);
        QVERIFY(!platform->foregroundWindow().valid);
        QCOMPARE(platform->idleSeconds(), 0);
        QVERIFY2(platform->unsupportedReason().contains("Wayland compositor"),
                 qPrintable(platform->unsupportedReason()));
    }
};

QTEST_MAIN(TestWlrootsPlatform)
#include "TestWlrootsPlatform.moc"
