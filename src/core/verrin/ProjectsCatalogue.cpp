#include "verrin/ProjectsCatalogue.h"

#include "app/Registry.h"
#include "verrin/ServiceXml.h"

#include <QDebug>
#include <QDomDocument>
#include <QDomElement>

namespace {
const QString kId = QStringLiteral("id");
const QString kName = QStringLiteral("name");

void setError(QString* error, const QString& text)
{
    if (error) {
        *error = text;
    }
}

// Ids are positive decimal numbers; anything else cannot be sent back to the service.
int readId(const QDomElement& element, const QString& attribute = kId)
{
    bool ok = false;
    const int id = element.attribute(attribute).trimmed().toInt(&ok);
    return ok && id > 0 ? id : 0;
}

QString readName(const QDomElement& element, const QString& attribute = kName)
{
    return servicexml::decode8Bit(element.attribute(attribute));
}

QList<QDomElement> children(const QDomElement& parent, const QString& name)
{
    QList<QDomElement> list;
    for (QDomElement e = parent.firstChildElement(name); !e.isNull(); e = e.nextSiblingElement(name)) {
        list << e;
    }
    return list;
}

// The client's name: the "name" attribute, else the element's text.
QString clientName(const QDomElement& project)
{
    const QDomElement client = project.firstChildElement(QStringLiteral("client"));
    if (client.isNull()) {
        return QString();
    }
    if (client.hasAttribute(kName)) {
        return readName(client);
    }
    return servicexml::decode8Bit(client.text().trimmed());
}

CatalogueTask readTask(const QDomElement& e)
{
    CatalogueTask task;
    task.id = readId(e);
    task.tasklistId = readId(e, QStringLiteral("tasklist_id"));
    task.name = readName(e);
    task.complete = e.attribute(QStringLiteral("complete"));
    task.billable = e.attribute(QStringLiteral("billable"));
    task.description = readName(e, QStringLiteral("description"));
    task.pricePerHour = e.attribute(QStringLiteral("price_per_hour"));
    task.dueDate = e.attribute(QStringLiteral("due_date"));
    return task;
}

bool loadOkDocument(const QString& xml, QDomDocument& doc, QString* error)
{
    QString loadError;
    if (!servicexml::load(xml, doc, &loadError)) {
        setError(error, loadError);
        return false;
    }
    const QString status = doc.documentElement().attribute(QStringLiteral("status"));
    if (status != QLatin1String("ok")) {
        setError(error, QStringLiteral("status is \"%1\", not \"ok\"").arg(status));
        return false;
    }
    return true;
}

} // namespace

Catalogue Catalogue::openTasksOnly() const
{
    Catalogue open = *this;
    for (CatalogueProject& project : open.projects) {
        for (CatalogueTaskList& list : project.taskLists) {
            list.tasks.removeIf([](const CatalogueTask& task) { return !task.isOpen(); });
        }
    }
    return open;
}

const CatalogueProject* Catalogue::project(int projectId) const
{
    for (const CatalogueProject& p : projects) {
        if (p.id == projectId) {
            return &p;
        }
    }
    return nullptr;
}

const CatalogueTaskList* Catalogue::taskList(int projectId, int tasklistId) const
{
    const CatalogueProject* p = project(projectId);
    if (!p) {
        return nullptr;
    }
    for (const CatalogueTaskList& list : p->taskLists) {
        if (list.id == tasklistId) {
            return &list;
        }
    }
    return nullptr;
}

bool Catalogue::findTask(int taskId, CatalogueTask* task, int* projectId, int* tasklistId) const
{
    for (const CatalogueProject& p : projects) {
        for (const CatalogueTaskList& list : p.taskLists) {
            for (const CatalogueTask& t : list.tasks) {
                if (t.id == taskId) {
                    if (task) {
                        *task = t;
                    }
                    if (projectId) {
                        *projectId = p.id;
                    }
                    if (tasklistId) {
                        *tasklistId = list.id;
                    }
                    return true;
                }
            }
        }
    }
    return false;
}

bool ProjectsCatalogue::parse(const QString& xml, Catalogue& catalogue, QString* error)
{
    catalogue = Catalogue();
    QDomDocument doc;
    if (!loadOkDocument(xml, doc, error)) {
        return false;
    }
    const QDomElement projects = doc.documentElement().firstChildElement(QStringLiteral("projects"));
    for (const QDomElement& p : children(projects, QStringLiteral("project"))) {
        CatalogueProject project;
        project.id = readId(p);
        project.name = readName(p);
        if (!project.id) {
            catalogue.problems << QStringLiteral("project \"%1\" without a usable id skipped").arg(project.name);
            continue;
        }
        project.clientId = readId(p.firstChildElement(QStringLiteral("client")));
        project.clientName = clientName(p);
        const QDomElement lists = p.firstChildElement(QStringLiteral("task_lists"));
        for (const QDomElement& l : children(lists, QStringLiteral("task_list"))) {
            CatalogueTaskList list;
            list.id = readId(l);
            list.name = readName(l);
            if (!list.id) {
                catalogue.problems << QStringLiteral("task list \"%1\" without a usable id skipped").arg(list.name);
                continue;
            }
            const QDomElement tasks = l.firstChildElement(QStringLiteral("tasks"));
            for (const QDomElement& t : children(tasks, QStringLiteral("task"))) {
                CatalogueTask task = readTask(t);
                if (!task.id) {
                    catalogue.problems << QStringLiteral("task \"%1\" without a usable id skipped").arg(task.name);
                    continue;
                }
                list.tasks << task;
            }
            project.taskLists << list;
        }
        catalogue.projects << project;
    }
    for (const QString& problem : catalogue.problems) {
        qWarning() << "projects catalogue:" << problem;
    }
    return true;
}

CatalogueMaps ProjectsCatalogue::buildMaps(const Catalogue& catalogue)
{
    CatalogueMaps maps;
    for (const CatalogueProject& project : catalogue.projects) {
        const QString projectId = QString::number(project.id);
        maps.projectNames.insert(projectId, project.name);
        for (const CatalogueTaskList& list : project.taskLists) {
            const QString listId = QString::number(list.id);
            maps.tasklistNames.insert(listId, list.name);
            for (const CatalogueTask& task : list.tasks) {
                const QString taskId = QString::number(task.id);
                maps.taskNames.insert(taskId, task.name);
                maps.taskParentProjects.insert(taskId, projectId);
                maps.taskParentTasklists.insert(taskId, listId);
            }
        }
    }
    return maps;
}

bool ProjectsCatalogue::keep(const QString& reply, QString* error)
{
    Catalogue catalogue;
    if (!parse(reply, catalogue, error)) {
        Registry::instance()->setCatalogue(Catalogue(), false);
        return false;
    }
    keep(catalogue);
    return true;
}

void ProjectsCatalogue::keep(const Catalogue& catalogue)
{
    Registry& registry = *Registry::instance();
    registry.setCatalogueMaps(buildMaps(catalogue));
    registry.setCatalogue(catalogue, true);
}

bool ProjectsCatalogue::recordAddedTask(int projectId, int tasklistId, int taskId, const QString& name,
                                        const QString& description, bool billable, QString* error)
{
    // The maps name linked time, so they take the task even when the catalogue cannot.
    const QString id = QString::number(taskId);
    CatalogueMaps& maps = Registry::instance()->editCatalogueMaps();
    maps.taskNames.insert(id, name);
    maps.taskParentProjects.insert(id, QString::number(projectId));
    maps.taskParentTasklists.insert(id, QString::number(tasklistId));

    Catalogue& catalogue = Registry::instance()->editCatalogue();
    CatalogueTaskList* list = catalogue.taskList(projectId, tasklistId);
    if (!list) {
        const QString why = catalogue.project(projectId)
                                ? QStringLiteral("no task list with id %1 in project %2").arg(tasklistId).arg(projectId)
                                : QStringLiteral("no project with id %1").arg(projectId);
        qWarning() << "could not add task" << taskId << "to the cached catalogue:" << why;
        setError(error, why);
        return false;
    }
    CatalogueTask task;
    task.id = taskId;
    task.tasklistId = tasklistId;
    task.name = name;
    task.complete = QStringLiteral("0");
    task.billable = billable ? QStringLiteral("1") : QStringLiteral("0");
    task.description = description;
    list->tasks << task;
    return true;
}

bool ProjectsCatalogue::recordAddedTaskList(int projectId, int tasklistId, const QString& name, QString* error)
{
    Registry::instance()->editCatalogueMaps().tasklistNames.insert(QString::number(tasklistId), name);

    Catalogue& catalogue = Registry::instance()->editCatalogue();
    CatalogueProject* project = catalogue.project(projectId);
    if (!project) {
        const QString why = QStringLiteral("no project with id %1").arg(projectId);
        qWarning() << "could not add task list" << tasklistId << "to the cached catalogue:" << why;
        setError(error, why);
        return false;
    }
    CatalogueTaskList list;
    list.id = tasklistId;
    list.name = name;
    project->taskLists << list;
    return true;
}

bool ProjectsCatalogue::recordCompletedTask(int taskId, QString* error)
{
    // The maps keep the task: entries linked to it still need its name.
    for (CatalogueProject& project : Registry::instance()->editCatalogue().projects) {
        for (CatalogueTaskList& list : project.taskLists) {
            for (CatalogueTask& task : list.tasks) {
                if (task.id == taskId) {
                    task.complete = QStringLiteral("1");
                    return true;
                }
            }
        }
    }
    const QString why = QStringLiteral("no task with id %1").arg(taskId);
    qWarning() << "could not mark task" << taskId << "complete in the cached catalogue:" << why;
    setError(error, why);
    return false;
}

int ProjectsCatalogue::addedId(const QString& reply, const QString& element, QString* error)
{
    QDomDocument doc;
    if (!loadOkDocument(reply, doc, error)) {
        return 0;
    }
    const int id = readId(doc.documentElement().firstChildElement(element));
    if (!id) {
        setError(error, QStringLiteral("no \"%1\" element with a usable id").arg(element));
    }
    return id;
}

int ProjectsCatalogue::addedTaskId(const QString& reply, QString* error)
{
    return addedId(reply, QStringLiteral("task"), error);
}

int ProjectsCatalogue::addedTaskListId(const QString& reply, QString* error)
{
    return addedId(reply, QStringLiteral("tasklist"), error);
}

bool ProjectsCatalogue::isOkReply(const QString& reply)
{
    return servicexml::status(reply) == QLatin1String("ok");
}
