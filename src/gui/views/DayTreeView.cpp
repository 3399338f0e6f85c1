#include "views/DayTreeView.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "reports/TreeItem.h"
#include "reports/TreeModel.h"
#include "views/CachedTextDelegate.h"
#include "views/WholeTextTip.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QStyle>

#include <algorithm>
#include <functional>

DayTreeView::DayTreeView(const QString& layoutPrefix, QWidget* parent) : QTreeView(parent), layoutPrefix(layoutPrefix)
{
    // Unsorted until the user clicks a header: the day first shows in the order it was recorded.
    header()->setSortIndicator(-1, Qt::AscendingOrder);
    setSortingEnabled(true);
    setItemDelegate(new CachedTextDelegate(this));
}

void DayTreeView::setModel(QAbstractItemModel* model)
{
    QTreeView::setModel(model);
    if (auto* tree = qobject_cast<TreeModel*>(model)) {
        connect(tree, &TreeModel::sortStarting, this, &DayTreeView::onSortStarting);
        connect(tree, &TreeModel::sortDone, this, &DayTreeView::onSortDone);
        connect(tree, &TreeModel::modelReset, this, &DayTreeView::resortAfterReset);
        connect(tree, &TreeModel::modelReset, this, &DayTreeView::fitTimeColumn);
        connect(tree, &TreeModel::rowsInserted, this, &DayTreeView::growTimeColumn);
        connect(tree, &TreeModel::dataChanged, this,
                [this](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                    if (topLeft.column() <= 1 && bottomRight.column() >= 1) {
                        growTimeColumn(topLeft.parent(), topLeft.row(), bottomRight.row());
                    }
                });
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

void DayTreeView::selectEntries(const QSet<int>& ids)
{
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return;
    }
    QItemSelection chosen;
    const std::function<void(const QModelIndex&)> visit = [&](const QModelIndex& parent) {
        for (int row = 0; row < tree->rowCount(parent); ++row) {
            const QModelIndex index = tree->index(row, 0, parent);
            if (tree->hiddenData(index, QStringLiteral("type")).toString() != QLatin1String("entry")) {
                visit(index);
                continue;
            }
            const QList<int>& held = tree->getItem(index)->entryIds();
            if (std::any_of(held.cbegin(), held.cend(), [&ids](int id) { return ids.contains(id); })) {
                chosen.select(index, index);
                for (QModelIndex up = parent; up.isValid(); up = up.parent()) {
                    expand(up);
                }
            }
        }
    };
    visit(QModelIndex());
    selectionModel()->select(chosen, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (!chosen.isEmpty()) {
        const QModelIndex firstChosen = chosen.first().topLeft();
        selectionModel()->setCurrentIndex(firstChosen, QItemSelectionModel::NoUpdate);
        scrollTo(firstChosen);
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
        return prompter->askDefaultYes(title, text);
    }
    return QMessageBox::question(this, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) ==
           QMessageBox::Yes;
}

void DayTreeView::adjustColumnWidth()
{
    setColumnWidth(1, 80);
    setColumnWidth(2, 120);
    const bool linked = layoutPrefix == QLatin1String("Linked");
    header()->restoreState(Registry::instance()->listState(linked));
    header()->restoreGeometry(Registry::instance()->listGeometry(linked));
    // Titles get whatever width the time and bar columns leave, also with an older saved layout.
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
    header()->setSectionResizeMode(1, QHeaderView::Fixed);
    // The fourth column never holds anything; its width goes to the titles.
    setColumnHidden(3, true);
    // A saved layout may carry a sort the tree does not have yet.
    resortAfterReset();
    fitTimeColumn();
}

int DayTreeView::timeTextWidth(const QString& text) const
{
    // The delegate draws the text inside the focus frame's margins on both sides.
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1;
    return fontMetrics().horizontalAdvance(text) + 2 * margin + 4;
}

void DayTreeView::fitTimeColumn()
{
    TreeModel* tree = treeModel();
    if (!tree) {
        return;
    }
    // Time texts differ only in their digits, so the longest ones are the only candidates for the
    // widest; measuring just those keeps a day of thousands of rows cheap.
    QStringList longest;
    qsizetype longestLength = 0;
    std::function<void(const TreeItem*)> walk = [&](const TreeItem* item) {
        for (int i = 0; i < item->childCount(); ++i) {
            const TreeItem* child = item->child(i);
            const QString text = child->data(1).toString();
            if (text.size() > longestLength) {
                longestLength = text.size();
                longest = {text};
            } else if (text.size() == longestLength && longest.size() < 64 && !longest.contains(text)) {
                longest << text;
            }
            walk(child);
        }
    };
    walk(tree->root());
    int width = header()->sectionSizeHint(1);
    for (const QString& text : longest) {
        width = std::max(width, timeTextWidth(text));
    }
    if (width != columnWidth(1)) {
        setColumnWidth(1, width);
    }
}

void DayTreeView::growTimeColumn(const QModelIndex& parent, int first, int last)
{
    TreeModel* tree = treeModel();
    if (!tree) {
        return;
    }
    int width = columnWidth(1);
    for (int row = first; row <= last; ++row) {
        width = std::max(width, grownTextWidth(tree->data(tree->index(row, 1, parent), Qt::DisplayRole).toString()));
    }
    if (width != columnWidth(1)) {
        setColumnWidth(1, width);
    }
}

int DayTreeView::grownTextWidth(const QString& text)
{
    // A recorded stretch changes a time text every few seconds. Texts differ only in their digits, so
    // each shape ("0:00:00", "00:00:00") is measured once, with its widest digits, instead of shaping
    // every new text.
    QString shape = text;
    for (QChar& c : shape) {
        if (c.isDigit()) {
            c = QLatin1Char('0');
        }
    }
    if (const auto it = shapeWidths.constFind(shape); it != shapeWidths.constEnd()) {
        return *it;
    }
    if (widestDigit.isNull()) {
        int widest = -1;
        for (char digit = '0'; digit <= '9'; ++digit) {
            const int advance = fontMetrics().horizontalAdvance(QLatin1Char(digit));
            if (advance > widest) {
                widest = advance;
                widestDigit = QLatin1Char(digit);
            }
        }
    }
    const int width = timeTextWidth(QString(shape).replace(QLatin1Char('0'), widestDigit));
    if (shapeWidths.size() >= 64) {
        shapeWidths.clear();
    }
    shapeWidths.insert(shape, width);
    return width;
}

void DayTreeView::changeEvent(QEvent* event)
{
    QTreeView::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        shapeWidths.clear();
        widestDigit = QChar();
    }
}

void DayTreeView::resortAfterReset()
{
    const int column = header()->sortIndicatorSection();
    if (!model() || !isSortingEnabled() || column < 0) {
        return;
    }
    const ExpandedNodes::List open = getExpandedNodesList(QModelIndex(), QString());
    {
        const QScopedValueRollback<bool> quiet(quietSort, true);
        model()->sort(column, header()->sortIndicatorOrder());
    }
    expandNodesInList(open, QModelIndex(), QString());
}

void DayTreeView::onSortStarting()
{
    if (!quietSort) {
        saveExpandedNodes();
    }
}

void DayTreeView::onSortDone()
{
    if (!quietSort) {
        restoreExpandedNodes();
    }
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

bool DayTreeView::viewportEvent(QEvent* event)
{
    return showWholeTextTip(this, event, [this](QStyleOptionViewItem* option) { initViewItemOption(option); }) ||
           QTreeView::viewportEvent(event);
}

void DayTreeView::contextMenuEvent(QContextMenuEvent* event)
{
    QModelIndex index;
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        index = currentIndex();
        position = viewport()->mapToGlobal(visualRect(index).center());
    } else {
        // The menu acts on the row under the pointer, never on a row made current earlier; on
        // empty space there is no row and only the expand and collapse entries are offered.
        index = indexAt(viewport()->mapFromGlobal(event->globalPos()));
        if (index.isValid() && selectionModel()) {
            const bool selected = selectionModel()->isRowSelected(index.row(), index.parent());
            // A click on a row inside the selection keeps the selection; elsewhere it starts a new one.
            selectionModel()->setCurrentIndex(index, selected ? QItemSelectionModel::NoUpdate
                                                              : QItemSelectionModel::ClearAndSelect |
                                                                    QItemSelectionModel::Rows);
        }
    }
    QMenu menu(this);
    for (QAction* act : menuActions(index.siblingAtColumn(0))) {
        if (act) {
            menu.addAction(act);
        } else {
            menu.addSeparator();
        }
    }
    execMenu(&menu, position);
}

void DayTreeView::execMenu(QMenu* menu, const QPoint& position)
{
    menu->exec(position);
}
