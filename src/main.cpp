#include "app/CommandLine.h"
#include "app/DataPaths.h"
#include "app/DebugLog.h"
#include "app/HeadlessCommands.h"
#include "app/LocalZone.h"
#include "app/SingleInstance.h"
#include "app/StartupCheck.h"
#include "app/UnixSignalWatcher.h"
#include "dialogs/SettingsDialog.h"
#include "updates/UpdateChecker.h"
#include "window/MainWindow.h"
#include "window/MessageBoxPrompter.h"
#include "window/VerrinApp.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

namespace {
QStringList rawArguments(int argc, char** argv)
{
    QStringList args;
    for (int i = 0; i < argc; ++i) {
        args << QString::fromLocal8Bit(argv[i]);
    }
    return args;
}

// The feed can be pointed elsewhere (a test server, or nowhere with an empty value).
QUrl updateFeedUrl()
{
    if (qEnvironmentVariableIsSet("VERRINPLUS_UPDATE_FEED")) {
        return QUrl(qEnvironmentVariable("VERRINPLUS_UPDATE_FEED"));
    }
    return QUrl(QStringLiteral(VERRIN_UPDATE_FEED));
}
// The first start's settings, before the window exists. A signal ends the program there and then
// (nothing is written, so the next start asks again); a second start brings the dialog forward.
bool askOnFirstStart(UnixSignalWatcher& signalWatcher, SingleInstance& instance)
{
    if (QFileInfo::exists(DataPaths::iniFile())) {
        return true;
    }
    QDir().mkpath(DataPaths::dataFolder());
    const auto dialog = [] { return qobject_cast<QDialog*>(QApplication::activeModalWidget()); };
    const QMetaObject::Connection ending =
        QObject::connect(&signalWatcher, &UnixSignalWatcher::terminationRequested, [dialog] {
            if (QDialog* open = dialog()) {
                open->reject();
            }
        });
    const QMetaObject::Connection raising = QObject::connect(&instance, &SingleInstance::activationRequested, [dialog] {
        if (QDialog* open = dialog()) {
            open->raise();
            open->activateWindow();
        }
    });
    if (!signalWatcher.terminationPending()) {
        QSettings settings(DataPaths::iniFile(), QSettings::IniFormat);
        SettingsDialog::runFirstStart(settings, DataPaths::dataFolder(),
                                      [&signalWatcher] { return !signalWatcher.terminationPending(); });
    }
    QObject::disconnect(ending);
    QObject::disconnect(raising);
    return !signalWatcher.terminationPending();
}

} // namespace

int main(int argc, char** argv)
{
    // Before anything is written: the data folder holds every window title and the service's secrets.
    DataPaths::keepPrivate();
    LocalZone::readOnce();
    // Headless requests are answered without a window or a display.
    const CommandLine options = CommandLine::parse(rawArguments(argc, argv), QDate::currentDate());
    if (options.mode != CommandLine::Mode::Gui) {
        QCoreApplication app(argc, argv);
        return HeadlessCommands::run(options);
    }

    // Without a display Qt would abort with advice about reinstalling; say what is really missing.
    const QString noDisplay =
        StartupCheck::noDisplayMessage(qEnvironmentVariable("DISPLAY"), qEnvironmentVariable("WAYLAND_DISPLAY"),
                                       qEnvironmentVariable("QT_QPA_PLATFORM"));
    if (!noDisplay.isEmpty()) {
        QTextStream(stderr) << noDisplay << Qt::endl;
        return 2;
    }

    VerrinApp app(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("verrinplus"));
    if (options.debug) {
        DebugLog::install(DataPaths::debugLogFile());
    }

    // Watch for termination before anything else is visible from outside, so a signal that comes
    // early still ends the program in order once the event loop runs.
    UnixSignalWatcher signalWatcher;
    SingleInstance instance(DataPaths::dataFolder());
    if (!instance.claim()) {
        return 0;
    }
    {
        MessageBoxPrompter startupPrompter(nullptr);
        const StartupCheck::Paths paths{DataPaths::dataFolder(), DataPaths::databaseFile(), DataPaths::iniFile()};
        if (!StartupCheck::run(paths, &startupPrompter, QDate::currentDate())) {
            return 1;
        }
    }
    if (!askOnFirstStart(signalWatcher, instance)) {
        return 0;
    }

    int result = 0;
    {
        MainWindow window;
        window.attachInstance(&instance);
        QObject::connect(&signalWatcher, &UnixSignalWatcher::terminationRequested, &window,
                         &MainWindow::on_actionExit_triggered);
        window.setVisible(true);
        if (signalWatcher.terminationPending()) {
            QTimer::singleShot(0, &window, &MainWindow::on_actionExit_triggered);
        }

        const QUrl feed = updateFeedUrl();
        if (feed.isValid() && !feed.isEmpty()) {
            auto* updater = new UpdateChecker(window.network(), feed, QStringLiteral(VERRIN_VERSION), &window);
            window.setUpdateChecker(updater);
            updater->check(false);
        }
        result = app.exec();
        DebugLog::close();
    }
    return result;
}
