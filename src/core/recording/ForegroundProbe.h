#pragma once

#include "recording/AppStruct.h"

#include <QHash>
#include <QIcon>
#include <QString>

class Platform;

// Asks the platform what is in front and turns the answer into an AppStruct the recorder compares:
// title clean-up, name and title fall-backs, and a per-path icon cache (icons are the costly part and
// never change while the program runs).
class ForegroundProbe
{
public:
    explicit ForegroundProbe(Platform* platform) : platform(platform) {}

    // `valid` (optional) receives false when nothing is in front or the desktop could not be asked; the
    // record is then filled from an empty answer and should not start a stretch.
    AppStruct getForegroundApp(bool* valid = nullptr);

    QIcon iconFor(const QString& path);
    int cachedIcons() const { return int(iconCache.size()); }

private:
    AppStruct describe(const QString& name, const QString& path, const QString& title, bool cleanup);

    Platform* platform;
    // The last answer and what it was made from: most ticks see the same window as the one before, and
    // then the title clean-up (regular expressions) need not run again.
    QString lastName;
    QString lastPath;
    QString lastTitle;
    bool lastCleanup = false;
    bool haveLast = false;
    AppStruct lastApp;
    QHash<QString, QIcon> iconCache;
};
