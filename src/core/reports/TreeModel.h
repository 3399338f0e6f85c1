#pragma once

#include "recording/AppStruct.h"
#include "reports/DayQueries.h"
#include "reports/LinkedNames.h"
#include "reports/ShownRows.h"
#include "reports/TreeItem.h"

#include <QAbstractItemModel>
#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QIcon>
#include <QSet>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>

// The item model of one day's time. One instance holds the time not yet linked to a task, another
// (linked = true) the time linked to tasks of the Verrin service. Every node keeps its own time in
// the hidden "time" value; inner nodes hold the sum of their children, and the model keeps the
// day's total. Building from the database and live addition live in TreeModelBuilding.cpp and
// TreeModelLinked.cpp.
class TreeModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    // Gives the icon of an application from its path; injected so tests and the headless report need
    // no desktop, and the GUI can hand in the platform's icon look-up. A null icon from it falls back
    // to the generic application icon ("verrin://idle": the away icon). Results are cached per path.
    using IconProvider = std::function<QIcon(const QString& path)>;

    explicit TreeModel(bool linked, QObject* parent = nullptr);
    ~TreeModel() override;

    // Item model contract: an invalid index stands for the root; only column 0 has children.
    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    bool setHeaderData(int section, Qt::Orientation orientation, const QVariant& value,
                       int role = Qt::EditRole) override;
    bool insertRows(int position, int rows, const QModelIndex& parent = QModelIndex()) override;
    bool removeRows(int position, int rows, const QModelIndex& parent = QModelIndex()) override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    QModelIndex appendRow(const QModelIndex& parent, const QList<QVariant>& values);
    TreeItem* getItem(const QModelIndex& index) const;
    TreeItem* root() const { return rootItem.get(); }
    // The column-0 index of an item of this model (invalid for the root or null).
    QModelIndex indexForItem(TreeItem* item, int column = 0) const;
    QVariant hiddenData(const QModelIndex& index, const QString& key) const;
    bool setHiddenData(const QModelIndex& index, const QString& key, const QVariant& value);
    void clearAll();

    bool getDisplayLinked() const { return displayLinked; }
    void setDisplayLinked(bool linked) { displayLinked = linked; }
    QDate getDisplayedDate() const { return displayedDate; }
    void setDisplayedDate(const QDate& date) { displayedDate = date; }
    int getTotalTime() const { return totalTime; }

    // The rows behind the tree as it stands (filters, ignored applications and the hide-under
    // threshold applied), each with its start in the day; in no particular order.
    const ShownRows& shownRows() const { return shown; }
    // True while a recorded or linked row is being placed; its changes end with rowPlaced().
    bool isPlacingRow() const { return placingRow; }
    int getHideUnder() const { return hideUnder; }
    void setHideUnder(int seconds) { hideUnder = seconds; }
    bool getGroupByHour() const { return groupByHour; }
    void setGroupByHour(bool on) { groupByHour = on; }
    QString getFilter() const { return filter; }
    void setFilter(const QString& text) { filter = text; }
    void setIconProvider(IconProvider provider);

    // Finders walk depth first in child order and never descend into a node of the wanted type:
    // a node of that type either matches or is skipped with everything below it. Null start = root.
    TreeItem* findItem(const QString& type, const QString& key, const QString& value, TreeItem* start = nullptr) const;
    TreeItem* findEntryItem(const QString& title, TreeItem* start = nullptr) const;
    TreeItem* findHourItem(int hour, TreeItem* start = nullptr) const;
    TreeItem* findProjectItem(const QString& id, TreeItem* start = nullptr) const;
    TreeItem* findTasklistItem(const QString& id, TreeItem* start = nullptr) const;
    TreeItem* findTaskItem(const QString& id, TreeItem* start = nullptr) const;
    QModelIndex findItemIndex(const QString& type, const QString& key, const QString& value,
                              const QModelIndex& parent = QModelIndex()) const;

    // Selection helpers: only column-0 indexes count, so a selected row counts once.
    int getTimeForSelection(const QModelIndexList& list) const;
    QStringList getEntriesIdsForSelection(const QModelIndexList& list) const;
    QModelIndexList extractEntriesFromSelection(const QModelIndexList& list) const;
    QList<int> extractAppIdsFromSelection(const QModelIndexList& list) const;
    QStringList extractAppNamesFromSelection(const QModelIndexList& list) const;
    int countItemsInSelectionMatching(const QModelIndexList& list, const QString& key, const QVariant& value) const;
    // Bottom-up order for deleting: removing a greater index never shifts a smaller one.
    static bool modelIndexGreaterThan(const QModelIndex& a, const QModelIndex& b);

    // Time bookkeeping.
    void updateTimeInParentNodes(const QModelIndex& index, int delta);
    void updateTotalTime(int delta);
    // Removes the row and then every ancestor left without children (never the root).
    void propagateRemoveRow(const QModelIndex& index);

    // Day building (unlinked and linked).
    void initTree(const QDate& date, int hideUnder);
    void refreshTree();
    void setupModelData(const QDate& date, int hideUnder, TreeItem* parent);
    // Adds one piece of recorded time (row entryId of application appId). Each entry id is counted
    // once: a second call for the same id adds only the difference to the seconds already counted
    // for it, and an entry read from the database when the day was built counts as counted.
    void addTime(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId, int entryId);
    int getTotalTimeForTitle(const QDate& date, const QString& title, int appId, bool linked) const;
    QStringList getEntriesWithTitle(const QDate& date, const QString& title, int appId, bool linked) const;
    static bool updateDbEntriesTitle(const QStringList& ids, const QString& title);
    static bool deleteDbEntries(const QStringList& ids);

    // Linked tree: project, task list, task, application, entry.
    void addLinkedTime(int entryId, const QString& taskId);
    // Maps with the keys id, application_id, app_path, app_name, title, start_time, end_time.
    void addLinkedTimeBatch(const QList<QVariantMap>& entries, const QString& taskId);

    static QIcon resourceIcon(const QString& name);
    static QIcon defaultAppIcon(const QString& path);

signals:
    void sortStarting();
    void sortDone();
    void datesWithZeroTimeChanged();
    void setTotalTimeText(const QString& text);
    void collapseAll();
    void expandToDepth(int depth);
    void expandAll();
    void expandNode(const QModelIndex& index);
    // One row went into the tree (or its time grew) without a rebuild: views that follow the rows
    // themselves can take just this one instead of reading them all again.
    void rowPlaced(const DayRow& row);

private:
    bool isPending(const TreeItem* item) const;

    friend class TreeBuilder;

    QList<QVariant> headerRow() const;
    QIcon appIcon(const QString& path) const;
    bool isIgnored(const QString& appPath) const;
    bool titleMatchesFilter(const QString& title, const QString& appName) const;
    // Live additions (index based, so views follow every change).
    QModelIndex childNode(const QModelIndex& parent, const QString& type, const QString& key, const QVariant& value,
                          const QString& name, const QIcon& icon, bool* created = nullptr);
    QModelIndex linkedTaskNode(const DayRow& row, const LinkedNames& names);
    // Adds a row, or all still hidden rows of its title once the title reaches the threshold.
    void addLiveRow(const DayRow& row, const LinkedNames* names);
    void placeLiveRow(const DayRow& row, const LinkedNames* names);
    void placeLiveRowInTree(const DayRow& row, const LinkedNames* names);
    // Shows the row below the application node; counts each id once.
    void placeEntry(const QModelIndex& appIndex, const DayRow& row);
    void forgetCountedEntries(TreeItem* item);

    std::unique_ptr<TreeItem> rootItem;
    bool displayLinked;
    QDate displayedDate;
    int totalTime = 0;
    int hideUnder = 0;
    bool groupByHour = false;
    QString filter;
    IconProvider iconProvider;
    mutable QHash<QString, QIcon> iconCache;
    ShownRows shown;
    // Titles of the day whose time reached the "hide under" threshold, so all their pieces are in the
    // tree: a new piece of one goes in directly, without summing the day's pieces again (which, on a
    // busy day, read thousands of rows at every window switch).
    QSet<QPair<int, QString>> revealedTitles;
    bool placingRow = false;
    // Rows whose link or unlink waits for a lost answer; shown apart so nobody takes them as settled.
    QSet<int> pendingIds;
};
