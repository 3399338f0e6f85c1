#include "window/MainWindow.h"

#include "app/Clock.h"
#include "app/CredentialStore.h"
#include "app/DataPaths.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"
#include "app/SingleInstance.h"
#include "app/WindowPolicy.h"
#include "dialogs/AboutDialog.h"
#include "dialogs/SettingsDialog.h"
#include "dialogs/UpdatePresenter.h"
#include "platform/Platform.h"
#include "recording/AppIcons.h"
#include "recording/DesktopNotifier.h"
#include "recording/IgnoredAppsDialog.h"
#include "recording/Recorder.h"
#include "recording/SampleScheduler.h"
#include "reports/CalendarDays.h"
#include "reports/RecordedTimeFeed.h"
#include "reports/TreeModel.h"
#include "store/Database.h"
#include "updates/UpdateChecker.h"
#include "verrin/VerrinController.h"
#include "views/CalendarWidget.h"
#include "views/ClickableLabel.h"
#include "views/EntriesList.h"
#include "views/SummaryWindow.h"
#include "views/TimeTree.h"
#include "wayland/GnomeShellExtension.h"
#include "window/DayViews.h"
#include "window/LinkingController.h"
#include "window/MessageBoxPrompter.h"

#include <QApplication>
#include <QCalendarWidget>
#include <QCloseEvent>
#include <QDebug>
#include <QDesktopServices>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QPixmapCache>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QStatusBar>
#include <QTimer>
#include <QTreeView>
#include <QUrl>
#include <QWindow>

#include <cstdlib>

namespace {
const char* kHelpUrl = "https://www.verrin.com/help/verrinplus/";
constexpr int kTrayFrames = 8;
} // namespace

MainWindow::MainWindow(Clock* injectedClock, QWidget* parent)
    : QMainWindow(parent), clock(injectedClock ? injectedClock : SystemClock::shared())
{
    ui.setupUi(this);
    setLocale(QLocale::system());
    installEventFilter(this);

    ui.statusBar->showMessage(QStringLiteral("Loading..."));
    loginIndicator = new ClickableLabel(QStringLiteral("Not signed in <img src=':/icons/res/offline.png'>"));
    loginIndicator->setObjectName(QStringLiteral("loginIndicator"));
    loginIndicator->setTextFormat(Qt::RichText);
    ui.statusBar->addPermanentWidget(loginIndicator);

    appDir = getAppDir();
    prompter = std::make_unique<MessageBoxPrompter>(this);
    platform = createPlatform();
    networkManager = new QNetworkAccessManager(this);

    initSettings();
    initDatabase();
    util::set_icon_platform(platform.get());
    recorder = new Recorder(platform.get(), clock, this);
    connect(recorder, &Recorder::statusMessage, this, [this](const QString& text) { statusBar()->showMessage(text); });
    connect(recorder, &Recorder::awayTimeDetected, this, &MainWindow::onAwayTimeDetected);
    connect(recorder, &Recorder::writeFailed, this, &MainWindow::onWriteFailed);
    connect(recorder, &Recorder::writeRecovered, this, &MainWindow::onWriteRecovered);
    writeRetryTimer = new QTimer(this);
    writeRetryTimer->setObjectName(QStringLiteral("writeRetryTimer"));
    writeRetryTimer->setInterval(5000);
    connect(writeRetryTimer, &QTimer::timeout, recorder, &Recorder::retryPending);
    writeFailureLabel = new QLabel(this);
    writeFailureLabel->setObjectName(QStringLiteral("writeFailureLabel"));
    writeFailureLabel->setStyleSheet(QStringLiteral("color: #b00000;"));
    writeFailureLabel->hide();
    ui.statusBar->insertPermanentWidget(0, writeFailureLabel, 1);
    createActions();
    initTrayIcon();

    setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
    initDockedWidgets();
    verrinController = new VerrinController({ui.projects, ui.editFilterProjects, ui.actionLogin, ui.actionLogout,
                                             ui.action_RefreshProjects, loginIndicator, ui.statusBar},
                                            networkManager, prompter.get(), clock, this);
    setStyleSheet(QStringLiteral("QMainWindow::separator { background: transparent; }"));
    ui.appList->setFocus();

    connectSignals();

    progressBar = new QProgressBar;
    progressBar->setObjectName(QStringLiteral("progressBar"));
    progressBar->setTextVisible(false);
    progressBar->setStyleSheet(QStringLiteral("border: 0px;"));
    progressBar->setMaximumSize(250, 16);
    progressBar->hide();
    ui.statusBar->addWidget(progressBar);

    dayViews = new DayViews(&ui, prompter.get(), this);
    ui.calendar->setSelectedDate(clock->today());
    dayViews->setClock(clock);
    dayViews->setHeaderDate(ui.calendar->selectedDate());
    connect(dayViews, &DayViews::calendarMarksStale, this, &MainWindow::initCalendarDaysWithEntries);
    auto* feed = new RecordedTimeFeed(dayViews->unlinkedModel(), clock, this);
    // Held while none of the program's windows has the focus: the user is working elsewhere.
    feed->setHolding(!QGuiApplication::focusWindow());
    connect(qApp, &QGuiApplication::focusWindowChanged, feed, [feed](QWindow* focus) { feed->setHolding(!focus); });
    connect(recorder, &Recorder::entryWritten, feed, &RecordedTimeFeed::add);
    linkingController = new LinkingController(dayViews, &ui, progressBar, networkManager, prompter.get(), this);
    connect(linkingController, &LinkingController::statusMessage, this,
            [this](const QString& text) { statusBar()->showMessage(text); });
    connect(linkingController, &LinkingController::calendarMarksStale, this, &MainWindow::initCalendarDaysWithEntries);
    connect(verrinController, &VerrinController::signedInChanged, linkingController, &LinkingController::setSignedIn);
    connect(linkingController, &LinkingController::sessionExpired, verrinController,
            &VerrinController::onSessionExpired);
    // Queued: the question waits until the projects are on screen.
    connect(verrinController, &VerrinController::projectsShown, linkingController,
            &LinkingController::askAboutPendingOnce, Qt::QueuedConnection);

    restoreState(settings->value(QStringLiteral("Window/State")).toByteArray());
    restoreGeometry(settings->value(QStringLiteral("Window/Geometry")).toByteArray());

    sampling = new SampleScheduler(recorder, platform.get(), this);
    recording = false;

    connect(ui.btnRecord, &QPushButton::toggled, this, &MainWindow::on_btnRecord_toggled);
    ui.btnRecord->setIcon(QIcon(QStringLiteral(":/icons/res/record.png")));
    ui.btnRecord->setChecked(settings->value(QStringLiteral("Application/Started"), true).toBool());

    QTimer::singleShot(0, this, &MainWindow::onInitialUpdate);
}

void MainWindow::attachInstance(SingleInstance* instance)
{
    connect(instance, &SingleInstance::activationRequested, this, &MainWindow::onTrayMenuShow);
    instance->setCommandHandler(
        [this](const QString& command, const QDate& from, const QDate& to, QTextStream& out, QTextStream& err) {
            return linkingController->runForCommandLine(command, from, to, out, err);
        });
}

MainWindow::~MainWindow()
{
    // Whatever ended the program, the stretch in progress is written before the database closes.
    if (recorder) {
        // The desktop's announcements go before the platform does.
        sampling->stop();
        recorder->stop();
        // One last try for time held since a failed write; what still cannot be stored goes to the log.
        if (recorder->pendingCount() > 0 && !recorder->retryPending()) {
            recorder->logUnstored();
        }
    }
    if (database) {
        database->close();
    }
}

QString MainWindow::getAppDir()
{
    return QCoreApplication::applicationDirPath();
}

void MainWindow::initSettings()
{
    const QString folder = DataPaths::dataFolder();
    if (!QFileInfo::exists(folder)) {
        qDebug() << folder << " does not exist";
        if (QDir().mkpath(folder)) {
            qDebug() << folder << " created";
        } else {
            qDebug() << "could not create " + folder;
            QMessageBox::critical(this, QStringLiteral("Error"),
                                  QStringLiteral("Could not create directory: ") + folder);
            std::exit(-1);
        }
    }

    const bool firstRun = !QFileInfo::exists(DataPaths::iniFile());
    settings = new QSettings(DataPaths::iniFile(), QSettings::IniFormat, this);
    Registry::instance()->setUserAgent(SettingsFile::userAgent());

    if (firstRun) {
        SettingsDialog::runFirstStart(*settings, folder, [] { return true; });
    }

    SettingsFile::readIntoRegistry(*settings);
    // The password and token come from the keyring (a first run's, or an older version's, move there
    // now); each keyring call is bounded, so a missing or locked keyring delays the start only briefly.
    keyring = std::make_unique<SecretStore>();
    credentials = std::make_unique<CredentialStore>(*settings, *keyring, folder);
    credentials->load();
    applyQuitOnLastWindowClosed();
}

void MainWindow::initDatabase()
{
    database = std::make_unique<Database>();
    QString error;
    if (!database->open(DataPaths::databaseFile(), &error)) {
        QMessageBox::warning(this, QStringLiteral("Database error"),
                             QStringLiteral("Could not open database: ") + DataPaths::databaseFile() +
                                 QStringLiteral("\n") + error);
        close();
    }
}

void MainWindow::createActions()
{
    exitAction = new QAction(QStringLiteral("E&xit"), this);
    connect(exitAction, &QAction::triggered, this, &MainWindow::on_actionExit_triggered);
    showAction = new QAction(QStringLiteral("Sho&w VerrinPlus"), this);
    connect(showAction, &QAction::triggered, this, &MainWindow::onTrayMenuShow);
    settingsAction = new QAction(QStringLiteral("S&ettings..."), this);
    connect(settingsAction, &QAction::triggered, this, &MainWindow::onTrayMenuOptions);
    startAction = new QAction(QStringLiteral("&Start Recording"), this);
    connect(startAction, &QAction::triggered, this, &MainWindow::onStart);
    pauseAction = new QAction(QStringLiteral("&Pause Recording"), this);
    connect(pauseAction, &QAction::triggered, this, &MainWindow::onStop);
    pauseAction->setEnabled(false);
}

void MainWindow::initTrayIcon()
{
    trayMenu = new QMenu(this);
    trayMenu->addAction(startAction);
    trayMenu->addAction(pauseAction);
    trayMenu->addSeparator();
    trayMenu->addAction(settingsAction);
    trayMenu->addSeparator();
    trayMenu->addAction(showAction);
    trayMenu->addAction(exitAction);
    tray = new QSystemTrayIcon(this);
    tray->setContextMenu(trayMenu);

    trayTimer = new QTimer(this);
    trayTimer->setObjectName(QStringLiteral("trayTimer"));
    trayTimer->setInterval(500);
    connect(trayTimer, &QTimer::timeout, this, &MainWindow::updateTrayIcon);
    for (int i = 1; i <= kTrayFrames; ++i) {
        frames << QIcon(QStringLiteral(":/icons/res/frame") + QString::number(i) + QStringLiteral(".png"));
    }
    frameIndex = 0;
    stillIcon = QIcon(QStringLiteral(":/icons/res/frame9.png"));
    tray->setIcon(stillIcon);
    tray->setToolTip(QStringLiteral("VerrinPlus"));
    connect(tray, &QSystemTrayIcon::activated, this, &MainWindow::iconActivated);
    tray->setVisible(true);
    setWindowIcon(QIcon(QStringLiteral(":/icons/res/logo.png")));
}

void MainWindow::initDockedWidgets()
{
    QDockWidget* left = ui.leftDock;
    QDockWidget* right = ui.rightDock;
    QDockWidget* bottom = ui.bottomDock;
    bottom->toggleViewAction()->setText(QStringLiteral("Linked &Entries"));
    // The View menu's entries show and hide the three panels and follow them when they close.
    const QList<QPair<QAction*, QDockWidget*>> toggles = {
        {ui.actionCalendar, left}, {ui.actionProjects_and_Tasks, right}, {ui.actionLinked_Entries, bottom}};
    for (const auto& [action, dock] : toggles) {
        connect(action, &QAction::toggled, dock, &QDockWidget::setVisible);
        connect(dock, &QDockWidget::visibilityChanged, action, [action = action, dock = dock] {
            if (!dock->isHidden() != action->isChecked()) {
                action->setChecked(!dock->isHidden());
            }
        });
    }
}

void MainWindow::connectSignals()
{
    connect(ui.actionExit, &QAction::triggered, this, &MainWindow::on_actionExit_triggered);
    connect(ui.action_Help_Topics, &QAction::triggered, this, &MainWindow::on_action_Help_Topics_triggered);
    connect(ui.action_Settings, &QAction::triggered, this, &MainWindow::on_action_Settings_triggered);
    connect(ui.action_About_Verrin, &QAction::triggered, this, &MainWindow::on_action_About_Verrin_triggered);
    connect(ui.actionCheck_for_Updates, &QAction::triggered, this, &MainWindow::on_actionCheck_for_Updates_triggered);
    connect(ui.actionSummary, &QAction::triggered, this, [this] {
        // Opened on the week of the day shown; it goes away when closed.
        auto* summary = new SummaryWindow(dayViews->shownDate(), this);
        summary->setAttribute(Qt::WA_DeleteOnClose);
        summary->show();
    });
    connect(ui.calendar, &QCalendarWidget::currentPageChanged, this, &MainWindow::initCalendarDaysWithEntries);
    if (qApp) {
        connect(qApp, &QGuiApplication::commitDataRequest, this, &MainWindow::onSessionEnding);
    }
}

void MainWindow::onInitialUpdate()
{
    initCalendarDaysWithEntries();
    ui.statusBar->showMessage(QStringLiteral("Loading entries..."));
    ui.statusBar->showMessage(QStringLiteral("Loading linked entries..."));
    dayViews->initTrees();
    ui.statusBar->showMessage(QStringLiteral("Initializing network..."));
    // Said once the window is up, before the service may ask for a password to remember.
    credentials->tellOnceIfMissing(prompter.get());
    verrinController->start();
    // Recording that cannot work in this session matters more than "Ready".
    if (!platform->isSupported()) {
        ui.statusBar->showMessage(platform->unsupportedReason());
    }
    // GNOME on Wayland shows the front window only to a shell extension; offer the one we ship.
    if (GnomeShellExtension::isWanted(*platform) && GnomeShellExtension::offer(prompter.get())) {
        ui.statusBar->showMessage(QStringLiteral("The VerrinPlus GNOME Shell extension is installed: recording "
                                                 "starts after you log out and back in"));
    }
}

void MainWindow::initCalendarDaysWithEntries()
{
    QDate from;
    QDate to;
    CalendarDays::shownRange(ui.calendar->yearShown(), ui.calendar->monthShown(), &from, &to);
    ui.calendar->markDays(CalendarDays::daysWithUnlinkedTime(from, to));
}

void MainWindow::setUpdateChecker(UpdateChecker* checker)
{
    updateChecker = checker;
    updatePresenter = checker ? new UpdatePresenter(checker, this) : nullptr;
}

void MainWindow::cleanup()
{
    WindowLayout layout;
    layout.geometry = saveGeometry();
    layout.state = saveState(0);
    layout.unlinkedListGeometry = ui.appList->header()->saveGeometry();
    layout.unlinkedListState = ui.appList->header()->saveState();
    layout.linkedListGeometry = ui.linkedEntries->header()->saveGeometry();
    layout.linkedListState = ui.linkedEntries->header()->saveState();
    SettingsFile::writeBack(*settings, recording, layout);
    credentials->save();
    if (recorder) {
        recorder->flush();
    }
}

bool MainWindow::trayUsable() const
{
    return tray && tray->isVisible() && QSystemTrayIcon::isSystemTrayAvailable();
}

void MainWindow::applyQuitOnLastWindowClosed()
{
    QApplication::setQuitOnLastWindowClosed(WindowPolicy::quitOnLastWindowClosed(
        Registry::instance()->closeToTray(), QSystemTrayIcon::isSystemTrayAvailable()));
}

void MainWindow::hideApplication()
{
    platform->hideApplication();
    forgetPaintCaches();
}

void MainWindow::forgetPaintCaches()
{
    // Qt's cache of drawn icons and frames looks every 10 s whether to shrink, as long as it holds
    // anything: a wake-up for nothing while no window is on screen. The next paint fills it again.
    QPixmapCache::clear();
}

void MainWindow::updateTrayIcon()
{
    frameIndex = WindowPolicy::nextFrame(frameIndex, int(frames.size()));
    tray->setIcon(frames.at(frameIndex));
}

void MainWindow::iconActivated(QSystemTrayIcon::ActivationReason reason)
{
    using WindowPolicy::TrayClick;
    const TrayClick click = reason == QSystemTrayIcon::Trigger       ? TrayClick::Single
                            : reason == QSystemTrayIcon::DoubleClick ? TrayClick::Double
                                                                     : TrayClick::Other;
    if (WindowPolicy::trayClickShowsWindow(click, Registry::instance()->singleClickTrayOpen())) {
        onTrayMenuShow();
    }
}

void MainWindow::onTrayMenuShow()
{
    if (isMinimized()) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
    }
    show();
    raise();
    activateWindow();
}

void MainWindow::onTrayMenuOptions()
{
    SettingsDialog dialog(this);
    dialog.setValues(EditableSettings::fromRegistry());
    dialog.putData();
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    dialog.getData();
    dialog.values().toRegistry();
    applyQuitOnLastWindowClosed();
    // The idle limit or the title clean-up may have changed what a sample would find.
    sampling->sampleSoon();
}

void MainWindow::on_action_Settings_triggered()
{
    onTrayMenuOptions();
}

void MainWindow::on_actionExit_triggered()
{
    close();
    recorder->stop();
    QCoreApplication::quit();
}

void MainWindow::on_action_Help_Topics_triggered()
{
    QDesktopServices::openUrl(QUrl(QString::fromLatin1(kHelpUrl)));
}

void MainWindow::on_action_About_Verrin_triggered()
{
    AboutDialog dialog(this);
    connect(&dialog, &AboutDialog::checkForUpdates, this, [this, &dialog] {
        if (updatePresenter) {
            updatePresenter->setParentWindow(&dialog);
        }
        on_actionCheck_for_Updates_triggered();
    });
    dialog.exec();
    if (updatePresenter) {
        updatePresenter->setParentWindow(this);
    }
}

void MainWindow::on_actionCheck_for_Updates_triggered()
{
    if (updateChecker) {
        updateChecker->check(true);
    }
}

void MainWindow::on_btnRecord_toggled(bool on)
{
    ui.btnRecord->setIcon(
        QIcon(on ? QStringLiteral(":/icons/res/pause.png") : QStringLiteral(":/icons/res/record.png")));
    startStopRecording(on);
}

void MainWindow::onWriteFailed(const QString& reason, bool alreadyReported)
{
    const QString text =
        QStringLiteral("Not recording: cannot write to ") + DataPaths::databaseFile() + QStringLiteral(": ") + reason;
    // A failure while pausing must not turn recording back on later.
    if (ui.btnRecord->isChecked()) {
        stoppedByWriteFailure = true;
        ui.btnRecord->setChecked(false);
    }
    // Toggling the button shows "Paused"; the reason matters more, and it stays until writes work.
    writeFailureLabel->setText(text);
    writeFailureLabel->setToolTip(text);
    writeFailureLabel->show();
    writeRetryTimer->start();
    if (!alreadyReported) {
        prompter->warn(QStringLiteral("Database error"),
                       text + QStringLiteral("\n\nRecording has stopped. The time recorded so far is kept and "
                                             "written as soon as the database takes writes again; recording "
                                             "then resumes."));
    }
}

void MainWindow::onWriteRecovered()
{
    writeRetryTimer->stop();
    writeFailureLabel->hide();
    statusBar()->showMessage(QStringLiteral("The database takes writes again; the held time is stored"));
    if (stoppedByWriteFailure) {
        stoppedByWriteFailure = false;
        ui.btnRecord->setChecked(true);
    }
}

void MainWindow::onStart()
{
    ui.btnRecord->setChecked(true);
}

void MainWindow::onStop()
{
    ui.btnRecord->setChecked(false);
}

void MainWindow::startStopRecording(bool on)
{
    if (on) {
        stoppedByWriteFailure = false;
    }
    if (on) {
        recording = true;
        ui.btnRecord->setText(QStringLiteral("Recording"));
        sampling->start();
        // An animation nobody can see is a wake-up twice a second for nothing.
        if (QSystemTrayIcon::isSystemTrayAvailable()) {
            trayTimer->start();
        }
        tray->setIcon(frames.at(frameIndex));
        startAction->setEnabled(false);
        pauseAction->setEnabled(true);
        recorder->start();
    } else {
        recorder->stop();
        recording = false;
        ui.btnRecord->setText(QStringLiteral("Paused"));
        sampling->stop();
        trayTimer->stop();
        frameIndex = 0;
        tray->setIcon(stillIcon);
        startAction->setEnabled(true);
        pauseAction->setEnabled(false);
    }
}

void MainWindow::onSessionEnding()
{
    cleanup();
    recorder->stop();
}

void MainWindow::onAwayTimeDetected(const QString& title, const QString& text)
{
    if (!DesktopNotifier::notify(title, text, 10000) && tray) {
        tray->showMessage(title, text, QSystemTrayIcon::Information, 10000);
    }
}

void MainWindow::on_action_Ignored_Applications_triggered()
{
    IgnoredAppsDialog dialog(this, prompter.get());
    dialog.exec();
    if (dialog.wasChanged()) {
        dayViews->refreshUnlinked();
        initCalendarDaysWithEntries();
    }
}

void MainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui.retranslateUi(this);
        QMainWindow::changeEvent(event);
        return;
    }
    if (event->type() == QEvent::WindowStateChange &&
        WindowPolicy::hideOnMinimize(isMinimized(), Registry::instance()->minimizeToTray(), event->spontaneous(),
                                     trayUsable())) {
        hideApplication();
        event->ignore();
        return;
    }
    if (event->type() == QEvent::WindowStateChange && isMinimized()) {
        forgetPaintCaches();
    }
    QMainWindow::changeEvent(event);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    cleanup();
    switch (WindowPolicy::onClose(trayUsable(), Registry::instance()->closeToTray(), event->spontaneous())) {
    case WindowPolicy::CloseAction::Close:
        QMainWindow::closeEvent(event);
        break;
    case WindowPolicy::CloseAction::HideApplication:
        hideApplication();
        event->ignore();
        break;
    case WindowPolicy::CloseAction::HideWindowThenClose:
        hide();
        QMainWindow::closeEvent(event);
        break;
    }
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    // Hovering menus must not wipe the status bar's own messages.
    if (watched == this && event->type() == QEvent::StatusTip) {
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::keyPressEvent(QKeyEvent* event)
{
    QMainWindow::keyPressEvent(event);
}

void MainWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
}
