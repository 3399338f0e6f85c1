#include "reports/TreeModel.h"

#include "reports/ItemRoles.h"
#include "store/util.h"

#include <QBrush>
#include <QColor>
#include <QFont>
#include <QGuiApplication>

#include <algorithm>

namespace {
const QString kType = QStringLiteral("type");
const QString kTime = QStringLiteral("time");

// Row numbers from the top of the tree down to the index.
QList<int> rowPath(QModelIndex index)
{
    QList<int> path;
    while (index.isValid()) {
        path.prepend(index.row());
        index = index.parent();
    }
    return path;
}
} // namespace

TreeModel::TreeModel(bool linked, QObject* parent)
    : QAbstractItemModel(parent), rootItem(std::make_unique<TreeItem>(QList<QVariant>{})), displayLinked(linked),
      displayedDate(QDate::currentDate()), iconProvider(&TreeModel::defaultAppIcon)
{
    rootItem = std::make_unique<TreeItem>(headerRow());
}

TreeModel::~TreeModel() = default;

QList<QVariant> TreeModel::headerRow() const
{
    return {displayLinked ? QStringLiteral("Entries linked with Verrin")
                          : QStringLiteral("Entries not linked with Verrin"),
            QStringLiteral("Time"), QString(), QString()};
}

QIcon TreeModel::resourceIcon(const QString& name)
{
    // Without a GUI application (the headless report) icons are never painted; skip loading them.
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        return QIcon();
    }
    // Loading an icon file reads the image; the trees ask for the same few icons over and over.
    static QHash<QString, QIcon> cache;
    auto it = cache.constFind(name);
    if (it == cache.constEnd()) {
        it = cache.insert(name, QIcon(QStringLiteral(":/icons/res/") + name));
    }
    return *it;
}

QIcon TreeModel::defaultAppIcon(const QString& path)
{
    return resourceIcon(path == QLatin1String("verrin://idle") ? QStringLiteral("away.png")
                                                               : QStringLiteral("app.png"));
}

void TreeModel::setIconProvider(IconProvider provider)
{
    iconProvider = provider ? std::move(provider) : IconProvider(&TreeModel::defaultAppIcon);
    iconCache.clear();
}

QIcon TreeModel::appIcon(const QString& path) const
{
    auto it = iconCache.constFind(path);
    if (it != iconCache.constEnd()) {
        return *it;
    }
    QIcon icon = iconProvider(path);
    if (icon.isNull()) {
        icon = defaultAppIcon(path);
    }
    iconCache.insert(path, icon);
    return icon;
}

// ---- item model contract ----

TreeItem* TreeModel::getItem(const QModelIndex& index) const
{
    if (index.isValid()) {
        if (auto* item = static_cast<TreeItem*>(index.internalPointer())) {
            return item;
        }
    }
    return rootItem.get();
}

QModelIndex TreeModel::indexForItem(TreeItem* item, int column) const
{
    if (!item || item == rootItem.get() || !item->parent()) {
        return QModelIndex();
    }
    return createIndex(item->row(), column, item);
}

QModelIndex TreeModel::index(int row, int column, const QModelIndex& parent) const
{
    if (parent.isValid() && parent.column() != 0) {
        return QModelIndex();
    }
    if (row < 0 || column < 0 || column >= columnCount(parent)) {
        return QModelIndex();
    }
    TreeItem* child = getItem(parent)->child(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex TreeModel::parent(const QModelIndex& index) const
{
    if (!index.isValid()) {
        return QModelIndex();
    }
    TreeItem* parentItem = getItem(index)->parent();
    if (!parentItem || parentItem == rootItem.get()) {
        return QModelIndex();
    }
    return createIndex(parentItem->row(), 0, parentItem);
}

int TreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() && parent.column() > 0) {
        return 0;
    }
    return getItem(parent)->childCount();
}

int TreeModel::columnCount(const QModelIndex&) const
{
    return rootItem->columnCount();
}

QVariant TreeModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid()) {
        return QVariant();
    }
    TreeItem* item = getItem(index);
    switch (role) {
    case Qt::DisplayRole:
        return index.column() == 0 ? QVariant(util::one_line(item->data(0).toString())) : item->data(index.column());
    case kWholeTextRole:
        return index.column() == 0 ? item->data(0) : QVariant();
    case Qt::DecorationRole:
        return index.column() == 0 ? item->hiddenData(QStringLiteral("icon")) : QVariant();
    case Qt::TextAlignmentRole:
        return index.column() == 1 ? QVariant(int(Qt::AlignRight)) : QVariant();
    case Qt::ForegroundRole:
        if (isPending(item)) {
            return QBrush(QColor(191, 96, 0));
        }
        // Entry times are grey; summed times keep the normal colour.
        if (index.column() == 1 && item->hiddenData(kType).toString() == QLatin1String("entry")) {
            return QBrush(QColor(127, 127, 127, 255));
        }
        return QVariant();
    case Qt::FontRole:
        if (isPending(item)) {
            QFont font;
            font.setItalic(true);
            return font;
        }
        return QVariant();
    case Qt::ToolTipRole:
        if (isPending(item)) {
            return QStringLiteral("Pending: the service's answer to linking or unlinking this time was lost. "
                                  "File \u2192 Pending Links... settles it.");
        }
        return QVariant();
    default:
        return QVariant();
    }
}

bool TreeModel::isPending(const TreeItem* item) const
{
    if (pendingIds.isEmpty() || item->hiddenData(kType).toString() != QLatin1String("entry")) {
        return false;
    }
    const QList<int>& ids = item->entryIds();
    return std::any_of(ids.cbegin(), ids.cend(), [this](int id) { return pendingIds.contains(id); });
}

Qt::ItemFlags TreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid()) {
        return Qt::NoItemFlags;
    }
    return Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsEnabled;
}

QVariant TreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole) {
        return rootItem->data(section);
    }
    // The first click on the time header puts the most time first; names start from A.
    if (orientation == Qt::Horizontal && role == Qt::InitialSortOrderRole && section == 1) {
        return int(Qt::DescendingOrder);
    }
    return QVariant();
}

bool TreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !index.isValid()) {
        return false;
    }
    const bool result = getItem(index)->setData(index.column(), value);
    if (result) {
        emit dataChanged(index, index);
    }
    return result;
}

bool TreeModel::setHeaderData(int section, Qt::Orientation orientation, const QVariant& value, int role)
{
    if (role != Qt::EditRole || orientation != Qt::Horizontal) {
        return false;
    }
    const bool result = rootItem->setData(section, value);
    if (result) {
        emit headerDataChanged(orientation, section, section);
    }
    return result;
}

bool TreeModel::insertRows(int position, int rows, const QModelIndex& parent)
{
    TreeItem* parentItem = getItem(parent);
    if (rows <= 0 || position < 0 || position > parentItem->childCount()) {
        return false;
    }
    beginInsertRows(parent, position, position + rows - 1);
    const bool success = parentItem->insertChildren(position, rows, rootItem->columnCount());
    endInsertRows();
    return success;
}

bool TreeModel::removeRows(int position, int rows, const QModelIndex& parent)
{
    TreeItem* parentItem = getItem(parent);
    if (rows <= 0 || position < 0 || position + rows > parentItem->childCount()) {
        return false;
    }
    for (int row = position; row < position + rows; ++row) {
        forgetCountedEntries(parentItem->child(row));
    }
    beginRemoveRows(parent, position, position + rows - 1);
    const bool success = parentItem->removeChildren(position, rows);
    endRemoveRows();
    return success;
}

void TreeModel::forgetCountedEntries(TreeItem* item)
{
    // Rows leaving the tree (deleted, linked, unlinked) may come back later through addTime;
    // they must then be counted afresh.
    if (shown.size() == 0 || !item) {
        return;
    }
    revealedTitles.clear(); // what is left of a title may be under the threshold again
    for (int id : item->entryIds()) {
        shown.remove(id);
    }
    for (int i = 0; i < item->childCount(); ++i) {
        forgetCountedEntries(item->child(i));
    }
}

void TreeModel::sort(int column, Qt::SortOrder order)
{
    // A view without a sort column asks for "no sort": the rows keep the order they were built in.
    if (column < 0) {
        return;
    }
    emit sortStarting();
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QList<QPair<TreeItem*, int>> items;
    items.reserve(before.size());
    for (const QModelIndex& index : before) {
        items.append({getItem(index), index.column()});
    }
    rootItem->sortChildItems(column, order);
    QModelIndexList after;
    after.reserve(items.size());
    for (const auto& [item, col] : items) {
        after.append(createIndex(item->row(), col, item));
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    emit collapseAll();
    emit sortDone();
}

QModelIndex TreeModel::appendRow(const QModelIndex& parent, const QList<QVariant>& values)
{
    const int row = rowCount(parent);
    if (!insertRows(row, 1, parent)) {
        return QModelIndex();
    }
    for (int column = 0; column < values.size(); ++column) {
        setData(index(row, column, parent), values.at(column), Qt::EditRole);
    }
    return index(row, 0, parent);
}

QVariant TreeModel::hiddenData(const QModelIndex& index, const QString& key) const
{
    return getItem(index)->hiddenData(key);
}

bool TreeModel::setHiddenData(const QModelIndex& index, const QString& key, const QVariant& value)
{
    const bool result = getItem(index)->setHiddenData(key, value);
    if (result && index.isValid()) {
        emit dataChanged(index, index);
    }
    return result;
}

void TreeModel::clearAll()
{
    if (rowCount() > 0) {
        removeRows(0, rowCount());
    }
}

// ---- finders ----

namespace {
template <typename Match>
TreeItem* walk(TreeItem* start, const QString& type, const Match& match)
{
    for (int i = 0; i < start->childCount(); ++i) {
        TreeItem* child = start->child(i);
        if (child->hiddenData(kType).toString() == type) {
            // Deliberately never look below a node of the wanted type.
            if (match(child)) {
                return child;
            }
            continue;
        }
        if (TreeItem* hit = walk(child, type, match)) {
            return hit;
        }
    }
    return nullptr;
}
} // namespace

TreeItem* TreeModel::findItem(const QString& type, const QString& key, const QString& value, TreeItem* start) const
{
    return walk(start ? start : rootItem.get(), type,
                [&](TreeItem* item) { return item->hiddenData(key).toString() == value; });
}

TreeItem* TreeModel::findEntryItem(const QString& title, TreeItem* start) const
{
    return walk(start ? start : rootItem.get(), QStringLiteral("entry"),
                [&](TreeItem* item) { return item->data(0).toString() == title; });
}

TreeItem* TreeModel::findHourItem(int hour, TreeItem* start) const
{
    return walk(start ? start : rootItem.get(), QStringLiteral("hour"), [&](TreeItem* item) {
        const QVariant value = item->hiddenData(QStringLiteral("hour"));
        return value.isValid() && value.toInt() == hour;
    });
}

TreeItem* TreeModel::findProjectItem(const QString& id, TreeItem* start) const
{
    return findItem(QStringLiteral("project"), QStringLiteral("id"), id, start);
}

TreeItem* TreeModel::findTasklistItem(const QString& id, TreeItem* start) const
{
    return findItem(QStringLiteral("tasklist"), QStringLiteral("id"), id, start);
}

TreeItem* TreeModel::findTaskItem(const QString& id, TreeItem* start) const
{
    return findItem(QStringLiteral("task"), QStringLiteral("id"), id, start);
}

QModelIndex TreeModel::findItemIndex(const QString& type, const QString& key, const QString& value,
                                     const QModelIndex& parent) const
{
    TreeItem* item = nullptr;
    if (type == QLatin1String("hour") && key == QLatin1String("hour")) {
        item = findHourItem(value.toInt(), getItem(parent));
    } else {
        item = findItem(type, key, value, getItem(parent));
    }
    return indexForItem(item);
}

// ---- selection helpers ----

namespace {
bool isType(const TreeItem* item, const char* type)
{
    return item->hiddenData(kType).toString() == QLatin1String(type);
}
} // namespace

int TreeModel::getTimeForSelection(const QModelIndexList& list) const
{
    int seconds = 0;
    for (const QModelIndex& index : list) {
        if (index.column() == 0 && isType(getItem(index), "entry")) {
            seconds += getItem(index)->hiddenData(kTime).toInt();
        }
    }
    return seconds;
}

QStringList TreeModel::getEntriesIdsForSelection(const QModelIndexList& list) const
{
    QStringList ids;
    for (const QModelIndex& index : list) {
        if (index.column() == 0 && isType(getItem(index), "entry")) {
            ids << getItem(index)->entryIdTexts();
        }
    }
    return ids;
}

QModelIndexList TreeModel::extractEntriesFromSelection(const QModelIndexList& list) const
{
    QModelIndexList entries;
    for (const QModelIndex& index : list) {
        if (index.column() == 0 && isType(getItem(index), "entry")) {
            entries << index;
        }
    }
    return entries;
}

namespace {
// The application node of a selected "app" or "entry" node, or null.
TreeItem* applicationOf(TreeItem* item)
{
    if (isType(item, "app")) {
        return item;
    }
    if (isType(item, "entry") && item->parent() && isType(item->parent(), "app")) {
        return item->parent();
    }
    return nullptr;
}
} // namespace

QList<int> TreeModel::extractAppIdsFromSelection(const QModelIndexList& list) const
{
    QList<int> ids;
    for (const QModelIndex& index : list) {
        if (index.column() != 0) {
            continue;
        }
        if (TreeItem* app = applicationOf(getItem(index))) {
            const int id = app->hiddenData(QStringLiteral("app_id")).toInt();
            if (!ids.contains(id)) {
                ids << id;
            }
        }
    }
    return ids;
}

QStringList TreeModel::extractAppNamesFromSelection(const QModelIndexList& list) const
{
    QStringList names;
    for (const QModelIndex& index : list) {
        if (index.column() != 0) {
            continue;
        }
        if (TreeItem* app = applicationOf(getItem(index))) {
            const QString name = app->data(0).toString();
            if (!names.contains(name)) {
                names << name;
            }
        }
    }
    return names;
}

int TreeModel::countItemsInSelectionMatching(const QModelIndexList& list, const QString& key,
                                             const QVariant& value) const
{
    int count = 0;
    for (const QModelIndex& index : list) {
        if (index.column() == 0 && getItem(index)->hiddenData(key) == value) {
            ++count;
        }
    }
    return count;
}

bool TreeModel::modelIndexGreaterThan(const QModelIndex& a, const QModelIndex& b)
{
    // Rows of one parent: the higher row is greater. Elsewhere the ancestors decide, and a node
    // sorts after its own ancestors, so children go before their parents when removing.
    const QList<int> pa = rowPath(a);
    const QList<int> pb = rowPath(b);
    return std::lexicographical_compare(pb.begin(), pb.end(), pa.begin(), pa.end());
}

// ---- time bookkeeping ----

void TreeModel::updateTimeInParentNodes(const QModelIndex& index, int delta)
{
    QModelIndex node = index.parent();
    while (node.isValid()) {
        const int time = hiddenData(node, kTime).toInt() + delta;
        setHiddenData(node, kTime, time);
        setData(node.siblingAtColumn(1), util::format_time(time), Qt::EditRole);
        node = node.parent();
    }
}

void TreeModel::updateTotalTime(int delta)
{
    const bool wasZero = totalTime == 0;
    totalTime += delta;
    emit setTotalTimeText(util::format_time(totalTime));
    if ((wasZero && totalTime > 0) || (!wasZero && totalTime == 0)) {
        emit datesWithZeroTimeChanged();
    }
}

void TreeModel::propagateRemoveRow(const QModelIndex& index)
{
    QModelIndex node = index.siblingAtColumn(0);
    while (node.isValid()) {
        const QModelIndex parentIndex = node.parent();
        removeRows(node.row(), 1, parentIndex);
        if (!parentIndex.isValid() || rowCount(parentIndex) > 0) {
            break;
        }
        node = parentIndex;
    }
}
