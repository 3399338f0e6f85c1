// Dropping recorded time on a task of the projects tree.
#include "app/Registry.h"
#include "store/util.h"
#include "verrin/EntriesDragPayload.h"
#include "verrin/LinkTimeDialog.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ProjectsTree.h"

#include <QDebug>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QPersistentModelIndex>

namespace {
const QString kTaskKind = QStringLiteral("task");
} // namespace

void ProjectsTree::initDropTarget()
{
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DropOnly);
    setDropIndicatorShown(true);
    // The whole row of a task is its drop zone: no "between two items" positions.
    setDragDropOverwriteMode(true);
}

QStringList ProjectsTree::mimeTypes() const
{
    return {EntriesDragPayload::mimeType()};
}

Qt::DropActions ProjectsTree::supportedDropActions() const
{
    return Qt::MoveAction;
}

bool ProjectsTree::acceptsDrop(const QTreeWidgetItem* item, const QMimeData* data) const
{
    // Linking needs a session; the tree may still show the catalogue after signing out fails.
    return item && data && data->hasFormat(EntriesDragPayload::mimeType()) && kindOf(item) == kTaskKind &&
           Registry::instance()->isLoggedIn();
}

void ProjectsTree::dragEnterEvent(QDragEnterEvent* event)
{
    QTreeWidget::dragEnterEvent(event);
    // Entering over a project is fine as long as the payload is ours: a widget that refuses the
    // enter gets no move events, so the move events decide item by item.
    if (event->mimeData() && event->mimeData()->hasFormat(EntriesDragPayload::mimeType())) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void ProjectsTree::dragMoveEvent(QDragMoveEvent* event)
{
    QTreeWidget::dragMoveEvent(event); // scrolling and expanding while hovering
    QTreeWidgetItem* item = itemAt(event->position().toPoint());
    if (acceptsDrop(item, event->mimeData())) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void ProjectsTree::dragLeaveEvent(QDragLeaveEvent* event)
{
    QTreeWidget::dragLeaveEvent(event);
}

void ProjectsTree::dropEvent(QDropEvent* event)
{
    stopAutoScroll();
    setState(NoState);
    viewport()->update();

    // The item under the pointer at the moment of the drop: the criteria are checked against it,
    // so it is the task the time goes to (the dialog may still change that).
    QTreeWidgetItem* item = itemAt(event->position().toPoint());
    if (!acceptsDrop(item, event->mimeData())) {
        qDebug() << "ignoring drop: doesn't match criteria";
        event->setDropAction(Qt::IgnoreAction);
        event->ignore();
        clearDialogValues();
        return;
    }
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        qDebug() << "CTRL Pressed";
        // The dialog runs its own event loop; a catalogue refresh meanwhile may rebuild the items.
        const QPersistentModelIndex target(indexFromItem(item));
        if (!askLinkDetails(item, event->mimeData())) {
            event->setDropAction(Qt::IgnoreAction);
            event->ignore();
            clearDialogValues();
            return;
        }
        item = itemFromIndex(target);
    }
    const bool linked = dropMimeData(item, 0, event->mimeData(), Qt::MoveAction);
    clearDialogValues();
    if (linked) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
    } else {
        event->setDropAction(Qt::IgnoreAction);
        event->ignore();
    }
}

bool ProjectsTree::askLinkDetails(const QTreeWidgetItem* item, const QMimeData* data)
{
    EntriesDragPayload payload;
    if (!payload.fromMimeData(data) || payload.entryIds.isEmpty()) {
        return false;
    }
    int projectId = 0;
    int taskId = 0;
    idsOf(item, &projectId, nullptr, &taskId);

    LinkTimeDialog dialog(this);
    dialog.populateData(Registry::instance()->catalogue());
    dialog.projectId = projectId;
    dialog.taskId = taskId;
    dialog.notes = payload.notes;
    dialog.timeText = util::format_time(payload.seconds);
    dialog.putData();
    if (dialog.exec() != QDialog::Accepted) {
        qDebug() << "dialog CANCEL";
        return false;
    }
    dialog.getData();
    qDebug().noquote() << "from dialog: notes: " + dialog.notes + ", project: " + QString::number(dialog.projectId) +
                              ", task: " + QString::number(dialog.taskId);
    if (dialog.taskId == 0) {
        qDebug() << "no task selected - CANCEL";
        return false;
    }
    dialogProjectId = dialog.projectId;
    dialogTaskId = dialog.taskId;
    dialogNotes = dialog.notes;
    return true;
}

bool ProjectsTree::dropMimeData(QTreeWidgetItem* parent, int /*index*/, const QMimeData* data,
                                Qt::DropAction /*action*/)
{
    EntriesDragPayload payload;
    if (!payload.fromMimeData(data) || payload.entryIds.isEmpty()) {
        return false;
    }
    QString taskId = QString::number(idOf(parent));
    QString notes = payload.notes;
    if (dialogProjectId != 0 && dialogTaskId != 0) {
        taskId = QString::number(dialogTaskId);
        notes = dialogNotes;
    } else if (kindOf(parent) != kTaskKind) {
        return false;
    }
    emit signalConnectEntriesWithTask(payload.entryIds, taskId, notes);
    return true;
}

void ProjectsTree::clearDialogValues()
{
    dialogProjectId = 0;
    dialogTaskId = 0;
    dialogNotes.clear();
}
