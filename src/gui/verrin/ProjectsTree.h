#pragma once

#include "verrin/ProjectsCatalogue.h"

#include <QTreeWidget>

#include <memory>

class Prompter;
class QAction;
class QMenu;

// The catalogue as a tree: clients, projects, task lists and open tasks. It shows what the
// catalogue holds and asks the user what to add or complete; the main window talks to the service
// (signals below) and reports back through taskAdded, taskListAdded and taskCompleted.
//
// Recorded time dragged from the unlinked view can be dropped on a task: a plain drop asks the
// main window to link it at once (signalConnectEntriesWithTask), a drop with Ctrl held first
// opens the link dialog on that task. The drop handling lives in ProjectsTreeDrop.cpp.
class ProjectsTree : public QTreeWidget
{
    Q_OBJECT
public:
    // Column 0 of every item carries the service id as text and the kind word.
    static constexpr int IdRole = Qt::UserRole + 1;
    static constexpr int KindRole = Qt::UserRole + 2;

    explicit ProjectsTree(QWidget* parent = nullptr);
    ~ProjectsTree() override;

    // Questions and warnings go here; by default real message boxes over this widget.
    void setPrompter(Prompter* prompter);

    // Rebuilds the tree from the registry's catalogue. Warns "Could not load projects tree" and
    // leaves the tree empty when the last reply was not an "ok" catalogue.
    bool initTree();

    // What the main window does with a "verrin.projects.findByUser" reply: keep it in the registry
    // (even empty, which forgets the catalogue), then show it when there is text, expanded.
    void showCatalogueReply(bool requestSucceeded, const QString& reply);

    // Sets the filter and rebuilds from the cached catalogue, expanded. No box when the cache is
    // empty or bad: the user was told when it was loaded.
    void applyFilter(const QString& text);
    void setFilter(const QString& text) { filterText = text; }
    QString filter() const { return filterText; }

    // Signing out: nothing is shown until the next catalogue.
    void clearTree();

    // The catalogue the tree was last built from.
    const Catalogue& currentCatalogue() const { return catalogue; }

    QTreeWidgetItem* addClientItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon);
    QTreeWidgetItem* addProjectItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon);
    QTreeWidgetItem* addTaskListItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon);
    QTreeWidgetItem* addTaskItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon);

    QTreeWidgetItem* locateClient(const QString& name) const;
    QTreeWidgetItem* locateProject(int projectId) const;
    QTreeWidgetItem* locateProjectInClientSubitems(QTreeWidgetItem* client, int projectId) const;
    QTreeWidgetItem* locateTaskList(int projectId, int tasklistId) const;
    QTreeWidgetItem* locateTask(int projectId, int tasklistId, int taskId) const;

    static QString kindOf(const QTreeWidgetItem* item);
    static int idOf(const QTreeWidgetItem* item);

    // Ids of the current item: the task only when a task is selected; the project and task list
    // of a project, task list or task.
    int getSelectedTaskId() const;
    int getSelectedProjectId() const;
    int getSelectedTasklistId() const;

    // Called by the main window after the service accepted the change.
    void taskAdded(int projectId, int tasklistId, int taskId, const QString& name, const QString& description,
                   bool billable);
    void taskListAdded(int projectId, int tasklistId, const QString& name);
    // A completed task is recorded in the cache and its struck-out item leaves the tree after a
    // short pause; a refused one stays struck out until the next rebuild.
    void taskCompleted(int taskId, bool succeeded);
    void setCompletedRemovalDelay(int ms) { completedRemovalDelayMs = ms; }

    // Enables the commands that fit `item` (and the sign-in state); run before the menu shows.
    void prepareMenu(QTreeWidgetItem* item);

    // Drops: only dragged entries, only as a move, only onto a task while signed in.
    QStringList mimeTypes() const override;
    Qt::DropActions supportedDropActions() const override;

signals:
    // Link these entries to the task; run directly, the rows leave the unlinked view afterwards.
    void signalConnectEntriesWithTask(const QStringList& entryIds, const QString& taskId, const QString& notes);
    void signalAddTask(int projectId, int tasklistId, const QString& name, const QString& description, bool billable);
    void signalAddTaskList(int projectId, const QString& name);
    void signalCompleteTask(int taskId);
    void signalRefresh();

public slots:
    void onMenuAddTask();
    void onMenuAddTaskList();
    void onMenuComplete();
    void onMenuDelete();

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    // Emits the link request for the entries of `data` dropped on task `parent`, or on the task
    // chosen in the Ctrl-drop dialog when there was one.
    bool dropMimeData(QTreeWidgetItem* parent, int index, const QMimeData* data, Qt::DropAction action) override;

private:
    QTreeWidgetItem* makeItem(QTreeWidgetItem* parent, int id, const QString& name, const QString& icon,
                              const QString& kind);
    QTreeWidgetItem* ensureProjectItem(const CatalogueProject& project);
    QTreeWidgetItem* ensureTaskListItem(const CatalogueProject& project, const CatalogueTaskList& list);
    QTreeWidgetItem* findTaskItem(int taskId) const;
    void rebuildItems();
    void reloadFromCache();
    static void idsOf(const QTreeWidgetItem* item, int* projectId, int* tasklistId, int* taskId);

    void initDropTarget();
    bool acceptsDrop(const QTreeWidgetItem* item, const QMimeData* data) const;
    // The Ctrl-drop dialog on the dropped-on task; keeps the chosen task and notes when accepted
    // with a task, false when cancelled or accepted without one.
    bool askLinkDetails(const QTreeWidgetItem* item, const QMimeData* data);
    void clearDialogValues();

    Catalogue catalogue;
    QString filterText;
    int completedRemovalDelayMs = 800;

    // What the Ctrl-drop dialog chose, for dropMimeData; cleared after every drop so a later
    // plain drop never reuses them.
    int dialogProjectId = 0;
    int dialogTaskId = 0;
    QString dialogNotes;

    std::unique_ptr<Prompter> ownPrompter;
    Prompter* prompter = nullptr;

    QMenu* menu = nullptr;
    QAction* actionAddTask = nullptr;
    QAction* actionAddTaskList = nullptr;
    QAction* actionDelete = nullptr;
    QAction* actionComplete = nullptr;
    QAction* actionRefresh = nullptr;
    QAction* actionExpandAll = nullptr;
    QAction* actionCollapseAll = nullptr;
};
