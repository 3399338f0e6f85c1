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
    Platform* platform;
    QHash<QString, QIcon> iconCache;
};
