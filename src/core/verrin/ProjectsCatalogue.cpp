#include "verrin/ProjectsCatalogue.h"

#include "app/Registry.h"
#include "verrin/ServiceXml.h"

#include <QDebug>
#include <QDomDocument>
#include <QDomElement>

const char* const ProjectsCatalogue::kXmlKey = "XmlProjectsList";
const char* const ProjectsCatalogue::kProjectNamesKey = "mapProjectNames";
const char* const ProjectsCatalogue::kTasklistNamesKey = "mapTasklistNames";
const char* const ProjectsCatalogue::kTaskNamesKey = "mapTaskNames";
const char* const ProjectsCatalogue::kTaskParentProjectsKey = "mapTaskParentProjects";
const char* const ProjectsCatalogue::kTaskParentTasklistsKey = "mapTaskParentTasklists";

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

QDomElement findById(const QDomElement& parent, const QString& name, int id)
{
    for (const QDomElement& e : children(parent, name)) {
        if (readId(e) == id) {
            return e;
        }
    }
    return QDomElement();
}

QDomElement findProject(const QDomDocument& doc, int projectId)
{
    const QDomElement projects = doc.documentElement().firstChildElement(QStringLiteral("projects"));
    return findById(projects, QStringLiteral("project"), projectId);
}

QDomElement childOrNew(QDomDocument& doc, QDomElement parent, const QString& name)
{
    QDomElement child = parent.firstChildElement(name);
    if (child.isNull()) {
        child = doc.createElement(name);
        parent.appendChild(child);
    }
    return child;
}

// Writes the map as attributes, "id" first; texts are stored in the reply's 8-bit form so that the
// cache reads back like a reply.
void writeAttributes(QDomElement& element, const QVariantMap& values)
{
    if (values.contains(kId)) {
        element.setAttribute(kId, values.value(kId).toString());
    }
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (it.key() != kId) {
            element.setAttribute(it.key(), servicexml::encode8Bit(it.value().toString()));
        }
    }
}

void putMap(const char* key, const QVariantMap& map)
{
    (*Registry::instance())[QLatin1String(key)] = map;
}

QVariantMap getMap(const char* key)
{
    return Registry::instance()->value(QLatin1String(key)).toMap();
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

void ProjectsCatalogue::storeMaps(const CatalogueMaps& maps)
{
    putMap(kProjectNamesKey, maps.projectNames);
    putMap(kTasklistNamesKey, maps.tasklistNames);
    putMap(kTaskNamesKey, maps.taskNames);
    putMap(kTaskParentProjectsKey, maps.taskParentProjects);
    putMap(kTaskParentTasklistsKey, maps.taskParentTasklists);
}

CatalogueMaps ProjectsCatalogue::storedMaps()
{
    CatalogueMaps maps;
    maps.projectNames = getMap(kProjectNamesKey);
    maps.tasklistNames = getMap(kTasklistNamesKey);
    maps.taskNames = getMap(kTaskNamesKey);
    maps.taskParentProjects = getMap(kTaskParentProjectsKey);
    maps.taskParentTasklists = getMap(kTaskParentTasklistsKey);
    return maps;
}

Catalogue ProjectsCatalogue::cached(QString* error)
{
    Catalogue catalogue;
    const QString xml = cachedXml();
    if (xml.isEmpty()) {
        setError(error, QStringLiteral("no catalogue loaded"));
        return catalogue;
    }
    parse(xml, catalogue, error);
    return catalogue;
}

QString ProjectsCatalogue::cachedXml()
{
    return Registry::instance()->value(QLatin1String(kXmlKey)).toString();
}

void ProjectsCatalogue::storeXml(const QString& xml)
{
    (*Registry::instance())[QLatin1String(kXmlKey)] = xml;
}

QString ProjectsCatalogue::addTaskToXml(const QString& xml, int projectId, int tasklistId, const QVariantMap& task,
                                        QString* error)
{
    QDomDocument doc;
    if (!loadOkDocument(xml, doc, error)) {
        return xml;
    }
    const QDomElement project = findProject(doc, projectId);
    if (project.isNull()) {
        setError(error, QStringLiteral("no project with id %1").arg(projectId));
        return xml;
    }
    QDomElement list =
        findById(project.firstChildElement(QStringLiteral("task_lists")), QStringLiteral("task_list"), tasklistId);
    if (list.isNull()) {
        setError(error, QStringLiteral("no task list with id %1 in project %2").arg(tasklistId).arg(projectId));
        return xml;
    }
    QDomElement element = doc.createElement(QStringLiteral("task"));
    writeAttributes(element, task);
    childOrNew(doc, list, QStringLiteral("tasks")).appendChild(element);
    return doc.toString(1);
}

QString ProjectsCatalogue::addTaskListToXml(const QString& xml, int projectId, const QVariantMap& tasklist,
                                            QString* error)
{
    QDomDocument doc;
    if (!loadOkDocument(xml, doc, error)) {
        return xml;
    }
    QDomElement project = findProject(doc, projectId);
    if (project.isNull()) {
        setError(error, QStringLiteral("no project with id %1").arg(projectId));
        return xml;
    }
    QDomElement element = doc.createElement(QStringLiteral("task_list"));
    writeAttributes(element, tasklist);
    element.appendChild(doc.createElement(QStringLiteral("tasks")));
    childOrNew(doc, project, QStringLiteral("task_lists")).appendChild(element);
    return doc.toString(1);
}

QString ProjectsCatalogue::completeTaskInXml(const QString& xml, int taskId, QString* error)
{
    QDomDocument doc;
    if (!loadOkDocument(xml, doc, error)) {
        return xml;
    }
    const QDomElement projects = doc.documentElement().firstChildElement(QStringLiteral("projects"));
    for (const QDomElement& p : children(projects, QStringLiteral("project"))) {
        for (const QDomElement& l :
             children(p.firstChildElement(QStringLiteral("task_lists")), QStringLiteral("task_list"))) {
            QDomElement task = findById(l.firstChildElement(QStringLiteral("tasks")), QStringLiteral("task"), taskId);
            if (!task.isNull()) {
                task.setAttribute(QStringLiteral("complete"), QStringLiteral("1"));
                return doc.toString(1);
            }
        }
    }
    setError(error, QStringLiteral("no task with id %1").arg(taskId));
    return xml;
}

bool ProjectsCatalogue::recordAddedTask(int projectId, int tasklistId, int taskId, const QString& name,
                                        const QString& description, bool billable, QString* error)
{
    QVariantMap task;
    task.insert(kId, QString::number(taskId));
    task.insert(kName, name);
    task.insert(QStringLiteral("tasklist_id"), QString::number(tasklistId));
    task.insert(QStringLiteral("complete"), QStringLiteral("0"));
    task.insert(QStringLiteral("billable"), billable ? QStringLiteral("1") : QStringLiteral("0"));
    task.insert(QStringLiteral("description"), description);
    task.insert(QStringLiteral("price_per_hour"), QString());
    task.insert(QStringLiteral("due_date"), QString());

    // The maps name linked time, so they take the task even when the cached text cannot.
    const QString id = QString::number(taskId);
    QVariantMap names = getMap(kTaskNamesKey);
    QVariantMap projects = getMap(kTaskParentProjectsKey);
    QVariantMap lists = getMap(kTaskParentTasklistsKey);
    names.insert(id, name);
    projects.insert(id, QString::number(projectId));
    lists.insert(id, QString::number(tasklistId));
    putMap(kTaskNamesKey, names);
    putMap(kTaskParentProjectsKey, projects);
    putMap(kTaskParentTasklistsKey, lists);

    QString xmlError;
    const QString xml = cachedXml();
    const QString updated = addTaskToXml(xml, projectId, tasklistId, task, &xmlError);
    if (!xmlError.isEmpty()) {
        qWarning() << "could not add task" << taskId << "to the cached catalogue:" << xmlError;
        setError(error, xmlError);
        return false;
    }
    storeXml(updated);
    return true;
}

bool ProjectsCatalogue::recordAddedTaskList(int projectId, int tasklistId, const QString& name, QString* error)
{
    QVariantMap list;
    list.insert(kId, QString::number(tasklistId));
    list.insert(kName, name);

    QVariantMap names = getMap(kTasklistNamesKey);
    names.insert(QString::number(tasklistId), name);
    putMap(kTasklistNamesKey, names);

    QString xmlError;
    const QString updated = addTaskListToXml(cachedXml(), projectId, list, &xmlError);
    if (!xmlError.isEmpty()) {
        qWarning() << "could not add task list" << tasklistId << "to the cached catalogue:" << xmlError;
        setError(error, xmlError);
        return false;
    }
    storeXml(updated);
    return true;
}

bool ProjectsCatalogue::recordCompletedTask(int taskId, QString* error)
{
    // The maps keep the task: entries linked to it still need its name.
    QString xmlError;
    const QString updated = completeTaskInXml(cachedXml(), taskId, &xmlError);
    if (!xmlError.isEmpty()) {
        qWarning() << "could not mark task" << taskId << "complete in the cached catalogue:" << xmlError;
        setError(error, xmlError);
        return false;
    }
    storeXml(updated);
    return true;
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
