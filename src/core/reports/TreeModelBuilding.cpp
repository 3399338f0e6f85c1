// Building a day's tree from the database and adding time to it while the program runs.
#include "app/Registry.h"
#include "reports/TreeModel.h"
#include "store/util.h"
#include "verrin/LinkJournal.h"

#include <QDebug>
#include <QHash>
#include <QScopedValueRollback>
#include <QSet>

#include <vector>

namespace {
const QString kType = QStringLiteral("type");
const QString kTime = QStringLiteral("time");

QString hourTitle(int hour)
{
    return QStringLiteral("%1:00 - %2:00").arg(hour).arg(hour + 1);
}

QList<QVariant> nodeRow(const QString& name, int seconds)
{
    return {name, util::format_time(seconds), QVariant(), QVariant()};
}
} // namespace

// Fills a tree from the rows of a day. Nodes are looked up by key per parent while building, and
// times, time texts and id lists are written once per node at the end rather than once per row:
// the heaviest days hold thousands of rows. The finders' walk is used only when the tree was not
// empty to begin with.
class TreeBuilder
{
public:
    TreeBuilder(TreeModel& model, TreeItem* root)
        : model(model), startedEmpty(root->childCount() == 0), hourIcon(TreeModel::resourceIcon("hour.png")),
          projectIcon(TreeModel::resourceIcon("project.png")), tasklistIcon(TreeModel::resourceIcon("tasklist.png")),
          taskIcon(TreeModel::resourceIcon("task.png"))
    {
        nodes.push_back(makeNode(root, false));
        for (int hour = 0; hour < 24; ++hour) {
            hourKeys[hour] = QString::number(hour);
        }
    }

    void addRow(const DayRow& row, const LinkedNames* names)
    {
        int path[5];
        int depth = 0;
        int parent = 0;
        if (names) {
            const QString projectId = names->parentProject(row.taskId, row.projectId);
            const QString tasklistId = names->parentTasklist(row.taskId, row.tasklistId);
            parent = path[depth++] = child(
                parent, projectId, QStringLiteral("project"), QStringLiteral("id"), projectId,
                [&] { return names->projectName(projectId, row.projectName); }, [this] { return projectIcon; });
            parent = path[depth++] = child(
                parent, tasklistId, QStringLiteral("tasklist"), QStringLiteral("id"), tasklistId,
                [&] { return names->tasklistName(tasklistId, row.tasklistName); }, [this] { return tasklistIcon; });
            parent = path[depth++] = child(
                parent, row.taskId, QStringLiteral("task"), QStringLiteral("id"), row.taskId,
                [&] { return names->taskName(row.taskId, row.taskName); }, [this] { return taskIcon; });
        } else if (model.groupByHour) {
            const int hour = qBound(0, row.hour, 23);
            parent = path[depth++] = child(
                parent, hourKeys[hour], QStringLiteral("hour"), QStringLiteral("hour"), hour,
                [hour] { return hourTitle(hour); }, [this] { return hourIcon; });
        }
        const int before = int(nodes.size());
        parent = path[depth++] = child(
            parent, row.appPath, QStringLiteral("app"), QStringLiteral("app_path"), row.appPath,
            [&] { return row.appName; }, [&] { return model.appIcon(row.appPath); });
        if (int(nodes.size()) > before && nodes[parent].created) {
            nodes[parent].item->setHiddenData(QStringLiteral("app_id"), row.appId);
        }
        const int entry = path[depth++] = entryNode(parent, row.title);
        nodes[entry].ids.append(row.id);
        for (int i = 0; i < depth; ++i) {
            nodes[path[i]].seconds += row.seconds;
        }
        model.shown.insert(row);
        model.totalTime += row.seconds;
    }

    // Writes the gathered times and ids into the nodes.
    void finish()
    {
        for (size_t i = 1; i < nodes.size(); ++i) {
            Node& node = nodes[i];
            const int time = node.item->hiddenData(kTime).toInt() + node.seconds;
            node.item->setHiddenData(kTime, time);
            node.item->setData(1, util::format_time(time));
            node.item->addEntryIds(node.ids);
        }
    }

private:
    struct Node
    {
        TreeItem* item = nullptr;
        bool created = false;
        int seconds = 0;
        QList<int> ids;
        QHash<QString, int> children;
    };

    // Name and icon are asked for only when the node is new: most rows land in nodes that exist.
    template <typename Name, typename Icon>
    int child(int parent, const QString& keyText, const QString& type, const QString& key, const QVariant& value,
              const Name& name, const Icon& icon)
    {
        const auto found = nodes[parent].children.constFind(keyText);
        if (found != nodes[parent].children.constEnd()) {
            return *found;
        }
        TreeItem* parentItem = nodes[parent].item;
        TreeItem* item = nullptr;
        if (!startedEmpty) {
            item = type == QLatin1String("hour") ? model.findHourItem(value.toInt(), parentItem)
                                                 : model.findItem(type, key, keyText, parentItem);
        }
        const bool created = !item;
        if (created) {
            item = parentItem->appendChild({name(), QString(), QVariant(), QVariant()});
            item->setHiddenData(kType, type);
            item->setHiddenData(key, value);
            item->setHiddenData(kTime, 0);
            item->setHiddenData(QStringLiteral("icon"), icon());
        }
        return add(parent, keyText, item, created);
    }

    int entryNode(int app, const QString& title)
    {
        const auto found = nodes[app].children.constFind(title);
        if (found != nodes[app].children.constEnd()) {
            return *found;
        }
        TreeItem* item = startedEmpty ? nullptr : model.findEntryItem(title, nodes[app].item);
        const bool created = !item;
        if (created) {
            item = nodes[app].item->appendChild({title, QString(), QVariant(), QVariant()});
            item->setHiddenData(kType, QStringLiteral("entry"));
            item->setHiddenData(kTime, 0);
            item->setHiddenData(QStringLiteral("title"), title);
        }
        return add(app, title, item, created);
    }

    static Node makeNode(TreeItem* item, bool created)
    {
        Node node;
        node.item = item;
        node.created = created;
        return node;
    }

    int add(int parent, const QString& keyText, TreeItem* item, bool created)
    {
        const int index = int(nodes.size());
        nodes.push_back(makeNode(item, created));
        nodes[parent].children.insert(keyText, index);
        return index;
    }

    TreeModel& model;
    bool startedEmpty;
    QIcon hourIcon;
    QIcon projectIcon;
    QIcon tasklistIcon;
    QIcon taskIcon;
    QString hourKeys[24];
    std::vector<Node> nodes;
};

bool TreeModel::isIgnored(const QString& appPath) const
{
    return Registry::instance()->ignoredApps().contains(appPath);
}

bool TreeModel::titleMatchesFilter(const QString& title, const QString& appName) const
{
    if (filter.isEmpty()) {
        return true;
    }
    const QStringList words = util::extractWords(filter);
    for (const QString& word : words) {
        if (!title.contains(word, Qt::CaseInsensitive) && !appName.contains(word, Qt::CaseInsensitive)) {
            return false;
        }
    }
    return true;
}

void TreeModel::initTree(const QDate& date, int threshold)
{
    beginResetModel();
    displayedDate = date;
    hideUnder = threshold;
    totalTime = 0;
    shown.clear();
    revealedTitles.clear();
    pendingIds = LinkJournal::pendingEntryIds();
    rootItem = std::make_unique<TreeItem>(headerRow());
    setupModelData(date, threshold, rootItem.get());
    endResetModel();
}

void TreeModel::refreshTree()
{
    // A reset, not a removal of every row first: removing thousands of rows one notification at a
    // time cost more than building the new day.
    initTree(displayedDate, hideUnder);
}

void TreeModel::setupModelData(const QDate& date, int threshold, TreeItem* parent)
{
    const QStringList ignoredList = Registry::instance()->ignoredApps();
    const QSet<QString> ignored(ignoredList.begin(), ignoredList.end());
    const LinkedNames names = displayLinked ? LinkedNames::fromRegistry() : LinkedNames();
    TreeBuilder builder(*this, parent);
    QString error;
    DayQueries::readDay(
        date, displayLinked, threshold, filter,
        [&](const DayRow& row) {
            if (!ignored.contains(row.appPath)) {
                builder.addRow(row, displayLinked ? &names : nullptr);
            }
        },
        &error);
    builder.finish();
    emit setTotalTimeText(util::format_time(totalTime));
}

void TreeModel::addTime(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId, int entryId)
{
    // Recorded time is never linked yet; only the unlinked tree shows it, and only on its own day.
    if (displayLinked || isIgnored(app.path) || !start.isValid() || start.date() != displayedDate) {
        return;
    }
    if (!titleMatchesFilter(app.title, app.name)) {
        return;
    }
    // The recorder already holds the application's icon; later rebuilds reuse it.
    if (!app.icon.isNull() && !iconCache.contains(app.path)) {
        iconCache.insert(app.path, app.icon);
    }
    DayRow row;
    row.id = entryId;
    row.appId = appId;
    row.appPath = app.path;
    row.appName = app.name;
    row.title = app.title;
    row.setTimes(start, end);
    addLiveRow(row, nullptr);
}

void TreeModel::addLiveRow(const DayRow& row, const LinkedNames* names)
{
    const QPair<int, QString> title(row.appId, row.title);
    if (hideUnder < 1 || shown.contains(row.id) || revealedTitles.contains(title)) {
        placeLiveRow(row, names);
        return;
    }
    const int total = getTotalTimeForTitle(displayedDate, row.title, row.appId, displayLinked);
    if (total < hideUnder) {
        if (displayLinked) {
            qDebug() << "existing time: " << total << " is still under limit: " << hideUnder;
        }
        return;
    }
    // The title has reached the threshold: its earlier pieces were hidden until now, so all of them
    // come in, each where a rebuild of the day would put it. Pieces already shown are not counted again.
    revealedTitles.insert(title);
    bool placedRow = false;
    const QList<DayRow> rows = DayQueries::rowsWithTitle(displayedDate, row.title, row.appId, displayLinked);
    for (DayRow other : rows) {
        if (shown.contains(other.id) || isIgnored(row.appPath)) {
            continue;
        }
        if (other.id == row.id) {
            other = row;
            placedRow = true;
        } else {
            other.appPath = row.appPath;
            other.appName = row.appName;
        }
        placeLiveRow(other, names);
    }
    if (!placedRow) {
        placeLiveRow(row, names);
    }
}

QModelIndex TreeModel::childNode(const QModelIndex& parent, const QString& type, const QString& key,
                                 const QVariant& value, const QString& name, const QIcon& icon, bool* created)
{
    TreeItem* item = type == QLatin1String("hour") ? findHourItem(value.toInt(), getItem(parent))
                                                   : findItem(type, key, value.toString(), getItem(parent));
    if (created) {
        *created = !item;
    }
    if (item) {
        return indexForItem(item);
    }
    const QModelIndex index = appendRow(parent, nodeRow(name, 0));
    TreeItem* node = getItem(index);
    node->setHiddenData(kType, type);
    node->setHiddenData(key, value);
    node->setHiddenData(kTime, 0);
    node->setHiddenData(QStringLiteral("icon"), icon);
    emit dataChanged(index, index);
    emit expandNode(index);
    return index;
}

void TreeModel::placeLiveRow(const DayRow& row, const LinkedNames* names)
{
    {
        const QScopedValueRollback<bool> placing(placingRow, true);
        placeLiveRowInTree(row, names);
    }
    emit rowPlaced(row);
}

void TreeModel::placeLiveRowInTree(const DayRow& row, const LinkedNames* names)
{
    QModelIndex parent;
    if (names) {
        parent = linkedTaskNode(row, *names);
    } else if (groupByHour) {
        const int hour = row.hour;
        parent = childNode(QModelIndex(), QStringLiteral("hour"), QStringLiteral("hour"), hour, hourTitle(hour),
                           resourceIcon(QStringLiteral("hour.png")));
    }
    bool created = false;
    const QModelIndex app = childNode(parent, QStringLiteral("app"), QStringLiteral("app_path"), row.appPath,
                                      row.appName, appIcon(row.appPath), &created);
    if (created) {
        getItem(app)->setHiddenData(QStringLiteral("app_id"), row.appId);
    }
    placeEntry(app, row);
}

void TreeModel::placeEntry(const QModelIndex& appIndex, const DayRow& row)
{
    const QString& title = row.title;
    const int entryId = row.id;
    const int seconds = row.seconds;
    TreeItem* entry = findEntryItem(title, getItem(appIndex));
    const bool counted = shown.contains(entryId);
    int delta = seconds - shown.value(entryId).seconds;
    shown.insert(row);
    QModelIndex index;
    if (entry) {
        index = indexForItem(entry);
        if (!counted) {
            entry->addEntryIds({entryId});
            emit dataChanged(index, index);
        }
        if (delta == 0) {
            return;
        }
        const int time = entry->hiddenData(kTime).toInt() + delta;
        setHiddenData(index, kTime, time);
        setData(index.siblingAtColumn(1), util::format_time(time), Qt::EditRole);
    } else {
        index = appendRow(appIndex, nodeRow(title, seconds));
        TreeItem* node = getItem(index);
        node->setHiddenData(kType, QStringLiteral("entry"));
        node->addEntryIds({entryId});
        node->setHiddenData(kTime, seconds);
        node->setHiddenData(QStringLiteral("title"), title);
        emit dataChanged(index, index);
        delta = seconds;
    }
    updateTimeInParentNodes(index, delta);
    updateTotalTime(delta);
}

int TreeModel::getTotalTimeForTitle(const QDate& date, const QString& title, int appId, bool linked) const
{
    return DayQueries::totalTimeForTitle(date, title, appId, linked, filter);
}

QStringList TreeModel::getEntriesWithTitle(const QDate& date, const QString& title, int appId, bool linked) const
{
    QStringList ids;
    for (const DayRow& row : DayQueries::rowsWithTitle(date, title, appId, linked)) {
        ids << QString::number(row.id);
    }
    return ids;
}

bool TreeModel::updateDbEntriesTitle(const QStringList& ids, const QString& title)
{
    return DayQueries::updateEntriesTitle(ids, title);
}

bool TreeModel::deleteDbEntries(const QStringList& ids)
{
    return DayQueries::deleteEntries(ids);
}

// ---- linked tree ----

QModelIndex TreeModel::linkedTaskNode(const DayRow& row, const LinkedNames& names)
{
    const QString projectId = names.parentProject(row.taskId, row.projectId);
    const QString tasklistId = names.parentTasklist(row.taskId, row.tasklistId);
    const QModelIndex project =
        childNode(QModelIndex(), QStringLiteral("project"), QStringLiteral("id"), projectId,
                  names.projectName(projectId, row.projectName), resourceIcon(QStringLiteral("project.png")));
    const QModelIndex tasklist =
        childNode(project, QStringLiteral("tasklist"), QStringLiteral("id"), tasklistId,
                  names.tasklistName(tasklistId, row.tasklistName), resourceIcon(QStringLiteral("tasklist.png")));
    return childNode(tasklist, QStringLiteral("task"), QStringLiteral("id"), row.taskId,
                     names.taskName(row.taskId, row.taskName), resourceIcon(QStringLiteral("task.png")));
}

void TreeModel::addLinkedTime(int entryId, const QString& taskId)
{
    if (!displayLinked) {
        qDebug() << "add linked time disabled for Unlinked Entries List";
        return;
    }
    DayRow row;
    if (!DayQueries::readEntry(entryId, &row)) {
        qDebug() << "no entry" << entryId << "for addLinkedTime";
        return;
    }
    if (row.day != displayedDate || isIgnored(row.appPath)) {
        return;
    }
    row.taskId = taskId;
    const LinkedNames names = LinkedNames::fromRegistry();
    addLiveRow(row, &names);
}

void TreeModel::addLinkedTimeBatch(const QList<QVariantMap>& entries, const QString& taskId)
{
    if (!displayLinked) {
        qDebug() << "add linked time disabled for Unlinked Entries List";
        return;
    }
    if (entries.isEmpty()) {
        qDebug() << "no entries in addLinkedTimeBatch";
        return;
    }
    const LinkedNames names = LinkedNames::fromRegistry();
    for (const QVariantMap& entry : entries) {
        DayRow row;
        row.id = entry.value(QStringLiteral("id")).toInt();
        row.appId = entry.value(QStringLiteral("application_id")).toInt();
        row.appPath = entry.value(QStringLiteral("app_path")).toString();
        row.appName = entry.value(QStringLiteral("app_name")).toString();
        row.title = entry.value(QStringLiteral("title")).toString();
        row.setTimes(entry.value(QStringLiteral("start_time")).toString(),
                     entry.value(QStringLiteral("end_time")).toString());
        row.taskId = taskId;
        // Linked time of another day (rules work on date ranges) shows when that day is shown.
        if (row.day != displayedDate || isIgnored(row.appPath)) {
            continue;
        }
        addLiveRow(row, &names);
    }
}
