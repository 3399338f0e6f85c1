#pragma once

#include "views/DayTreeView.h"

class Prompter;
class QAction;
class TreeModel;

// The view of the day's time linked to tasks of the Verrin service (project, task list, task,
// application, entry). Its one action of its own is unlinking.
class EntriesList : public DayTreeView
{
    Q_OBJECT

public:
    explicit EntriesList(QWidget* parent = nullptr);

    // The context menu for a node: actions in order, null for a separator.
    QList<QAction*> menuActions(const QModelIndex& index) const override;

    static QString unlinkQuestion(int count, int seconds);

public slots:
    void onMenuUnlink();

signals:
    void signalUnlinkEntries(const QStringList& ids);

private:
    QAction* unlinkAct = nullptr;
    QAction* expandAct = nullptr;
    QAction* collapseAct = nullptr;
};
