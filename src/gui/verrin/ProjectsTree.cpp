#include "verrin/ProjectsTree.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "store/util.h"
#include "verrin/AddTaskDialog.h"
#include "verrin/AddTaskListDialog.h"
#include "window/MessageBoxPrompter.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QDebug>
#include <QIcon>
#include <QMenu>
#include <QTimer>
#include <QTreeWidgetItemIterator>

namespace {
const QString kClient = QStringLiteral("client");
const QString kProject = QStringLiteral("project");
const QString kTasklist = QStringLiteral("tasklist");
const QString kTask = QStringLiteral("task");

const QString kClientIcon = QStringLiteral(":/icons/res/client.png");
const QString kProjectIcon = QStringLiteral(":/icons/res/project.png");
const QString kTasklistIcon = QStringLiteral(":/icons/res/tasklist.png");
const QString kTaskIcon = QStringLiteral(":/icons/res/task.png");

bool anyWordIn(const QStringList& words, const QStringList& names)
{
    for (const QString& word : words) {
        for (const QString& name : names) {
            if (name.contains(word, Qt::CaseInsensitive)) {
                return true;
            }
        }
    }
    return false;
}

// Projects without a client still need a top-level item to hang from.
QString clientLabel(const CatalogueProject& project)
{
    return project.clientName.isEmpty() ? QStringLiteral("(No client)") : project.clientName;
}

QAction* makeAction(QObject* parent, const QString& text, const char* name)
{
    auto* action = new QAction(text, parent);
    action->setObjectName(QLatin1String(name));
    return action;
}
} // namespace

ProjectsTree::ProjectsTree(QWidget* parent) : QTreeWidget(parent)
{
    setColumnCount(1);
    setHeaderHidden(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    ownPrompter = std::make_unique<MessageBoxPrompter>(this);
    prompter = ownPrompter.get();

    actionAddTask = makeAction(this, QStringLiteral("Add &Task"), "actionAddTask");
    actionAddTaskList = makeAction(this, QStringLiteral("Add Task&list"), "actionAddTaskList");
    actionDelete = makeAction(this, QStringLiteral("&Delete"), "actionDelete");
    actionComplete = makeAction(this, QStringLiteral("Mark as &complete"), "actionComplete");
    actionRefresh = makeAction(this, QStringLiteral("&Refresh"), "actionRefresh");
    actionExpandAll = makeAction(this, QStringLiteral("Ex&pand All"), "actionExpandAll");
    actionCollapseAll = makeAction(this, QStringLiteral("&Collapse All"), "actionCollapseAll");
    actionExpandAll->setShortcut(QKeySequence::ZoomIn);
    actionCollapseAll->setShortcut(QKeySequence::ZoomOut);
    for (QAction* action : {actionExpandAll, actionCollapseAll}) {
        action->setShortcutContext(Qt::WidgetShortcut);
        addAction(action); // so the shortcuts work without the menu
    }

    connect(actionAddTask, &QAction::triggered, this, &ProjectsTree::onMenuAddTask);
    connect(actionAddTaskList, &QAction::triggered, this, &ProjectsTree::onMenuAddTaskList);
    connect(actionDelete, &QAction::triggered, this, &ProjectsTree::onMenuDelete);
    connect(actionComplete, &QAction::triggered, this, &ProjectsTree::onMenuComplete);
    connect(actionRefresh, &QAction::triggered, this, &ProjectsTree::signalRefresh);
    connect(actionExpandAll, &QAction::triggered, this, &QTreeWidget::expandAll);
    connect(actionCollapseAll, &QAction::triggered, this, &QTreeWidget::collapseAll);

    menu = new QMenu(this);
    menu->addActions({actionAddTask, actionAddTaskList, actionDelete, actionComplete});
    menu->addSeparator();
    menu->addAction(actionRefresh);
    menu->addSeparator();
    menu->addActions({actionExpandAll, actionCollapseAll});

    initDropTarget();
}

ProjectsTree::~ProjectsTree() = default;

void ProjectsTree::setPrompter(Prompter* replacement)
{
    prompter = replacement ? replacement : ownPrompter.get();
}

bool ProjectsTree::initTree()
{
    clear();
    catalogue = Catalogue();
    const Registry& registry = *Registry::instance();
    if (!registry.catalogueLoaded()) {
        prompter->warn(QStringLiteral("Error"), QStringLiteral("Could not load projects tree"));
        return false;
    }
    catalogue = registry.catalogue();
    rebuildItems();
    return true;
}

void ProjectsTree::showCatalogueReply(bool requestSucceeded, const QString& reply)
{
    if (!requestSucceeded || reply.isEmpty() || !ProjectsCatalogue::isOkReply(reply)) {
        qDebug() << "error loading projects xml";
    }
    QString error;
    if (!ProjectsCatalogue::keep(reply, &error) && !reply.isEmpty()) {
        qDebug().noquote() << "xml not good to load:" << error;
    }
    if (!reply.isEmpty()) {
        initTree();
        expandAll();
    }
}

void ProjectsTree::applyFilter(const QString& text)
{
    filterText = text;
    clear();
    catalogue = Catalogue();
    const Registry& registry = *Registry::instance();
    if (registry.catalogueLoaded()) {
        catalogue = registry.catalogue();
        rebuildItems();
        expandAll();
    }
}

void ProjectsTree::clearTree()
{
    clear();
    catalogue = Catalogue();
}

void ProjectsTree::rebuildItems()
{
    clear();
    const QStringList words = util::extractWords(filterText);
    const bool filtering = !words.isEmpty();
    for (const CatalogueProject& project : catalogue.projects) {
        const bool projectMatches = !filtering || anyWordIn(words, {project.clientName, project.name});
        for (const CatalogueTaskList& list : project.taskLists) {
            const bool listMatches = projectMatches || anyWordIn(words, {list.name});
            QTreeWidgetItem* listItem = nullptr;
            for (const CatalogueTask& task : list.tasks) {
                if (!task.isOpen() || !(listMatches || anyWordIn(words, {task.name}))) {
                    continue;
                }
                if (!listItem) {
                    listItem = ensureTaskListItem(project, list);
                }
                addTaskItem(listItem, task.id, task.name, kTaskIcon);
            }
            // Without a filter empty task lists show too, so tasks can be added to them.
            if (!listItem && listMatches) {
                ensureTaskListItem(project, list);
            }
        }
        if (projectMatches) {
            ensureProjectItem(project);
        }
    }
}

void ProjectsTree::reloadFromCache()
{
    const Registry& registry = *Registry::instance();
    if (registry.catalogueLoaded()) {
        catalogue = registry.catalogue();
    }
}

QTreeWidgetItem* ProjectsTree::makeItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon,
                                        const QString& kind)
{
    auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(this);
    item->setText(0, name);
    item->setIcon(0, QIcon(icon));
    item->setData(0, IdRole, QString::number(id));
    item->setData(0, KindRole, kind);
    item->setToolTip(0, name);
    if (kind != kTask) {
        // Time is linked to tasks only; the others show no drop indicator.
        item->setFlags(item->flags() & ~Qt::ItemIsDropEnabled);
    }
    return item;
}

QTreeWidgetItem* ProjectsTree::addClientItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon)
{
    return makeItem(parent, id, name, icon, kClient);
}

QTreeWidgetItem* ProjectsTree::addProjectItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon)
{
    return makeItem(parent, id, name, icon, kProject);
}

QTreeWidgetItem* ProjectsTree::addTaskListItem(QTreeWidgetItem* parent, int id, const QString& name,
                                               const QString& icon)
{
    return makeItem(parent, id, name, icon, kTasklist);
}

QTreeWidgetItem* ProjectsTree::addTaskItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon)
{
    return makeItem(parent, id, name, icon, kTask);
}

QTreeWidgetItem* ProjectsTree::ensureProjectItem(const CatalogueProject& project)
{
    if (QTreeWidgetItem* item = locateProject(project.id)) {
        return item;
    }
    QTreeWidgetItem* client = locateClient(clientLabel(project));
    if (!client) {
        client = addClientItem(nullptr, project.clientId, clientLabel(project), kClientIcon);
    }
    return addProjectItem(client, project.id, project.name, kProjectIcon);
}

QTreeWidgetItem* ProjectsTree::ensureTaskListItem(const CatalogueProject& project, const CatalogueTaskList& list)
{
    if (QTreeWidgetItem* item = locateTaskList(project.id, list.id)) {
        return item;
    }
    return addTaskListItem(ensureProjectItem(project), list.id, list.name, kTasklistIcon);
}

QTreeWidgetItem* ProjectsTree::locateClient(const QString& name) const
{
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = topLevelItem(i);
        if (kindOf(item) == kClient && item->text(0) == name) {
            return item;
        }
    }
    return nullptr;
}

QTreeWidgetItem* ProjectsTree::locateProject(int projectId) const
{
    for (int i = 0; i < topLevelItemCount(); ++i) {
        if (QTreeWidgetItem* item = locateProjectInClientSubitems(topLevelItem(i), projectId)) {
            return item;
        }
    }
    return nullptr;
}

QTreeWidgetItem* ProjectsTree::locateProjectInClientSubitems(QTreeWidgetItem* client, int projectId) const
{
    if (!client) {
        return nullptr;
    }
    for (int i = 0; i < client->childCount(); ++i) {
        QTreeWidgetItem* item = client->child(i);
        if (kindOf(item) == kProject && idOf(item) == projectId) {
            return item;
        }
    }
    return nullptr;
}

QTreeWidgetItem* ProjectsTree::locateTaskList(int projectId, int tasklistId) const
{
    QTreeWidgetItem* project = locateProject(projectId);
    if (!project) {
        return nullptr;
    }
    for (int i = 0; i < project->childCount(); ++i) {
        QTreeWidgetItem* item = project->child(i);
        if (kindOf(item) == kTasklist && idOf(item) == tasklistId) {
            return item;
        }
    }
    return nullptr;
}

QTreeWidgetItem* ProjectsTree::locateTask(int projectId, int tasklistId, int taskId) const
{
    QTreeWidgetItem* list = locateTaskList(projectId, tasklistId);
    if (!list) {
        return nullptr;
    }
    for (int i = 0; i < list->childCount(); ++i) {
        QTreeWidgetItem* item = list->child(i);
        if (kindOf(item) == kTask && idOf(item) == taskId) {
            return item;
        }
    }
    return nullptr;
}

QTreeWidgetItem* ProjectsTree::findTaskItem(int taskId) const
{
    for (QTreeWidgetItemIterator it(const_cast<ProjectsTree*>(this)); *it; ++it) {
        if (kindOf(*it) == kTask && idOf(*it) == taskId) {
            return *it;
        }
    }
    return nullptr;
}

QString ProjectsTree::kindOf(const QTreeWidgetItem* item)
{
    return item ? item->data(0, KindRole).toString() : QString();
}

int ProjectsTree::idOf(const QTreeWidgetItem* item)
{
    return item ? item->data(0, IdRole).toString().toInt() : 0;
}

void ProjectsTree::idsOf(const QTreeWidgetItem* item, int* projectId, int* tasklistId, int* taskId)
{
    for (const QTreeWidgetItem* at = item; at; at = at->parent()) {
        const QString kind = kindOf(at);
        if (kind == kTask && taskId) {
            *taskId = idOf(at);
        } else if (kind == kTasklist && tasklistId) {
            *tasklistId = idOf(at);
        } else if (kind == kProject && projectId) {
            *projectId = idOf(at);
        }
    }
}

int ProjectsTree::getSelectedTaskId() const
{
    int taskId = 0;
    if (kindOf(currentItem()) == kTask) {
        idsOf(currentItem(), nullptr, nullptr, &taskId);
    }
    return taskId;
}

int ProjectsTree::getSelectedProjectId() const
{
    int projectId = 0;
    idsOf(currentItem(), &projectId, nullptr, nullptr);
    return projectId;
}

int ProjectsTree::getSelectedTasklistId() const
{
    int tasklistId = 0;
    idsOf(currentItem(), nullptr, &tasklistId, nullptr);
    return tasklistId;
}

void ProjectsTree::prepareMenu(QTreeWidgetItem* item)
{
    const bool signedIn = Registry::instance()->isLoggedIn();
    const QString kind = kindOf(item);
    const bool inProject = kind == kProject || kind == kTasklist || kind == kTask;
    bool projectHasLists = kind == kTasklist || kind == kTask;
    if (kind == kProject) {
        const CatalogueProject* project = catalogue.project(idOf(item));
        projectHasLists = project && !project->taskLists.isEmpty();
    }
    actionAddTask->setEnabled(signedIn && inProject && projectHasLists);
    actionAddTaskList->setEnabled(signedIn && inProject);
    actionDelete->setEnabled(false); // the service offers no deletion of tasks
    actionComplete->setEnabled(signedIn && kind == kTask);
    actionRefresh->setEnabled(signedIn);
    actionExpandAll->setEnabled(topLevelItemCount() > 0);
    actionCollapseAll->setEnabled(topLevelItemCount() > 0);
}

void ProjectsTree::contextMenuEvent(QContextMenuEvent* event)
{
    QTreeWidgetItem* item = itemAt(event->pos());
    if (item) {
        setCurrentItem(item); // the menu commands act on the selected item
    }
    prepareMenu(item);
    menu->exec(event->globalPos());
}

void ProjectsTree::onMenuAddTask()
{
    int projectId = 0;
    int tasklistId = 0;
    idsOf(currentItem(), &projectId, &tasklistId, nullptr);
    AddTaskDialog dialog(this);
    dialog.populateData(Registry::instance()->catalogue());
    dialog.projectId = projectId;
    dialog.tasklistId = tasklistId;
    dialog.putData();
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    dialog.getData();
    qDebug().noquote().nospace() << "from dialog: project_id: " << dialog.projectId
                                 << ", tasklist_id: " << dialog.tasklistId << ", name: " << dialog.name
                                 << ", description: " << dialog.description << ", billable: " << dialog.billable;
    emit signalAddTask(dialog.projectId, dialog.tasklistId, dialog.name, dialog.description, dialog.billable);
}

void ProjectsTree::onMenuAddTaskList()
{
    AddTaskListDialog dialog(this);
    dialog.populateData(Registry::instance()->catalogue());
    dialog.projectId = getSelectedProjectId();
    dialog.putData();
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    dialog.getData();
    qDebug().noquote().nospace() << "from dialog: project_id = " << dialog.projectId << ", name = " << dialog.name;
    emit signalAddTaskList(dialog.projectId, dialog.name);
}

void ProjectsTree::onMenuComplete()
{
    QTreeWidgetItem* item = currentItem();
    if (kindOf(item) != kTask) {
        return;
    }
    const int taskId = idOf(item);
    const QString question =
        QStringLiteral("Are you sure you want to mark task \"") + item->text(0) + QStringLiteral("\" as complete?");
    if (!prompter->ask(QStringLiteral("Confirm complete"), question)) {
        return;
    }
    QFont font = item->font(0);
    font.setStrikeOut(true);
    item->setFont(0, font);
    emit signalCompleteTask(taskId);
}

void ProjectsTree::onMenuDelete()
{
    // Nothing to do: tasks are removed on the service's own pages.
}

void ProjectsTree::taskAdded(int projectId, int tasklistId, int taskId, const QString& name, const QString& description,
                             bool billable)
{
    qDebug().noquote() << "API add task result: task id = " + QString::number(taskId);
    ProjectsCatalogue::recordAddedTask(projectId, tasklistId, taskId, name, description, billable);
    reloadFromCache();
    QTreeWidgetItem* list = locateTaskList(projectId, tasklistId);
    if (!list) {
        // Hidden by the filter: show the new task anyway, it is what the user just asked for.
        const CatalogueTaskList* known = catalogue.taskList(projectId, tasklistId);
        if (!known) {
            return;
        }
        list = ensureTaskListItem(*catalogue.project(projectId), *known);
    }
    if (!locateTask(projectId, tasklistId, taskId)) {
        addTaskItem(list, taskId, name, kTaskIcon);
    }
    list->setExpanded(true);
    if (list->parent()) {
        list->parent()->setExpanded(true);
    }
}

void ProjectsTree::taskListAdded(int projectId, int tasklistId, const QString& name)
{
    qDebug().noquote() << "API add tasklist result: id = " + QString::number(tasklistId);
    ProjectsCatalogue::recordAddedTaskList(projectId, tasklistId, name);
    reloadFromCache();
    QTreeWidgetItem* project = locateProject(projectId);
    if (!project) {
        const CatalogueProject* known = catalogue.project(projectId);
        if (!known) {
            return;
        }
        project = ensureProjectItem(*known);
    }
    if (!locateTaskList(projectId, tasklistId)) {
        addTaskListItem(project, tasklistId, name, kTasklistIcon);
    }
    project->setExpanded(true);
}

void ProjectsTree::taskCompleted(int taskId, bool succeeded)
{
    if (!succeeded) {
        return;
    }
    ProjectsCatalogue::recordCompletedTask(taskId);
    reloadFromCache();
    // A short pause so the struck-out name is seen before it goes.
    QTimer::singleShot(completedRemovalDelayMs, this, [this, taskId] {
        while (QTreeWidgetItem* item = findTaskItem(taskId)) {
            delete item;
        }
    });
}
