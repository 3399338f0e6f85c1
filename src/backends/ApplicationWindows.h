#pragma once

#include <QApplication>
#include <QWidget>

namespace ApplicationWindows {

// Hides the program's own windows and leaves the tray icon alone. On XEmbed trays (trayer,
// stalonetray, i3bar...) Qt's tray icon is a top-level widget of its own; hiding it with the rest
// would leave a program that records on with no way back to its window.
inline void hide()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (!widget->inherits("QSystemTrayIconSys")) {
            widget->hide();
        }
    }
}

} // namespace ApplicationWindows
