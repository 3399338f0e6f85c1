#pragma once

// The decisions behind closing and minimising the main window, kept apart from the window so they
// can be checked for every combination of settings.
namespace WindowPolicy {

enum class CloseAction
{
    Close,               // let the window close
    HideApplication,     // hide all windows and keep running (and recording)
    HideWindowThenClose, // a close the program asked for itself
};

// `trayUsable`: a tray icon is shown and the desktop has a tray to show it in. Without one, hiding
// would leave the user no way back, so the window closes and the program ends.
CloseAction onClose(bool trayUsable, bool closeToTray, bool spontaneous);

bool hideOnMinimize(bool nowMinimized, bool minimizeToTray, bool spontaneous, bool trayUsable);

// Whether closing the last window ends the program.
bool quitOnLastWindowClosed(bool closeToTray, bool trayUsable);

enum class TrayClick
{
    Single,
    Double,
    Other
};
bool trayClickShowsWindow(TrayClick click, bool singleClickTrayOpen);

// The tray animation: frames 0..frameCount-1, one step per tick, wrapping around.
int nextFrame(int current, int frameCount);

} // namespace WindowPolicy
