#include "views/EntriesList.h"

#include "app/Prompter.h"
#include "app/Registry.h"
#include "reports/TreeModel.h"
#include "store/util.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>

#include <algorithm>

EntriesList::EntriesList(QWidget* parent) : DayTreeView(QStringLiteral("Linked"), parent)
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

QList<QAction*> EntriesList::menuActions(const QModelIndex& index) const
{
    unlinkAct->setEnabled(Registry::instance()->isLoggedIn());
    QList<QAction*> actions;
    const QString type =
        index.isValid() && treeModel() ? treeModel()->hiddenData(index, QStringLiteral("type")).toString() : QString();
    if (type == QLatin1String("entry") || type == QLatin1String("app")) {
        actions << unlinkAct << nullptr;
    }
    actions << expandAct << collapseAct;
    return actions;
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
    const EntrySelection selection = selectedEntries();
    if (selection.rows.isEmpty() ||
        !confirm(QStringLiteral("Confirm unlink"), unlinkQuestion(selection.count, selection.seconds))) {
        return;
    }
    emit signalUnlinkEntries(selection.ids);
    dropSelection(selection);
}
