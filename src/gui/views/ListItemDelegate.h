#pragma once

#include <QStyledItemDelegate>

// Draws a node's share of the day as a bar (column 2 of both day trees), coloured by node type.
class ListItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    static QColor barColor(const QString& type);
    // The bar inside `cell` for `time` seconds of a day of `total` seconds; empty when nothing to draw.
    static QRect barRect(const QRect& cell, int time, int total);
};
