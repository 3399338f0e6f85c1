#include "views/DayTreeView.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "views/TreeModel.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>

#include <algorithm>

DayTreeView::DayTreeView(const QString& layoutPrefix, QWidget* parent) : QTreeView(parent), layoutPrefix(layoutPrefix)
{
}

void DayTreeView::setModel(QAbstractItemModel* model)
{
    QTreeView::setModel(model);
    if (auto* tree = qobject_cast<TreeModel*>(model)) {
        connect(tree, &TreeModel::sortStarting, this, &DayTreeView::saveExpandedNodes);
        connect(tree, &TreeModel::sortDone, this, &DayTreeView::restoreExpandedNodes);
        connect(tree, &TreeModel::expandAll, this, &DayTreeView::expandAll);
        connect(tree, &TreeModel::collapseAll, this, &DayTreeView::collapseAll);
        connect(tree, &TreeModel::expandToDepth, this, &DayTreeView::expandToDepth);
        connect(tree, &TreeModel::expandNode, this, &DayTreeView::expand);
    }
}

TreeModel* DayTreeView::treeModel() const
{
    return qobject_cast<TreeModel*>(model());
}

QAction* DayTreeView::action(const QString& objectName) const
{
    return findChild<QAction*>(objectName);
}

void DayTreeView::extendSelection(const QModelIndexList& list)
{
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return;
    }
    // Only applications bring their entries; a selected hour or task stands only for the rows chosen under it.
    for (const QModelIndex& index : list) {
        if (index.column() != 0 || tree->hiddenData(index, QStringLiteral("type")).toString() != QLatin1String("app")) {
            continue;
        }
        for (int row = 0; row < tree->rowCount(index); ++row) {
            selectionModel()->select(tree->index(row, 0, index),
                                     QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
    }
}

DayTreeView::EntrySelection DayTreeView::selectedEntries()
{
    EntrySelection selection;
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return selection;
    }
    extendSelection(selectionModel()->selectedIndexes());
    selection.rows = tree->extractEntriesFromSelection(selectionModel()->selectedIndexes());
    std::stable_sort(selection.rows.begin(), selection.rows.end(), &TreeModel::modelIndexGreaterThan);
    selection.ids = tree->getEntriesIdsForSelection(selection.rows);
    selection.seconds = tree->getTimeForSelection(selection.rows);
    selection.count =
        tree->countItemsInSelectionMatching(selection.rows, QStringLiteral("type"), QStringLiteral("entry"));
    return selection;
}

void DayTreeView::dropSelection(const EntrySelection& selection)
{
    removeSelection(selection.rows);
    if (TreeModel* tree = treeModel()) {
        tree->updateTotalTime(-selection.seconds);
    }
}

void DayTreeView::removeSelection(const QModelIndexList& list)
{
    TreeModel* tree = treeModel();
    if (!tree) {
        return;
    }
    // Removing a row moves the rows after it, so every row is held by a persistent index first.
    const QList<QPersistentModelIndex> rows(list.begin(), list.end());
    for (const QPersistentModelIndex& row : rows) {
        if (row.isValid()) {
            tree->updateTimeInParentNodes(row, -tree->hiddenData(row, QStringLiteral("time")).toInt());
            tree->propagateRemoveRow(row);
        }
    }
}

bool DayTreeView::confirm(const QString& title, const QString& text)
{
    if (prompter) {
        return prompter->ask(title, text);
    }
    return QMessageBox::question(this, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) ==
           QMessageBox::Yes;
}

void DayTreeView::adjustColumnWidth()
{
    setColumnWidth(1, 80);
    setColumnWidth(2, 120);
    header()->restoreState(Registry::instance()->value(layoutPrefix + QStringLiteral("ListState")).toByteArray());
    header()->restoreGeometry(Registry::instance()->value(layoutPrefix + QStringLiteral("ListGeometry")).toByteArray());
    // Titles get whatever width the time and bar columns leave, also with an older saved layout.
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
}

ExpandedNodes::List DayTreeView::getExpandedNodesList(const QModelIndex& parent, const QString& path) const
{
    return treeModel() ? ExpandedNodes::getExpandedNodesList(this, treeModel(), parent, path) : ExpandedNodes::List();
}

void DayTreeView::expandNodesInList(const ExpandedNodes::List& list, const QModelIndex& parent, const QString& path)
{
    if (treeModel()) {
        ExpandedNodes::expandNodesInList(this, treeModel(), list, parent, path);
    }
}

void DayTreeView::saveExpandedNodes()
{
    expandedNodes = getExpandedNodesList(QModelIndex(), QString());
}

void DayTreeView::restoreExpandedNodes()
{
    expandNodesInList(expandedNodes, QModelIndex(), QString());
}

void DayTreeView::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu menu(this);
    for (QAction* act : menuActions(currentIndex().siblingAtColumn(0))) {
        if (act) {
            menu.addAction(act);
        } else {
            menu.addSeparator();
        }
    }
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        position = viewport()->mapToGlobal(visualRect(currentIndex()).center());
    }
    menu.exec(position);
}
