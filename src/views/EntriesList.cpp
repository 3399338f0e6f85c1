#include "views/EntriesList.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "store/util.h"
#include "views/TreeModel.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>

#include <algorithm>

EntriesList::EntriesList(QWidget* parent) : QTreeView(parent)
{
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    header()->setSectionsMovable(false);
    const auto make = [this](const QString& name, const QString& text, const QKeySequence& shortcut) {
        auto* act = new QAction(text, this);
        act->setObjectName(name);
        act->setShortcut(shortcut);
        act->setShortcutContext(Qt::WidgetShortcut);
        addAction(act);
        return act;
    };
    unlinkAct = make(QStringLiteral("actionUnlink"), QStringLiteral("&Unlink"), QKeySequence(QStringLiteral("Ctrl+U")));
    expandAct = make(QStringLiteral("actionExpandAll"), QStringLiteral("Ex&pand All"), QKeySequence::ZoomIn);
    collapseAct = make(QStringLiteral("actionCollapseAll"), QStringLiteral("&Collapse All"), QKeySequence::ZoomOut);
    connect(unlinkAct, &QAction::triggered, this, &EntriesList::onMenuUnlink);
    connect(expandAct, &QAction::triggered, this, &EntriesList::expandAll);
    connect(collapseAct, &QAction::triggered, this, &EntriesList::collapseAll);
}

QAction* EntriesList::action(const QString& objectName) const
{
    return findChild<QAction*>(objectName);
}

void EntriesList::setModel(QAbstractItemModel* model)
{
    QTreeView::setModel(model);
    if (auto* tree = qobject_cast<TreeModel*>(model)) {
        connect(tree, &TreeModel::sortStarting, this, &EntriesList::saveExpandedNodes);
        connect(tree, &TreeModel::sortDone, this, &EntriesList::restoreExpandedNodes);
        connect(tree, &TreeModel::expandAll, this, &EntriesList::expandAll);
        connect(tree, &TreeModel::collapseAll, this, &EntriesList::collapseAll);
        connect(tree, &TreeModel::expandToDepth, this, &EntriesList::expandToDepth);
        connect(tree, &TreeModel::expandNode, this, &EntriesList::expand);
    }
}

TreeModel* EntriesList::treeModel() const
{
    return qobject_cast<TreeModel*>(model());
}

QList<QAction*> EntriesList::menuActions(const QModelIndex& index) const
{
    unlinkAct->setEnabled(Registry::instance()->value(QStringLiteral("isLoggedIn")).toBool());
    QList<QAction*> actions;
    const QString type =
        index.isValid() && treeModel() ? treeModel()->hiddenData(index, QStringLiteral("type")).toString() : QString();
    if (type == QLatin1String("entry") || type == QLatin1String("app")) {
        actions << unlinkAct << nullptr;
    }
    actions << expandAct << collapseAct;
    return actions;
}

void EntriesList::contextMenuEvent(QContextMenuEvent* event)
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

void EntriesList::extendSelection(const QModelIndexList& list)
{
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return;
    }
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

void EntriesList::removeSelection(const QModelIndexList& list)
{
    TreeModel* tree = treeModel();
    if (!tree) {
        return;
    }
    QList<QPersistentModelIndex> rows(list.begin(), list.end());
    for (const QPersistentModelIndex& row : rows) {
        if (row.isValid()) {
            tree->updateTimeInParentNodes(row, -tree->hiddenData(row, QStringLiteral("time")).toInt());
            tree->propagateRemoveRow(row);
        }
    }
}

QString EntriesList::unlinkQuestion(int count, int seconds)
{
    return QStringLiteral("Are you sure you want to unlink ") +
           (count == 1 ? QStringLiteral("selected entry") : QStringLiteral("these %1 entries").arg(count)) +
           QStringLiteral("?") + QStringLiteral("\n\n") +
           (count == 1 ? QStringLiteral("Time") : QStringLiteral("Cumulated time")) + QStringLiteral(": ") +
           util::format_time(seconds);
}

void EntriesList::onMenuUnlink()
{
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return;
    }
    extendSelection(selectionModel()->selectedIndexes());
    QModelIndexList entries = tree->extractEntriesFromSelection(selectionModel()->selectedIndexes());
    if (entries.isEmpty()) {
        return;
    }
    std::stable_sort(entries.begin(), entries.end(), &TreeModel::modelIndexGreaterThan);
    const int time = tree->getTimeForSelection(entries);
    const QStringList ids = tree->getEntriesIdsForSelection(entries);
    const int count = tree->countItemsInSelectionMatching(entries, QStringLiteral("type"), QStringLiteral("entry"));
    const QString text = unlinkQuestion(count, time);
    const bool yes =
        prompter ? prompter->ask(QStringLiteral("Confirm unlink"), text)
                 : QMessageBox::question(this, QStringLiteral("Confirm unlink"), text,
                                         QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) == QMessageBox::Yes;
    if (!yes) {
        return;
    }
    emit signalUnlinkEntries(ids);
    removeSelection(entries);
    tree->updateTotalTime(-time);
}

void EntriesList::adjustColumnWidth()
{
    setColumnWidth(1, 80);
    setColumnWidth(2, 120);
    header()->restoreState(Registry::instance()->value(QStringLiteral("LinkedListState")).toByteArray());
    header()->restoreGeometry(Registry::instance()->value(QStringLiteral("LinkedListGeometry")).toByteArray());
    // Titles get whatever width the time and bar columns leave, also with an older saved layout.
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
}

ExpandedNodes::List EntriesList::getExpandedNodesList(const QModelIndex& parent, const QString& path) const
{
    return treeModel() ? ExpandedNodes::getExpandedNodesList(this, treeModel(), parent, path) : ExpandedNodes::List();
}

void EntriesList::expandNodesInList(const ExpandedNodes::List& list, const QModelIndex& parent, const QString& path)
{
    if (treeModel()) {
        ExpandedNodes::expandNodesInList(this, treeModel(), list, parent, path);
    }
}

void EntriesList::saveExpandedNodes()
{
    expandedNodes = getExpandedNodesList(QModelIndex(), QString());
}

void EntriesList::restoreExpandedNodes()
{
    expandNodesInList(expandedNodes, QModelIndex(), QString());
}
