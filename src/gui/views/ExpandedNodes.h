#pragma once

#include <QList>
#include <QModelIndex>
#include <QPair>
#include <QString>

class QTreeView;
class TreeModel;

// Remembers which nodes of a day tree are open across rebuilds and sorts. A node is known by its
// type and its path: the parent's path + "##" + its key (application: app_id, hour: hour; project,
// task list and task: id), so the same node is found again in a rebuilt tree.
class ExpandedNodes
{
public:
    using List = QList<QPair<QString, QString>>;

    static List getExpandedNodesList(const QTreeView* view, const TreeModel* model, const QModelIndex& parent,
                                     const QString& path);
    static void expandNodesInList(QTreeView* view, const TreeModel* model, const List& list, const QModelIndex& parent,
                                  const QString& path);
    static QString nodeKey(const TreeModel* model, const QModelIndex& index);
};
