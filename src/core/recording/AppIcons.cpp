#include "recording/AppIcons.h"

#include "platform/Platform.h"

#include <QFileInfo>

namespace util {

namespace {
Platform* iconPlatform = nullptr;
}

AppStruct idle_app()
{
    AppStruct app;
    app.path = QString::fromLatin1(kIdleAppPath);
    app.name = QString::fromLatin1(kIdleAppName);
    app.icon = QIcon(QString::fromLatin1(kIdleAppIcon));
    return app;
}

void set_icon_platform(Platform* platform)
{
    iconPlatform = platform;
}

QIcon get_file_icon(const QString& path)
{
    return get_file_icon(path, iconPlatform);
}

QIcon get_file_icon(const QString& path, Platform* platform)
{
    if (path == QLatin1String(kIdleAppPath)) {
        return QIcon(QString::fromLatin1(kIdleAppIcon));
    }
    if (platform && !path.isEmpty() && QFileInfo::exists(path)) {
        const QIcon icon = platform->iconForPath(path);
        if (!icon.isNull()) {
            return icon;
        }
    }
    return QIcon(QString::fromLatin1(kGenericAppIcon));
}

} // namespace util
