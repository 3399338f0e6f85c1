#include "views/WholeTextTip.h"

#include <QAbstractItemDelegate>
#include <QAbstractItemView>
#include <QHelpEvent>
#include <QStyleOptionViewItem>
#include <QToolTip>

bool showWholeTextTip(QAbstractItemView* view, QHelpEvent* event, QStyleOptionViewItem option)
{
    const QModelIndex index = view->indexAt(event->pos());
    const QString whole = index.data(kWholeTextRole).toString();
    // A tip of the model's own (a pending link) says more than the title.
    if (whole.isEmpty() || index.data(Qt::ToolTipRole).isValid()) {
        return false;
    }
    option.rect = view->visualRect(index);
    const bool cut = view->itemDelegateForIndex(index)->sizeHint(option, index).width() > option.rect.width();
    if (!cut && whole == index.data(Qt::DisplayRole).toString()) {
        return false;
    }
    // Rich text, so the tip wraps a long title instead of running off the screen.
    const QString tip = QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(whole.toHtmlEscaped());
    QToolTip::showText(event->globalPos(), tip, view->viewport(), option.rect);
    return true;
}
