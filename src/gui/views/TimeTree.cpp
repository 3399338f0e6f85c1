#include "views/TimeTree.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "reports/TreeModel.h"
#include "store/util.h"
#include "verrin/EntriesDragPayload.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDebug>
#include <QDrag>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPointer>

#include <algorithm>

namespace {
const QString kType = QStringLiteral("type");

QString typeOf(const QModelIndex& index)
{
    return index.model() ? static_cast<const TreeModel*>(index.model())->hiddenData(index, kType).toString()
                         : QString();
}
} // namespace

TimeTree::TimeTree(QWidget* parent) : DayTreeView(QStringLiteral("Unlinked"), parent)
{
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setDragEnabled(true);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    header()->setSectionsMovable(false);
    createActions();
}

QAction* TimeTree::makeAction(const QString& name, const QString& text, const QKeySequence& shortcut,
                              void (TimeTree::*slot)())
{
    auto* act = new QAction(text, this);
    act->setObjectName(name);
    act->setShortcut(shortcut);
    act->setShortcutContext(Qt::WidgetShortcut);
    connect(act, &QAction::triggered, this, slot);
    addAction(act);
    return act;
}

void TimeTree::createActions()
{
    linkAct = makeAction(QStringLiteral("actionLink"), QStringLiteral("&Link Time With Task..."),
                         QKeySequence(QStringLiteral("Ctrl+L")), &TimeTree::onMenuLink);
    excludeAct = makeAction(QStringLiteral("actionExclude"), QStringLiteral("E&xclude Application"), QKeySequence(),
                            &TimeTree::onMenuExclude);
    deleteAct = makeAction(QStringLiteral("actionDelete"), QStringLiteral("&Delete"),
                           QKeySequence(QStringLiteral("Delete")), &TimeTree::onMenuDelete);
    expandAct = makeAction(QStringLiteral("actionExpandAll"), QStringLiteral("Ex&pand All"),
                           QKeySequence(QKeySequence::ZoomIn), &TimeTree::expandAll);
    collapseAct = makeAction(QStringLiteral("actionCollapseAll"), QStringLiteral("&Collapse All"),
                             QKeySequence(QKeySequence::ZoomOut), &TimeTree::collapseAll);
    detailsAct = makeAction(QStringLiteral("actionDetails"), QStringLiteral("View &details..."), QKeySequence(),
                            &TimeTree::onTimestamps);
    copyTitleAct = makeAction(QStringLiteral("actionCopyTitle"), QStringLiteral("Copy &title"),
                              QKeySequence(QStringLiteral("Ctrl+C")), &TimeTree::onCopyTitle);
    ruleFromEntryAct = makeAction(QStringLiteral("actionRuleFromEntry"), QStringLiteral("Create Rule from Entry..."),
                                  QKeySequence(), &TimeTree::onCreateRuleFromEntry);
    ruleFromAppAct = makeAction(QStringLiteral("actionRuleFromApp"), QStringLiteral("Create Rule from Application..."),
                                QKeySequence(), &TimeTree::onCreateRuleFromApp);
    editAwayAct = makeAction(QStringLiteral("actionEditDescription"), QStringLiteral("Edit &description"),
                             QKeySequence(), &TimeTree::onEditAwayEntry);
}

QList<QAction*> TimeTree::menuActions(const QModelIndex& index) const
{
    linkAct->setEnabled(Registry::instance()->isLoggedIn());
    QList<QAction*> actions;
    const QString type = index.isValid() ? typeOf(index) : QString();
    if (type == QLatin1String("app")) {
        actions << linkAct << deleteAct << nullptr << ruleFromAppAct << excludeAct << nullptr << detailsAct
                << copyTitleAct << nullptr;
    } else if (type == QLatin1String("entry")) {
        const QString appPath = treeModel()->hiddenData(index.parent(), QStringLiteral("app_path")).toString();
        if (appPath == QLatin1String("verrin://idle")) {
            actions << editAwayAct << nullptr;
        }
        actions << linkAct << deleteAct << nullptr << ruleFromEntryAct << nullptr << detailsAct << copyTitleAct
                << nullptr;
    }
    actions << expandAct << collapseAct;
    return actions;
}

void TimeTree::mousePressEvent(QMouseEvent* event)
{
    QTreeView::mousePressEvent(event);
    if (event->button() == Qt::LeftButton) {
        pressPosition = event->position().toPoint();
        dragArmed = indexAt(pressPosition).isValid();
    }
}

void TimeTree::mouseMoveEvent(QMouseEvent* event)
{
    const int distance = (event->position().toPoint() - pressPosition).manhattanLength();
    if (dragArmed && dragEnabled() && (event->buttons() & Qt::LeftButton) &&
        distance >= QApplication::startDragDistance()) {
        dragArmed = false;
        startDrag(Qt::MoveAction);
        setState(NoState);
        return;
    }
    QTreeView::mouseMoveEvent(event);
}

void TimeTree::mouseReleaseEvent(QMouseEvent* event)
{
    dragArmed = false;
    QTreeView::mouseReleaseEvent(event);
}

void TimeTree::startDrag(Qt::DropActions /*supportedActions*/)
{
    const EntrySelection selection = selectedEntries();
    if (selection.ids.isEmpty()) {
        return;
    }
    EntriesDragPayload payload;
    payload.entryIds = selection.ids;
    payload.seconds = selection.seconds;
    payload.notes = QStringLiteral("");
    // The drag runs its own event loop: the recorder may add rows meanwhile, so hold on to the
    // dragged rows by persistent indexes.
    const QList<QPersistentModelIndex> rows(selection.rows.cbegin(), selection.rows.cend());
    QPointer<QDrag> drag = new QDrag(this);
    drag->setMimeData(payload.toMimeData());
    const Qt::DropAction result = execDrag(drag);
    if (drag) {
        drag->deleteLater();
    }
    finishDrag(result, rows);
}

Qt::DropAction TimeTree::execDrag(QDrag* drag)
{
    // Only a move: the time leaves this view for the task it was dropped on.
    return drag->exec(Qt::MoveAction, Qt::MoveAction);
}

void TimeTree::finishDrag(Qt::DropAction result, const QList<QPersistentModelIndex>& rows)
{
    TreeModel* tree = treeModel();
    if (result != Qt::MoveAction || !tree) {
        return;
    }
    // Rows that went away during the drag (the day was rebuilt) are already out of the view and
    // out of its total.
    QModelIndexList remaining;
    int seconds = 0;
    for (const QPersistentModelIndex& row : rows) {
        if (row.isValid()) {
            remaining << QModelIndex(row);
            seconds += tree->hiddenData(row, QStringLiteral("time")).toInt();
        }
    }
    std::stable_sort(remaining.begin(), remaining.end(), &TreeModel::modelIndexGreaterThan);
    removeSelection(remaining);
    tree->updateTotalTime(-seconds);
}

QString TimeTree::deleteQuestion(int count, int seconds, const QStringList& appNames)
{
    const int apps = int(appNames.size());
    QString object = count == 1 ? QStringLiteral("selected entry") : QStringLiteral("these %1 entries").arg(count);
    if (apps != 1) {
        object += QStringLiteral(" from %1 applications").arg(apps);
    }
    QString appList = QStringList(appNames.mid(0, 10)).join(QStringLiteral("\n    "));
    if (apps > 10) {
        appList += QStringLiteral("\n    (%1 more)").arg(apps - 10);
    }
    return QStringLiteral("Are you sure you want to delete ") + object + QStringLiteral("?") + QStringLiteral("\n\n") +
           (count == 1 ? QStringLiteral("Time") : QStringLiteral("Cumulated time")) + QStringLiteral(": ") +
           util::format_time(seconds) + QStringLiteral("\n\n") +
           (count == 1 ? QStringLiteral("Entry is from ") : QStringLiteral("Entries are from ")) +
           (apps == 1 ? QStringLiteral("this application") : QStringLiteral("these applications")) +
           QStringLiteral(":\n    ") + appList;
}

void TimeTree::onMenuDelete()
{
    TreeModel* tree = treeModel();
    const EntrySelection selection = selectedEntries();
    if (!tree || selection.rows.isEmpty()) {
        return;
    }
    const QStringList apps = tree->extractAppNamesFromSelection(selection.rows);
    if (!confirm(QStringLiteral("Confirm delete"), deleteQuestion(selection.count, selection.seconds, apps))) {
        return;
    }
    TreeModel::deleteDbEntries(selection.ids);
    dropSelection(selection);
}

void TimeTree::setLinkingEnabled(bool enabled)
{
    linkAct->setEnabled(enabled);
}

void TimeTree::onMenuLink()
{
    if (!linkAct->isEnabled()) {
        return;
    }
    const EntrySelection selection = selectedEntries();
    if (selection.rows.isEmpty() || !linkChooser) {
        return;
    }
    QString taskId;
    QString notes;
    if (!linkChooser(selection.seconds, &taskId, &notes) || taskId.isEmpty() || taskId == QLatin1String("0")) {
        return;
    }
    emit signalConnectEntriesWithTask(selection.ids, taskId, notes);
    dropSelection(selection);
}

void TimeTree::onMenuExclude()
{
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return;
    }
    QStringList ignored = Registry::instance()->ignoredApps();
    for (const QModelIndex& index : selectionModel()->selectedIndexes()) {
        if (index.column() != 0 || typeOf(index) != QLatin1String("app")) {
            continue;
        }
        const QString path = tree->hiddenData(index, QStringLiteral("app_path")).toString();
        // Unlike the dialog, the menu treats paths differing only in case as the same.
        if (!ignored.contains(path, Qt::CaseInsensitive)) {
            ignored << path;
        }
    }
    Registry::instance()->setIgnoredApps(ignored);
    saveExpandedNodes();
    tree->refreshTree();
    emit datesWithZeroTimeChanged();
    restoreExpandedNodes();
}

void TimeTree::onTimestamps()
{
    TreeModel* tree = treeModel();
    const QModelIndex index = currentIndex().siblingAtColumn(0);
    if (!tree || !index.isValid()) {
        return;
    }
    const QString type = typeOf(index);
    if (type == QLatin1String("entry")) {
        emit signalShowTimestamps(tree->getDisplayedDate(), tree->hiddenData(index, QStringLiteral("title")).toString(),
                                  tree->hiddenData(index.parent(), QStringLiteral("app_path")).toString());
    } else if (type == QLatin1String("app")) {
        emit signalShowTimestamps(tree->getDisplayedDate(), QString(),
                                  tree->hiddenData(index, QStringLiteral("app_path")).toString());
    }
}

void TimeTree::onCopyTitle()
{
    TreeModel* tree = treeModel();
    if (!tree || !selectionModel()) {
        return;
    }
    QStringList texts;
    for (const QModelIndex& index : selectionModel()->selectedIndexes()) {
        if (index.column() != 0) {
            continue;
        }
        const QString type = typeOf(index);
        if (type == QLatin1String("entry")) {
            texts << tree->hiddenData(index, QStringLiteral("title")).toString();
        } else if (type == QLatin1String("app")) {
            texts << tree->data(index, Qt::DisplayRole).toString();
        }
    }
    QApplication::clipboard()->setText(texts.join(QLatin1Char('\n')));
}

void TimeTree::onCreateRuleFromEntry()
{
    TreeModel* tree = treeModel();
    const QModelIndex index = currentIndex().siblingAtColumn(0);
    if (!tree || typeOf(index) != QLatin1String("entry")) {
        return;
    }
    const QString title = tree->hiddenData(index, QStringLiteral("title")).toString();
    const int appId = tree->hiddenData(index.parent(), QStringLiteral("app_id")).toInt();
    qDebug() << "rule from entry: title: " + title + ", app_id: " + QString::number(appId);
    emit signalCreateRuleFromEntry(appId, title);
}

void TimeTree::onCreateRuleFromApp()
{
    TreeModel* tree = treeModel();
    const QModelIndex index = currentIndex().siblingAtColumn(0);
    if (!tree || typeOf(index) != QLatin1String("app")) {
        return;
    }
    const int appId = tree->hiddenData(index, QStringLiteral("app_id")).toInt();
    qDebug() << "rule from app_id: " + QString::number(appId);
    emit signalCreateRuleFromApp(appId);
}

void TimeTree::onEditAwayEntry()
{
    TreeModel* tree = treeModel();
    const QModelIndex index = currentIndex().siblingAtColumn(0);
    if (!tree || !awayEditor || !index.isValid()) {
        return;
    }
    const QString type = typeOf(index);
    const bool isEntry = type == QLatin1String("entry");
    const bool isAwayApp =
        type == QLatin1String("app") &&
        tree->hiddenData(index, QStringLiteral("app_path")).toString() == QLatin1String("verrin://idle");
    if (!isEntry && !isAwayApp) {
        return;
    }
    const QStringList ids = tree->getItem(index)->entryIdTexts();
    QString title;
    if (!awayEditor(ids, &title) || !isEntry) {
        return;
    }
    if (TreeModel::updateDbEntriesTitle(ids, title)) {
        tree->setHiddenData(index, QStringLiteral("title"), title);
        tree->setData(index, title, Qt::EditRole);
    }
}
