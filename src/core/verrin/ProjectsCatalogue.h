#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <utility>

// The signed-in user's clients, projects, task lists and tasks as the service reports them, as plain
// data for the projects tree and for the dialogs that let the user pick a task.

struct CatalogueTask
{
    int id = 0;
    int tasklistId = 0; // the "tasklist_id" attribute as sent; the parent is the enclosing task list
    QString name;
    QString complete; // "0" or "1" as sent; only "0" counts as open
    QString billable;
    QString description;
    QString pricePerHour;
    QString dueDate;

    bool isOpen() const { return complete == QLatin1String("0"); }
};

struct CatalogueTaskList
{
    int id = 0;
    QString name;
    QList<CatalogueTask> tasks;
};

struct CatalogueProject
{
    int id = 0;
    QString name;
    int clientId = 0;
    QString clientName;
    QList<CatalogueTaskList> taskLists;
};

struct Catalogue
{
    QList<CatalogueProject> projects;
    // Elements that were skipped because they lacked a usable id, one line each.
    QStringList problems;

    // The same catalogue without completed tasks; projects and task lists stay, even when empty.
    Catalogue openTasksOnly() const;
    const CatalogueProject* project(int projectId) const;
    const CatalogueTaskList* taskList(int projectId, int tasklistId) const;
    CatalogueProject* project(int projectId)
    {
        return const_cast<CatalogueProject*>(std::as_const(*this).project(projectId));
    }
    CatalogueTaskList* taskList(int projectId, int tasklistId)
    {
        return const_cast<CatalogueTaskList*>(std::as_const(*this).taskList(projectId, tasklistId));
    }
    // The task with its project and task list, found anywhere in the catalogue.
    bool findTask(int taskId, CatalogueTask* task, int* projectId = nullptr, int* tasklistId = nullptr) const;
};

// The five lookup maps the linked view and linking use to name what an entry is linked to,
// each keyed by the service id as decimal text.
struct CatalogueMaps
{
    QVariantMap projectNames;        // project id -> name
    QVariantMap tasklistNames;       // task list id -> name
    QVariantMap taskNames;           // task id -> name
    QVariantMap taskParentProjects;  // task id -> project id
    QVariantMap taskParentTasklists; // task id -> task list id
};

// Parses catalogue replies and keeps the registry's copy of the catalogue (parsed, with the five
// maps) in step with what the service was told.
class ProjectsCatalogue
{
public:
    // Reads a "verrin.projects.findByUser" reply. Fails on text that does not load or whose root
    // "status" is not "ok"; elements without a usable id are skipped and listed in `problems`.
    static bool parse(const QString& xml, Catalogue& catalogue, QString* error = nullptr);

    // All tasks count, completed ones included: linked time may point at them.
    static CatalogueMaps buildMaps(const Catalogue& catalogue);

    // A catalogue reply as it arrives: parsed once into the registry, which then holds an empty
    // catalogue when the reply is not usable. The maps follow only a usable one.
    static bool keep(const QString& reply, QString* error = nullptr);
    // A catalogue already parsed, with its maps.
    static void keep(const Catalogue& catalogue);

    // After the service accepted an "add task", "add task list" or "mark complete": update the
    // registry's catalogue and maps. A task added here is open, with empty price and due date.
    static bool recordAddedTask(int projectId, int tasklistId, int taskId, const QString& name,
                                const QString& description, bool billable, QString* error = nullptr);
    static bool recordAddedTaskList(int projectId, int tasklistId, const QString& name, QString* error = nullptr);
    static bool recordCompletedTask(int taskId, QString* error = nullptr);

    // The id in the element "task" or "tasklist" of an "add" reply whose status is "ok", else 0.
    static int addedTaskId(const QString& reply, QString* error = nullptr);
    static int addedTaskListId(const QString& reply, QString* error = nullptr);
    static bool isOkReply(const QString& reply);

private:
    static int addedId(const QString& reply, const QString& element, QString* error);
};
