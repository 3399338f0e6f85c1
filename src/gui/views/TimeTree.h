#pragma once

#include "views/DayTreeView.h"

#include <QPoint>

#include <functional>

class Prompter;
class QAction;
class QDrag;
class TreeModel;

// The view of the day's time not yet linked to a task. The user links, deletes, excludes, copies
// and makes rules from here. Dialogs that belong to other parts of the program are reached through
// hooks the main window sets (link, away description) or signals it answers (timestamps).
class TimeTree : public DayTreeView
{
    Q_OBJECT

public:
    // Asks for the task to link `seconds` to; true with a task id (and notes) when the user chose one.
    using LinkChooser = std::function<bool(int seconds, QString* taskId, QString* notes)>;
    // Asks for a description of away time made of these entries; true with the new title when accepted.
    using AwayEditor = std::function<bool(const QStringList& ids, QString* title)>;

    explicit TimeTree(QWidget* parent = nullptr);

    void setLinkChooser(LinkChooser chooser) { linkChooser = std::move(chooser); }
    void setAwayEditor(AwayEditor editor) { awayEditor = std::move(editor); }

    // The context menu for a node: actions in order, null for a separator.
    QList<QAction*> menuActions(const QModelIndex& index) const override;

    // The confirmation text of deleting `count` entries of these applications worth `seconds`.
    static QString deleteQuestion(int count, int seconds, const QStringList& appNames);

public slots:
    void onMenuLink();
    void onMenuExclude();
    void onMenuDelete();
    void onTimestamps();
    void onCopyTitle();
    void onCreateRuleFromEntry();
    void onCreateRuleFromApp();
    void onEditAwayEntry();
    // Linking needs a signed-in session; Ctrl+L and the menu item follow it.
    void setLinkingEnabled(bool enabled);

signals:
    void signalConnectEntriesWithTask(const QStringList& ids, const QString& taskId, const QString& description);
    void signalCreateRuleFromEntry(int appId, const QString& title);
    void signalCreateRuleFromApp(int appId);
    void datesWithZeroTimeChanged();
    // Opens the timestamps dialog; the title is empty for an application node.
    void signalShowTimestamps(const QDate& date, const QString& title, const QString& appPath);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

    // Drags the selected entries (widened to whole applications) as a move; only a move the drop
    // target accepted takes the rows out of this view.
    void startDrag(Qt::DropActions supportedActions) override;
    // Runs the drag and says what the drop target did with it.
    virtual Qt::DropAction execDrag(QDrag* drag);
    // After the drag: the rows that still exist leave the view, with their time, on a move only.
    void finishDrag(Qt::DropAction result, const QList<QPersistentModelIndex>& rows);

    QPoint pressPosition;

private:
    void createActions();
    QAction* makeAction(const QString& name, const QString& text, const QKeySequence& shortcut,
                        void (TimeTree::*slot)());

    QAction* linkAct = nullptr;
    QAction* excludeAct = nullptr;
    QAction* deleteAct = nullptr;
    QAction* expandAct = nullptr;
    QAction* collapseAct = nullptr;
    QAction* detailsAct = nullptr;
    QAction* copyTitleAct = nullptr;
    QAction* ruleFromEntryAct = nullptr;
    QAction* ruleFromAppAct = nullptr;
    QAction* editAwayAct = nullptr;
    LinkChooser linkChooser;
    AwayEditor awayEditor;
    // Set by a left press on a row: moving far enough from there starts a drag.
    bool dragArmed = false;
};
