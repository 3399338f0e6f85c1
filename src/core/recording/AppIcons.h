#pragma once

#include "recording/AppStruct.h"

#include <QIcon>
#include <QString>

class Platform;

namespace util {

// The away-time pseudo-application: stored in `applications` like a real one.
inline constexpr const char* kIdleAppPath = "verrin://idle";
inline constexpr const char* kIdleAppName = "Away Time";
inline constexpr const char* kIdleAppIcon = ":/icons/res/away.png";
inline constexpr const char* kGenericAppIcon = ":/icons/res/app.png";

AppStruct idle_app();

// The platform whose icons get_file_icon(path) uses; set once by the main window. Without one every
// existing application gets the generic icon.
void set_icon_platform(Platform* platform);

// The icon of the application at `path`: the away icon for the pseudo-application, the platform's icon
// when something exists at the path and the platform knows an icon, else the generic application icon.
// Uncached: callers that ask often keep their own cache (the probe does).
QIcon get_file_icon(const QString& path);
QIcon get_file_icon(const QString& path, Platform* platform);

} // namespace util
