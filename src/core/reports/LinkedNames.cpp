#include "reports/LinkedNames.h"

#include "app/Registry.h"

LinkedNames LinkedNames::fromRegistry()
{
    LinkedNames names;
    const CatalogueMaps& maps = Registry::instance()->catalogueMaps();
    names.projects = maps.projectNames;
    names.tasklists = maps.tasklistNames;
    names.tasks = maps.taskNames;
    names.parentProjects = maps.taskParentProjects;
    names.parentTasklists = maps.taskParentTasklists;
    return names;
}

QString LinkedNames::pick(const QVariantMap& map, const QString& id, const QString& stored)
{
    return map.isEmpty() ? stored : map.value(id).toString();
}

QString LinkedNames::parentProject(const QString& taskId, const QString& stored) const
{
    const QString id = parentProjects.value(taskId).toString();
    return id.isEmpty() ? stored : id;
}

QString LinkedNames::parentTasklist(const QString& taskId, const QString& stored) const
{
    const QString id = parentTasklists.value(taskId).toString();
    return id.isEmpty() ? stored : id;
}
