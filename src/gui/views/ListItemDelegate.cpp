#include "views/ListItemDelegate.h"

#include "reports/TreeModel.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

namespace {
constexpr int kMargin = 3;
}

QColor ListItemDelegate::barColor(const QString& type)
{
    if (type == QLatin1String("entry")) {
        return QColor(207, 207, 207);
    }
    if (type == QLatin1String("task")) {
        return QColor(0, 94, 94);
    }
    if (type == QLatin1String("tasklist")) {
        return QColor(37, 133, 184);
    }
    if (type == QLatin1String("project")) {
        return QColor(166, 55, 78);
    }
    return QColor(0, 168, 0);
}

QRect ListItemDelegate::barRect(const QRect& cell, int time, int total)
{
    const QRect usable = cell.adjusted(kMargin, kMargin, -kMargin, -kMargin);
    if (total <= 0 || time <= 0 || usable.width() <= 0 || usable.height() <= 0) {
        return QRect();
    }
    const double share = std::min(1.0, double(time) / double(total));
    const int width = int(usable.width() * share + 0.5);
    return width > 0 ? QRect(usable.left(), usable.top(), width, usable.height()) : QRect();
}

void ListItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, widget);

    const auto* model = qobject_cast<const TreeModel*>(index.model());
    if (!model) {
        return;
    }
    const int time = model->hiddenData(index, QStringLiteral("time")).toInt();
    const QRect bar = barRect(option.rect, time, model->getTotalTime());
    if (bar.isEmpty()) {
        return;
    }
    painter->save();
    painter->fillRect(bar, barColor(model->hiddenData(index, QStringLiteral("type")).toString()));
    painter->restore();
}
