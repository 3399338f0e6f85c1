#include "reports/LinkedNames.h"

#include "app/Registry.h"

#include <QVariantHash>

namespace {
QVariantMap readMap(const char* key)
{
    const QVariant value = Registry::instance()->value(QLatin1String(key));
    if (value.typeId() == QMetaType::QVariantHash) {
        const QVariantHash hash = value.toHash();
        QVariantMap map;
        for (auto it = hash.constBegin(); it != hash.constEnd(); ++it) {
            map.insert(it.key(), it.value());
        }
        return map;
    }
    return value.toMap();
}
} // namespace

LinkedNames LinkedNames::fromRegistry()
{
    LinkedNames names;
    names.projects = readMap("mapProjectNames");
    names.tasklists = readMap("mapTasklistNames");
    names.tasks = readMap("mapTaskNames");
    names.parentProjects = readMap("mapTaskParentProjects");
    names.parentTasklists = readMap("mapTaskParentTasklists");
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
