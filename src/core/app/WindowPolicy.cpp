#include "app/WindowPolicy.h"

namespace WindowPolicy {

CloseAction onClose(bool trayUsable, bool closeToTray, bool spontaneous)
{
    if (!trayUsable || !closeToTray) {
        return CloseAction::Close;
    }
    return spontaneous ? CloseAction::HideApplication : CloseAction::HideWindowThenClose;
}

bool hideOnMinimize(bool nowMinimized, bool minimizeToTray, bool spontaneous, bool trayUsable)
{
    return nowMinimized && minimizeToTray && spontaneous && trayUsable;
}

bool quitOnLastWindowClosed(bool closeToTray, bool trayUsable)
{
    return !(closeToTray && trayUsable);
}

bool trayClickShowsWindow(TrayClick click, bool singleClickTrayOpen)
{
    switch (click) {
    case TrayClick::Single:
        return singleClickTrayOpen;
    case TrayClick::Double:
        return !singleClickTrayOpen;
    case TrayClick::Other:
        break;
    }
    return false;
}

int nextFrame(int current, int frameCount)
{
    const int next = current + 1;
    return next > frameCount - 1 ? 0 : next;
}

} // namespace WindowPolicy
