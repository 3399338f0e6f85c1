// The backend choice outside an X11 session (offscreen Qt stands in for "no X11 display").
#include "platform/Platform.h"
#include "platform/wayland/WlrootsPlatform.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

class TestPlatformFactory : public QObject
{
    Q_OBJECT

private slots:
    void unsupportedSessions_data()
    {
        QTest::addColumn<QByteArray>("sessionType");
        QTest::addColumn<QByteArray>("waylandDisplay");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no display") << QByteArray("x11") << QByteArray() << "Recording needs an X11 display";
        // A Wayland session never falls back to X11; without a compositor to ask, nothing is recorded.
        QTest::newRow("wayland session") << QByteArray("wayland") << QByteArray()
                                         << "Cannot connect to the Wayland compositor (wayland-0): recording is off";
        QTest::newRow("wayland display")
            << QByteArray() << QByteArray("verrin-none-9")
            << "Cannot connect to the Wayland compositor (verrin-none-9): recording is off";
    }

    void unsupportedSessions()
    {
        QFETCH(QByteArray, sessionType);
        QFETCH(QByteArray, waylandDisplay);
        QFETCH(QString, reason);
        qputenv("XDG_SESSION_TYPE", sessionType);
        qputenv("WAYLAND_DISPLAY", waylandDisplay);
        QTemporaryDir noSockets; // no compositor can answer from an empty runtime folder
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(noSockets.path()));
        static bool first = true;
        if (first) { // the reason is logged once per run, not at every start of recording
            QTest::ignoreMessage(QtWarningMsg, qPrintable(reason));
            first = false;
        } else {
            QTest::failOnWarning(QRegularExpression(QStringLiteral("^Recording|recording is off")));
        }
        std::unique_ptr<Platform> platform = createPlatform();
        QVERIFY(!platform->isSupported());
        QCOMPARE(platform->unsupportedReason(), reason);
        // Nothing wrong is recorded: no window in front, never idle.
        QVERIFY(!platform->foregroundWindow().valid);
        QCOMPARE(platform->idleSeconds(), 0);
    }

    void waylandDesktopsAreNamed_data()
    {
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QByteArrayList>("offered");
        QTest::addColumn<QString>("start");
        const QString own = QStringLiteral("This Wayland compositor does not tell which window is in front");
        QTest::newRow("plasma") << "KDE" << QByteArrayList{"wl_seat"} << "Recording on KDE Plasma (Wayland)";
        QTest::newRow("kwin by protocol")
            << "" << QByteArrayList{"org_kde_plasma_window_management"} << "Recording on KDE Plasma (Wayland)";
        QTest::newRow("ubuntu gnome") << "ubuntu:GNOME" << QByteArrayList{} << "Recording on GNOME (Wayland)";
        QTest::newRow("mutter by protocol") << "" << QByteArrayList{"gtk_shell1"} << "Recording on GNOME (Wayland)";
        QTest::newRow("other compositor") << "weston" << QByteArrayList{"wl_seat"} << own;
    }

    void waylandDesktopsAreNamed()
    {
        QFETCH(QString, desktop);
        QFETCH(QByteArrayList, offered);
        QFETCH(QString, start);
        const QSet<QByteArray> interfaces(offered.begin(), offered.end());
        const QString reason = WlrootsPlatform::sessionReason(
            desktop, interfaces, QStringLiteral("This Wayland compositor does not tell which window is in front"));
        QVERIFY2(reason.startsWith(start), qPrintable(reason));
    }

    void unsupportedStandInHides()
    {
        QWidget window;
        window.show();
        QVERIFY(window.isVisible());
        createPlatform()->hideApplication();
        QVERIFY(!window.isVisible());
    }
};

QTEST_MAIN(TestPlatformFactory)
#include "TestPlatformFactory.moc"
