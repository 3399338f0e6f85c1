#include "views/ExpandedNodes.h"

#include "reports/TreeModel.h"

#include <QTreeView>

QString ExpandedNodes::nodeKey(const TreeModel* model, const QModelIndex& index)
{
    const QString type = model->hiddenData(index, QStringLiteral("type")).toString();
    if (type == QLatin1String("app")) {
        return model->hiddenData(index, QStringLiteral("app_id")).toString();
    }
    if (type == QLatin1String("hour")) {
        return model->hiddenData(index, QStringLiteral("hour")).toString();
    }
    return model->hiddenData(index, QStringLiteral("id")).toString();
}

ExpandedNodes::List ExpandedNodes::getExpandedNodesList(const QTreeView* view, const TreeModel* model,
                                                        const QModelIndex& parent, const QString& path)
{
    List list;
    for (int row = 0; row < model->rowCount(parent); ++row) {
        const QModelIndex child = model->index(row, 0, parent);
        if (!view->isExpanded(child)) {
            continue;
        }
        const QString childPath = path + QStringLiteral("##") + nodeKey(model, child);
        list.append({model->hiddenData(child, QStringLiteral("type")).toString(), childPath});
        list += getExpandedNodesList(view, model, child, childPath);
    }
    return list;
}

void ExpandedNodes::expandNodesInList(QTreeView* view, const TreeModel* model, const List& list,
                                      const QModelIndex& parent, const QString& path)
{
    for (int row = 0; row < model->rowCount(parent); ++row) {
        const QModelIndex child = model->index(row, 0, parent);
        if (model->rowCount(child) == 0) {
            continue; // entries have no children and are never recorded
        }
        const QString childPath = path + QStringLiteral("##") + nodeKey(model, child);
        if (list.contains({model->hiddenData(child, QStringLiteral("type")).toString(), childPath})) {
            view->expand(child);
        }
        expandNodesInList(view, model, list, child, childPath);
    }
}
