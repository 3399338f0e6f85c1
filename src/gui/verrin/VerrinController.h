#pragma once

#include <QObject>
#include <QTimer>

#include <memory>

class ClickableLabel;
class Clock;
class LoginDialogPrompt;
class ProjectsApi;
class ProjectsTree;
class Prompter;
class QAction;
class LineEdit;
class QNetworkAccessManager;
class QStatusBar;
class Session;

// The main window's widgets that show and drive the connection to the service.
struct VerrinWidgets
{
    ProjectsTree* projects = nullptr;
    LineEdit* projectsFilter = nullptr;
    QAction* login = nullptr;
    QAction* logout = nullptr;
    QAction* refreshProjects = nullptr;
    ClickableLabel* indicator = nullptr;
    QStatusBar* statusBar = nullptr;
};

// Keeps the window's service widgets in step with the session: the status bar and sign-in
// indicator show what the session reports, the login and logout actions follow the sign-in state,
// a sign-in loads the projects catalogue into the tree and a sign-out clears it, and the tree's
// requests (add a task or task list, complete a task, refresh) go to the service.
class VerrinController : public QObject
{
    Q_OBJECT
public:
    // The watch that notices the service coming back normally tests every 5 minutes; this variable
    // (milliseconds) shortens it, for demonstrations.
    static constexpr const char* kWatchIntervalVariable = "VERRINPLUS_SERVICE_WATCH_MS";
    static constexpr int kFilterDelayMs = 500;

    VerrinController(const VerrinWidgets& widgets, QNetworkAccessManager* manager, Prompter* prompter, Clock* clock,
                     QObject* parent = nullptr);
    ~VerrinController() override;

    // Start-up: the connectivity tests with their retries (the window stays live meanwhile), then,
    // when the service answered, the stored session or a sign-in. When it did not, the session's
    // watch signs in later, once the service answers.
    void start();

    Session* session() const { return currentSession; }
    bool isSignedIn() const;

public slots:
    // Fetches the catalogue for the signed-in user and shows it in the tree.
    void initProjectsTree();
    void on_actionLogin_triggered();
    void on_actionLogout_triggered();
    void on_action_RefreshProjects_triggered();
    // Signs in while signed out; a double-click while signed in does nothing.
    void onStatusLoginIndicatorDblClicked();
    void on_editFilterProjects_textChanged(const QString& text);
    void onFilterProjectsTimer();
    void filterProjectsApply();

    void addTask(int projectId, int tasklistId, const QString& name, const QString& description, bool billable);
    void addTaskList(int projectId, const QString& name);
    void completeTask(int taskId);
    // The service said the token ran out mid-session: sign in again with the stored credentials, or
    // ask once.
    void onSessionExpired();

signals:
    void signedInChanged(bool signedIn);
    // The projects tree has been filled (or told why not) after a sign-in or a refresh.
    void projectsShown();

private:
    void showStatus(const QString& text);
    void onNetworkChecked(bool available);
    void onServiceAvailable();

    VerrinWidgets widgets;
    Session* currentSession;
    std::unique_ptr<LoginDialogPrompt> loginPrompt;
    std::unique_ptr<ProjectsApi> api;
    QTimer filterProjectsTimer;
    // Start-up found no service, so the sign-in it would have made is still owed.
    bool signInPending = false;
    bool renewingSession = false;
};
