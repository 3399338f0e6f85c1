#include "ProjectsApi.h"

#include "app/Registry.h"
#include "verrin/ApiRequest.h"
#include "verrin/ProjectsCatalogue.h"

#include <QDebug>

ProjectsApi::ProjectsApi(QNetworkAccessManager* manager, Prompter* prompter) : manager(manager), prompter(prompter) {}

bool ProjectsApi::findByUser(QString* reply)
{
    ApiRequest::Params params = ApiRequest::sessionCredentials();
    params += {{QStringLiteral("user_id"), Registry::instance()->authUser().id},
               {QStringLiteral("include_task_lists"), QStringLiteral("1")},
               {QStringLiteral("include_tasks"), QStringLiteral("1")}};
    ApiRequest request(manager, false, prompter);
    return request.call(QStringLiteral("verrin.projects.findByUser"), QStringLiteral("get"), params, *reply, false);
}

bool ProjectsApi::post(const QString& method, const QList<QPair<QString, QString>>& params, QString* reply)
{
    ApiRequest request(manager, false, prompter);
    return request.call(method, QStringLiteral("post"), ApiRequest::sessionCredentials() + params, *reply, false);
}

int ProjectsApi::addTask(int projectId, int tasklistId, const QString& name, const QString& description, bool billable)
{
    QString reply;
    post(QStringLiteral("verrin.tasks.add"),
         {{QStringLiteral("name"), name},
          {QStringLiteral("project_id"), QString::number(projectId)},
          {QStringLiteral("tasklist_id"), QString::number(tasklistId)},
          {QStringLiteral("description"), description},
          {QStringLiteral("billable"), billable ? QStringLiteral("true") : QStringLiteral("false")}},
         &reply);
    QString error;
    const int id = ProjectsCatalogue::addedTaskId(reply, &error);
    if (id == 0)
        qDebug().noquote() << "add task FAILED " + error;
    return id;
}

int ProjectsApi::addTaskList(int projectId, const QString& name)
{
    QString reply;
    post(QStringLiteral("verrin.tasklists.add"),
         {{QStringLiteral("name"), name}, {QStringLiteral("project_id"), QString::number(projectId)}}, &reply);
    QString error;
    const int id = ProjectsCatalogue::addedTaskListId(reply, &error);
    if (id == 0)
        qDebug().noquote() << "add tasklist FAILED " + error;
    return id;
}

bool ProjectsApi::completeTask(int taskId)
{
    QString reply;
    const bool sent =
        post(QStringLiteral("verrin.tasks.update"),
             {{QStringLiteral("task_id"), QString::number(taskId)}, {QStringLiteral("complete"), QStringLiteral("1")}},
             &reply);
    if (sent && ProjectsCatalogue::isOkReply(reply))
        return true;
    qDebug().noquote() << "API call to update task id=" + QString::number(taskId) + " failed";
    return false;
}
