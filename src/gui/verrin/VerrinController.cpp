#include "VerrinController.h"

#include "app/Registry.h"
#include "verrin/LoginDialogPrompt.h"
#include "verrin/ProjectsApi.h"
#include "verrin/ProjectsTree.h"
#include "verrin/Session.h"
#include "views/ClickableLabel.h"
#include "views/LineEdit.h"

#include <QAction>
#include <QDebug>
#include <QLineEdit>
#include <QStatusBar>

VerrinController::VerrinController(const VerrinWidgets& widgets, QNetworkAccessManager* manager, Prompter* prompter,
                                   Clock* clock, QObject* parent)
    : QObject(parent), widgets(widgets), currentSession(new Session(manager, prompter, clock, this)),
      loginPrompt(std::make_unique<LoginDialogPrompt>(widgets.statusBar ? widgets.statusBar->window() : nullptr)),
      api(std::make_unique<ProjectsApi>(manager, prompter))
{
    setObjectName(QStringLiteral("verrinController"));
    bool ok = false;
    const int watchMs = qEnvironmentVariableIntValue(kWatchIntervalVariable, &ok);
    if (ok && watchMs > 0)
        currentSession->setWatchInterval(watchMs);

    // Signed out until a session is resumed or made.
    widgets.login->setEnabled(true);
    widgets.logout->setEnabled(false);

    connect(currentSession, &Session::statusMessage, this, &VerrinController::showStatus);
    connect(currentSession, &Session::indicatorChanged, widgets.indicator, &QLabel::setText);
    connect(currentSession, &Session::loggedInChanged, this, [this](bool loggedIn) {
        this->widgets.login->setEnabled(!loggedIn);
        this->widgets.logout->setEnabled(loggedIn);
        emit signedInChanged(loggedIn);
    });
    connect(currentSession, &Session::signedIn, this, &VerrinController::initProjectsTree);
    connect(currentSession, &Session::signedOut, widgets.projects, &ProjectsTree::clearTree);
    connect(currentSession, &Session::networkChecked, this, &VerrinController::onNetworkChecked);
    connect(currentSession, &Session::serviceAvailable, this, &VerrinController::onServiceAvailable);

    connect(widgets.login, &QAction::triggered, this, &VerrinController::on_actionLogin_triggered);
    connect(widgets.logout, &QAction::triggered, this, &VerrinController::on_actionLogout_triggered);
    connect(widgets.refreshProjects, &QAction::triggered, this, &VerrinController::on_action_RefreshProjects_triggered);

    connect(widgets.projects, &ProjectsTree::signalRefresh, this, &VerrinController::initProjectsTree);
    connect(widgets.projects, &ProjectsTree::signalAddTask, this, &VerrinController::addTask);
    connect(widgets.projects, &ProjectsTree::signalAddTaskList, this, &VerrinController::addTaskList);
    connect(widgets.projects, &ProjectsTree::signalCompleteTask, this, &VerrinController::completeTask);

    filterProjectsTimer.setSingleShot(true);
    filterProjectsTimer.setInterval(kFilterDelayMs);
    connect(&filterProjectsTimer, &QTimer::timeout, this, &VerrinController::onFilterProjectsTimer);
    if (widgets.projectsFilter) {
        connect(widgets.projectsFilter, &QLineEdit::textChanged, this,
                &VerrinController::on_editFilterProjects_textChanged);
        connect(widgets.projectsFilter, &QLineEdit::returnPressed, this, &VerrinController::filterProjectsApply);
    }
}

VerrinController::~VerrinController() = default;

void VerrinController::start()
{
    // Connected only now, so a double-click while the window is still being set up starts nothing.
    connect(widgets.indicator, &ClickableLabel::doubleClicked, this,
            &VerrinController::onStatusLoginIndicatorDblClicked, Qt::UniqueConnection);
    currentSession->startNetwork();
}

void VerrinController::onSessionExpired()
{
    if (renewingSession) {
        return;
    }
    renewingSession = true;
    showStatus(QStringLiteral("The Verrin session has expired; signing in again..."));
    currentSession->renew(loginPrompt.get());
    renewingSession = false;
}

void VerrinController::onNetworkChecked(bool available)
{
    if (!available) {
        signInPending = true;
        return;
    }
    currentSession->initLogin(loginPrompt.get());
    showStatus(QStringLiteral("Ready"));
}

bool VerrinController::isSignedIn() const
{
    return currentSession->isLoggedIn();
}

void VerrinController::onServiceAvailable()
{
    if (!signInPending)
        return;
    signInPending = false;
    currentSession->initLogin(loginPrompt.get());
    showStatus(QStringLiteral("Ready"));
}

void VerrinController::showStatus(const QString& text)
{
    if (widgets.statusBar)
        widgets.statusBar->showMessage(text);
}

void VerrinController::initProjectsTree()
{
    if (!Registry::instance()->isLoggedIn()) {
        qDebug() << "abort init projects. not logged in.";
        return;
    }
    qDebug().noquote() << "auth user: " + Registry::instance()->authUser().username;
    QString reply;
    const bool ok = api->findByUser(&reply);
    widgets.projects->showCatalogueReply(ok, reply);
    emit projectsShown();
}

void VerrinController::on_actionLogin_triggered()
{
    // Signing in by hand settles what the start-up still owed.
    signInPending = false;
    currentSession->login(loginPrompt.get());
}

void VerrinController::on_actionLogout_triggered()
{
    currentSession->logout();
}

void VerrinController::on_action_RefreshProjects_triggered()
{
    qDebug() << "app menu refresh";
    initProjectsTree();
}

void VerrinController::onStatusLoginIndicatorDblClicked()
{
    if (widgets.login->isEnabled())
        on_actionLogin_triggered();
}

void VerrinController::on_editFilterProjects_textChanged(const QString&)
{
    qDebug() << "on filter projects changed";
    filterProjectsTimer.start();
}

void VerrinController::onFilterProjectsTimer()
{
    qDebug() << "filter projects apply";
    filterProjectsApply();
}

void VerrinController::filterProjectsApply()
{
    filterProjectsTimer.stop();
    const QString text = widgets.projectsFilter ? widgets.projectsFilter->text() : QString();
    // Signed out the tree stays empty; the filter waits for the next catalogue.
    if (!isSignedIn()) {
        widgets.projects->setFilter(text);
        return;
    }
    widgets.projects->applyFilter(text);
}

void VerrinController::addTask(int projectId, int tasklistId, const QString& name, const QString& description,
                               bool billable)
{
    const int taskId = api->addTask(projectId, tasklistId, name, description, billable);
    if (taskId)
        widgets.projects->taskAdded(projectId, tasklistId, taskId, name, description, billable);
}

void VerrinController::addTaskList(int projectId, const QString& name)
{
    const int tasklistId = api->addTaskList(projectId, name);
    if (tasklistId)
        widgets.projects->taskListAdded(projectId, tasklistId, name);
}

void VerrinController::completeTask(int taskId)
{
    widgets.projects->taskCompleted(taskId, api->completeTask(taskId));
}
