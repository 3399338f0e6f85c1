#pragma once

#include "window/MainWindowForm.h"

#include <QIcon>
#include <QList>
#include <QMainWindow>
#include <QSystemTrayIcon>

#include <memory>

class ClickableLabel;
class CredentialStore;
class Database;
class DayViews;
class LinkingController;
class MessageBoxPrompter;
class Platform;
class QMenu;
class QNetworkAccessManager;
class QProgressBar;
class QSettings;
class QLabel;
class QTimer;
class Recorder;
class SampleScheduler;
class Clock;
class SecretStore;
class VerrinController;
class SingleInstance;
class UpdateChecker;
class UpdatePresenter;

// The one long-lived window: it owns the settings file, the database, the timers and the tray icon,
// and wires the views, dialogs and logic classes together. The work itself lives in those classes.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // The clock decides what today is and stamps what is recorded; tests hand in a manual one.
    explicit MainWindow(Clock* clock = nullptr, QWidget* parent = nullptr);
    ~MainWindow() override;

    static QString getAppDir();

    // The update checker main() created (none in tests); the menu and the About box use it.
    void setUpdateChecker(UpdateChecker* checker);

    bool isRecording() const { return recording; }
    MainWindowForm* form() { return &ui; }
    QSystemTrayIcon* trayIcon() const { return tray; }
    int trayFrameIndex() const { return frameIndex; }
    QNetworkAccessManager* network() const { return networkManager; }
    Recorder* activityRecorder() const { return recorder; }
    DayViews* views() const { return dayViews; }
    LinkingController* linkingWork() const { return linkingController; }

    // Writes the settings back; runs at every close of the window.
    void cleanup();

    // Later starts on this data folder: a plain start brings this window forward, a command-line run
    // of the rules or the link check is carried out here, by the folder's one writer.
    void attachInstance(SingleInstance* instance);

public slots:
    void onInitialUpdate();
    void updateTrayIcon();
    void iconActivated(QSystemTrayIcon::ActivationReason reason);
    void onTrayMenuShow();
    void onTrayMenuOptions();
    void on_actionExit_triggered();
    void on_action_Help_Topics_triggered();
    void on_action_Settings_triggered();
    void on_action_About_Verrin_triggered();
    void on_actionCheck_for_Updates_triggered();
    void on_btnRecord_toggled(bool on);
    void onStart();
    void onStop();
    // The desktop session is ending: save everything as on Exit.
    void onSessionEnding();
    // Marks the days with unlinked time in the months the calendar shows.
    void initCalendarDaysWithEntries();
    void on_action_Ignored_Applications_triggered();
    // Shows "Away time detected" on the desktop, or in the tray when there is no notification service.
    void onAwayTimeDetected(const QString& title, const QString& text);

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void forgetPaintCaches();
    void onWriteFailed(const QString& reason, bool alreadyReported);
    void onWriteRecovered();
    void initSettings();
    void initDatabase();
    void createActions();
    void initTrayIcon();
    void initDockedWidgets();
    void connectSignals();
    void startStopRecording(bool on);
    bool trayUsable() const;
    void hideApplication();
    void applyQuitOnLastWindowClosed();

    Clock* clock;
    MainWindowForm ui;
    QSettings* settings = nullptr;
    std::unique_ptr<SecretStore> keyring;
    std::unique_ptr<CredentialStore> credentials;
    std::unique_ptr<Database> database;
    std::unique_ptr<MessageBoxPrompter> prompter;
    std::unique_ptr<Platform> platform;
    QString appDir;
    bool recording = false;

    Recorder* recorder = nullptr;
    DayViews* dayViews = nullptr;
    LinkingController* linkingController = nullptr;
    SampleScheduler* sampling = nullptr;
    QSystemTrayIcon* tray = nullptr;
    QMenu* trayMenu = nullptr;
    QTimer* trayTimer = nullptr;
    // While writes fail: retries the held time every few seconds.
    QTimer* writeRetryTimer = nullptr;
    // Stays in the status bar while writes fail; passing messages (network, loading) do not hide it.
    QLabel* writeFailureLabel = nullptr;
    // Recording was stopped by a failing write, not by the user: it resumes when writing works again.
    bool stoppedByWriteFailure = false;
    QList<QIcon> frames;
    int frameIndex = 0;
    QIcon stillIcon;

    QAction* exitAction = nullptr;
    QAction* showAction = nullptr;
    QAction* settingsAction = nullptr;
    QAction* startAction = nullptr;
    QAction* pauseAction = nullptr;

    QProgressBar* progressBar = nullptr;
    ClickableLabel* loginIndicator = nullptr;
    QNetworkAccessManager* networkManager = nullptr;
    UpdateChecker* updateChecker = nullptr;
    UpdatePresenter* updatePresenter = nullptr;
    VerrinController* verrinController = nullptr;
};
