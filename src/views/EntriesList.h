#pragma once

#include "views/ExpandedNodes.h"

#include <QTreeView>

class Prompter;
class QAction;
class TreeModel;

// The view of the day's time linked to tasks of the Verrin service (project, task list, task,
// application, entry). Its one action of its own is unlinking.
class EntriesList : public QTreeView
{
    Q_OBJECT

public:
    explicit EntriesList(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    TreeModel* treeModel() const;
    void setPrompter(Prompter* prompter) { this->prompter = prompter; }

    // The context menu for a node: actions in order, null for a separator.
    QList<QAction*> menuActions(const QModelIndex& index) const;
    QAction* action(const QString& objectName) const;

    void extendSelection(const QModelIndexList& list);
    void removeSelection(const QModelIndexList& list);
    void adjustColumnWidth();
    ExpandedNodes::List getExpandedNodesList(const QModelIndex& parent, const QString& path) const;
    void expandNodesInList(const ExpandedNodes::List& list, const QModelIndex& parent, const QString& path);

    static QString unlinkQuestion(int count, int seconds);

public slots:
    void onMenuUnlink();
    void saveExpandedNodes();
    void restoreExpandedNodes();

signals:
    void signalUnlinkEntries(const QStringList& ids);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    QAction* unlinkAct = nullptr;
    QAction* expandAct = nullptr;
    QAction* collapseAct = nullptr;
    ExpandedNodes::List expandedNodes;
    Prompter* prompter = nullptr;
};
