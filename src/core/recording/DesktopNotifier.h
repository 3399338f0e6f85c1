#pragma once

#include <QString>

// Shows a desktop notification through the freedesktop notification service on the session bus. The
// call is sent without waiting for the answer, so a hung service never stalls the program. When no
// service is there, notify() returns false and the caller shows the tray icon's message instead.
class DesktopNotifier
{
public:
    // True when a notification service is running or can be started by the bus.
    static bool isAvailable();
    // `timeoutMs` is how long the message stays; information urgency, the program's name as sender.
    static bool notify(const QString& title, const QString& text, int timeoutMs);
};
