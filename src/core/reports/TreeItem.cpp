#include "reports/TreeItem.h"

#include <algorithm>

TreeItem::TreeItem(const QList<QVariant>& data, TreeItem* parent) : itemData(data), parentItem(parent) {}

TreeItem::~TreeItem() = default;

TreeItem* TreeItem::child(int row) const
{
    if (row < 0 || row >= childCount()) {
        return nullptr;
    }
    return childItems[static_cast<size_t>(row)].get();
}

int TreeItem::childCount() const
{
    return static_cast<int>(childItems.size());
}

int TreeItem::columnCount() const
{
    return static_cast<int>(itemData.size());
}

int TreeItem::row() const
{
    if (!parentItem) {
        return 0;
    }
    const auto& siblings = parentItem->childItems;
    const auto it = std::find_if(siblings.begin(), siblings.end(),
                                 [this](const std::unique_ptr<TreeItem>& item) { return item.get() == this; });
    return it == siblings.end() ? 0 : static_cast<int>(it - siblings.begin());
}

QVariant TreeItem::data(int column) const
{
    return itemData.value(column);
}

bool TreeItem::setData(int column, const QVariant& value)
{
    if (column < 0 || column >= itemData.size()) {
        return false;
    }
    itemData[column] = value;
    return true;
}

namespace {
template <typename Vector>
auto lowerBound(Vector& data, const QString& key)
{
    return std::lower_bound(
        data.begin(), data.end(), key,
        [](const std::pair<QString, QVariant>& entry, const QString& k) { return entry.first < k; });
}
} // namespace

QVariant TreeItem::hiddenData(const QString& key) const
{
    const auto it = lowerBound(hiddenItemData, key);
    return it != hiddenItemData.end() && it->first == key ? it->second : QVariant();
}

bool TreeItem::setHiddenData(const QString& key, const QVariant& value)
{
    if (hiddenItemData.empty()) {
        hiddenItemData.reserve(6);
    }
    const auto it = lowerBound(hiddenItemData, key);
    if (it != hiddenItemData.end() && it->first == key) {
        it->second = value;
    } else {
        hiddenItemData.insert(it, {key, value});
    }
    return true;
}

QStringList TreeItem::entryIdTexts() const
{
    QStringList texts;
    texts.reserve(entries.size());
    for (int id : entries) {
        texts << QString::number(id);
    }
    return texts;
}

QMap<QString, QVariant> TreeItem::allHiddenData() const
{
    QMap<QString, QVariant> map;
    for (const auto& [key, value] : hiddenItemData) {
        map.insert(key, value);
    }
    return map;
}

void TreeItem::appendChild(std::unique_ptr<TreeItem> item)
{
    item->parentItem = this;
    childItems.push_back(std::move(item));
}

TreeItem* TreeItem::appendChild(const QList<QVariant>& data)
{
    childItems.push_back(std::make_unique<TreeItem>(data, this));
    return childItems.back().get();
}

bool TreeItem::insertChildren(int position, int count, int columns)
{
    if (position < 0 || position > childCount() || count < 0) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        QList<QVariant> data;
        data.resize(columns);
        childItems.insert(childItems.begin() + position, std::make_unique<TreeItem>(data, this));
    }
    return true;
}

bool TreeItem::removeChildren(int position, int count)
{
    if (position < 0 || count < 0 || position + count > childCount()) {
        return false;
    }
    childItems.erase(childItems.begin() + position, childItems.begin() + position + count);
    return true;
}

void TreeItem::sortChildItems(int column, Qt::SortOrder order)
{
    const bool ascending = order == Qt::AscendingOrder;
    auto less = [column, ascending](const std::unique_ptr<TreeItem>& a, const std::unique_ptr<TreeItem>& b) {
        if (column == 0) {
            const int cmp = QString::compare(a->data(0).toString(), b->data(0).toString(), Qt::CaseInsensitive);
            return ascending ? cmp < 0 : cmp > 0;
        }
        const int ta = a->hiddenData(QStringLiteral("time")).toInt();
        const int tb = b->hiddenData(QStringLiteral("time")).toInt();
        return ascending ? ta < tb : ta > tb;
    };
    std::stable_sort(childItems.begin(), childItems.end(), less);
    for (auto& item : childItems) {
        item->sortChildItems(column, order);
    }
}
