#pragma once

#include <QString>

class Prompter;
class QNetworkAccessManager;

// The catalogue calls over HTTP with the signed-in session's credentials: fetching the user's
// projects, adding a task or a task list, marking a task complete. Transport failures and the
// service's refusals are shown through the prompter; what went wrong is also logged.
class ProjectsApi
{
public:
    ProjectsApi(QNetworkAccessManager* manager, Prompter* prompter);

    // "verrin.projects.findByUser" for Registry::authUser().id with task lists and tasks. `reply`
    // gets the reply text (empty when nothing came back); returns whether the request succeeded.
    bool findByUser(QString* reply);

    // The new item's id, or 0 when the service did not accept it.
    int addTask(int projectId, int tasklistId, const QString& name, const QString& description, bool billable);
    int addTaskList(int projectId, const QString& name);

    // Whether the service marked the task complete.
    bool completeTask(int taskId);

private:
    bool post(const QString& method, const QList<QPair<QString, QString>>& params, QString* reply);

    QNetworkAccessManager* manager;
    Prompter* prompter;
};
