#pragma once

#include "reports/ItemRoles.h"

#include <functional>

class QAbstractItemView;
class QEvent;
class QStyleOptionViewItem;

// For a view's viewportEvent: on a tool-tip request over a cell the view had to cut, or whose line
// breaks it showed as marks, shows the whole text and returns true. Otherwise returns false, and the
// view handles the event as usual. `initOption` is the view's own initViewItemOption (protected).
bool showWholeTextTip(QAbstractItemView* view, QEvent* event,
                      const std::function<void(QStyleOptionViewItem*)>& initOption);
