#include "HeadlessSway.h"
#include "StoredStretches.h"

// The real program recording real Wayland windows on a headless sway of its own, ended by SIGTERM.
class TestRecordingEndToEndWayland : public QObject
{
    Q_OBJECT

private slots:
    void switchingWindowsThenSigterm()
    {
        HeadlessSway sway{QStringLiteral(WAYLAND_TEST_WINDOW)};
        QString whyNot;
        if (!sway.start(&whyNot)) {
            QSKIP(qPrintable(whyNot));
        }
        QVERIFY(sway.windows.open(QStringLiteral("verrin-e2e-alpha"), StoredStretches::kAlpha));
        QVERIFY(sway.windows.open(QStringLiteral("verrin-e2e-beta"), StoredStretches::kBeta));
        QVERIFY(sway.focus(QStringLiteral("verrin-e2e-alpha")));

        // The program's own windows stay offscreen, so they never take the focus from the test's.
        QProcessEnvironment env = sway.clientEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        // No desktop entry: the application is shown under its app id.
        StoredStretches::recordTwoWindows(
            env, [] { return true; }, [&] { return sway.focus(QStringLiteral("verrin-e2e-beta")); },
            {QStringLiteral("verrin-e2e-alpha"), QStringLiteral("verrin-e2e-beta")});
    }
};

QTEST_GUILESS_MAIN(TestRecordingEndToEndWayland)
#include "TestRecordingEndToEndWayland.moc"
