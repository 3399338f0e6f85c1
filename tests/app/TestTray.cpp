#include "TempDataFolder.h"
#include "TestKit.h"

// The real program beside a real XEmbed system tray (trayer) under Xvfb and openbox. Closing the
// window must leave the tray icon, the only way back to a program that goes on recording.
namespace {

// A tool's output lines.
QStringList run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    return TempDataFolder::finish(process).out.split('\n', Qt::SkipEmptyParts);
}

// The program's mapped windows: the main window by its title, all of them (the XEmbed tray icon too) by class.
QStringList shown(const char* by, const QString& pattern)
{
    return run("xdotool", {"search", "--onlyvisible", by, pattern});
}

} // namespace

class TestTray : public QObject
{
    Q_OBJECT

private slots:
    void closingKeepsTheTrayIcon()
    {
        TempDataFolder data;
        data.writeSettings();
        QProcess tray;
        tray.start("trayer", {"--edge", "top", "--align", "right", "--height", "24"});
        QVERIFY2(tray.waitForStarted(10000), qPrintable(tray.errorString()));
        // The tray is there once it owns the tray selection of the screen.
        QTRY_VERIFY_WITH_TIMEOUT(!run("xdotool", {"search", "--classname", "trayer"}).isEmpty(), 10000);

        QProcess program;
        program.setProcessEnvironment(data.environment());
        program.start(VERRINPLUS_BINARY, QStringList());
        QTRY_VERIFY_WITH_TIMEOUT(!shown("--name", "^Verrin Plus$").isEmpty(), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(shown("--classname", "verrinplus").size(), 2, 10000);

        // Closed by the user through the window manager: the window goes, the tray icon stays.
        run("wmctrl", {"-c", "Verrin Plus"});
        QTRY_VERIFY_WITH_TIMEOUT(shown("--name", "^Verrin Plus$").isEmpty(), 10000);
        QCOMPARE(program.state(), QProcess::Running);
        QCOMPARE(shown("--classname", "verrinplus").size(), 1);

        program.terminate();
        QCOMPARE(TempDataFolder::finish(program).exitCode, 0);
        endProcess(tray);
    }
};

QTEST_GUILESS_MAIN(TestTray)
#include "TestTray.moc"
