#include "views/WholeTextTip.h"

#include <QAbstractItemDelegate>
#include <QAbstractItemView>
#include <QHelpEvent>
#include <QStyleOptionViewItem>
#include <QToolTip>

bool showWholeTextTip(QAbstractItemView* view, QEvent* event,
                      const std::function<void(QStyleOptionViewItem*)>& initOption)
{
    if (event->type() != QEvent::ToolTip) {
        return false;
    }
    const auto* help = static_cast<QHelpEvent*>(event);
    const QModelIndex index = view->indexAt(help->pos());
    const QString whole = index.data(kWholeTextRole).toString();
    // A tip of the model's own (a pending link) says more than the title.
    if (whole.isEmpty() || index.data(Qt::ToolTipRole).isValid()) {
        return false;
    }
    QStyleOptionViewItem option;
    initOption(&option);
    option.rect = view->visualRect(index);
    const bool cut = view->itemDelegateForIndex(index)->sizeHint(option, index).width() > option.rect.width();
    if (!cut && whole == index.data(Qt::DisplayRole).toString()) {
        return false;
    }
    // Rich text, so the tip wraps a long title instead of running off the screen.
    const QString tip = QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(whole.toHtmlEscaped());
    QToolTip::showText(help->globalPos(), tip, view->viewport(), option.rect);
    return true;
}
