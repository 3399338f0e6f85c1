#pragma once

#include "views/ItemRoles.h"

class QAbstractItemView;
class QHelpEvent;
class QStyleOptionViewItem;

// Shows the whole text of the cell under the pointer when the view had to cut it or showed its line
// breaks as marks. `option` is the view's own item option (a view fills it with initViewItemOption).
// Returns false when the cell shows everything, so the view handles the event as usual.
bool showWholeTextTip(QAbstractItemView* view, QHelpEvent* event, QStyleOptionViewItem option);
