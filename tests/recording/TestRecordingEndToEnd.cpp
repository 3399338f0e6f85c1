#include "StoredStretches.h"
#include "X11TestWindow.h"

// The real program recording real windows under X11, ended by SIGTERM.
class TestRecordingEndToEnd : public QObject
{
    Q_OBJECT

private slots:
    void switchingWindowsThenSigterm()
    {
        TestWindow windowA;
        TestWindow windowB;
        QVERIFY(windowA.start(QStringLiteral(X11_TEST_WINDOW), {QStringLiteral("--title"), StoredStretches::kAlpha}));
        QVERIFY(windowB.start(QStringLiteral(X11_TEST_WINDOW), {QStringLiteral("--title"), StoredStretches::kBeta}));
        const auto activate = [](uint32_t window) {
            return runXdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(window)});
        };
        QVERIFY(activate(windowA.id));
        // Recording is on before the program's window shows, which may take the front from alpha.
        const auto started = [&] {
            return runXdotool({QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                               QStringLiteral("--name"), QStringLiteral("^Verrin Plus$")}) &&
                   activate(windowA.id);
        };
        StoredStretches::recordTwoWindows(QProcessEnvironment::systemEnvironment(), started,
                                          [&] { return activate(windowB.id); });
    }
};

QTEST_GUILESS_MAIN(TestRecordingEndToEnd)
#include "TestRecordingEndToEnd.moc"
