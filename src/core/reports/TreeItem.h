#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <utility>
#include <vector>

// One node of a day tree: a row of visible column values plus a map of hidden values (type, time,
// ids...). A node owns its children; the parent pointer is a plain back reference.
class TreeItem
{
public:
    explicit TreeItem(const QList<QVariant>& data, TreeItem* parent = nullptr);
    ~TreeItem();
    TreeItem(const TreeItem&) = delete;
    TreeItem& operator=(const TreeItem&) = delete;

    TreeItem* child(int row) const;
    int childCount() const;
    int columnCount() const;
    // Place among the parent's children; 0 for the root.
    int row() const;
    TreeItem* parent() const { return parentItem; }

    QVariant data(int column) const;
    bool setData(int column, const QVariant& value);

    // A missing key reads as an invalid value (0 or "" when converted).
    QVariant hiddenData(const QString& key) const;
    // Inserts or overwrites; always true.
    bool setHiddenData(const QString& key, const QVariant& value);
    // Every hidden value, ordered by key.
    QMap<QString, QVariant> allHiddenData() const;

    // The recorded rows (entry ids) an entry node stands for. Kept apart from the hidden values: a
    // busy title gathers thousands of pieces, and an int costs 4 bytes where a variant costs 32.
    const QList<int>& entryIds() const { return entries; }
    QStringList entryIdTexts() const;
    void addEntryIds(const QList<int>& ids) { entries.append(ids); }

    void appendChild(std::unique_ptr<TreeItem> item);
    // Appends a child with the given values and returns it (owned by this item).
    TreeItem* appendChild(const QList<QVariant>& data);
    bool insertChildren(int position, int count, int columns);
    bool removeChildren(int position, int count);

    // Stable sort of the children, then of every child's children with the same arguments.
    void sortChildItems(int column, Qt::SortOrder order);

private:
    std::vector<std::unique_ptr<TreeItem>> childItems;
    QList<QVariant> itemData;
    TreeItem* parentItem;
    // Ordered by key. A node holds a handful of keys, so a sorted vector beats a map: one allocation
    // per node instead of one per key, which counts on days of thousands of nodes.
    std::vector<std::pair<QString, QVariant>> hiddenItemData;
    QList<int> entries;
};
