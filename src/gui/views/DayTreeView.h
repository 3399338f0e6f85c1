#pragma once

#include "views/ExpandedNodes.h"

#include <QHash>
#include <QSet>
#include <QTreeView>

class Prompter;
class QAction;
class QMenu;
class TreeModel;

// What the two day trees share: a TreeModel whose expand requests they follow, the open nodes kept
// across sorts, selections widened from applications to their entries and removed bottom-up with
// their time, a yes/no question through the prompter, and a header layout kept under a registry
// prefix ("Unlinked" or "Linked" + "ListState"/"ListGeometry").
class DayTreeView : public QTreeView
{
    Q_OBJECT

public:
    DayTreeView(const QString& layoutPrefix, QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    TreeModel* treeModel() const;
    void setPrompter(Prompter* prompter) { this->prompter = prompter; }
    QAction* action(const QString& objectName) const;
    // The context menu for a node: actions in order, null for a separator.
    virtual QList<QAction*> menuActions(const QModelIndex& index) const = 0;

    // Adds the entries of every selected application to the selection.
    void extendSelection(const QModelIndexList& list);
    // Selects the entry rows that hold any of these entry ids (opening their parents), as the day's
    // timeline picks them; the first one is made current and scrolled to.
    void selectEntries(const QSet<int>& ids);
    // Removes the rows (bottom-up order) and their time from every ancestor; emptied ancestors go too.
    void removeSelection(const QModelIndexList& list);
    void adjustColumnWidth();
    // Makes the time column as wide as its widest text (the title column takes the rest).
    void fitTimeColumn();
    ExpandedNodes::List getExpandedNodesList(const QModelIndex& parent, const QString& path) const;
    void expandNodesInList(const ExpandedNodes::List& list, const QModelIndex& parent, const QString& path);

public slots:
    void saveExpandedNodes();
    void restoreExpandedNodes();

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    // Shows the menu; tests read the menu instead of running it.
    virtual void execMenu(QMenu* menu, const QPoint& position);
    // The selection widened to the entries of selected applications: entry rows only, bottom-up,
    // with their ids, their seconds and how many there are.
    struct EntrySelection
    {
        QModelIndexList rows;
        QStringList ids;
        int seconds = 0;
        int count = 0;
    };
    EntrySelection selectedEntries();
    // The rows leave the tree and their time leaves the ancestors and the total.
    void dropSelection(const EntrySelection& selection);
    bool confirm(const QString& title, const QString& text);

    Prompter* prompter = nullptr;

private:
    // A rebuilt day comes back in the order of the database; the user's sort is put back on it
    // without touching the open nodes the caller is about to restore.
    void resortAfterReset();
    void onSortStarting();
    void onSortDone();
    int timeTextWidth(const QString& text) const;
    int grownTextWidth(const QString& text);
    void growTimeColumn(const QModelIndex& parent, int first, int last);

    QString layoutPrefix;
    ExpandedNodes::List expandedNodes;
    bool quietSort = false;
    QHash<QString, int> shapeWidths; // time text with digits as '0' -> width with the widest digits
    QChar widestDigit;
};
