#include "recording/ForegroundProbe.h"

#include "app/Registry.h"
#include "platform/Platform.h"
#include "recording/AppIcons.h"
#include "recording/TitleCleanup.h"

#include <QFileInfo>

namespace {
bool titleCleanupEnabled()
{
    return Registry::instance()->titleCleanupEnabled();
}
} // namespace

AppStruct ForegroundProbe::getForegroundApp(bool* valid)
{
    const ForegroundWindow window = platform->foregroundWindow();
    if (valid) {
        *valid = window.valid && !window.path.isEmpty();
    }
    const bool cleanup = titleCleanupEnabled();
    if (haveLast && cleanup == lastCleanup && window.title == lastTitle && window.path == lastPath &&
        window.name == lastName) {
        return lastApp;
    }
    lastApp = describe(window.name, window.path, window.title, cleanup);
    lastName = window.name;
    lastPath = window.path;
    lastTitle = window.title;
    lastCleanup = cleanup;
    haveLast = true;
    return lastApp;
}

AppStruct ForegroundProbe::describe(const QString& name, const QString& path, const QString& title, bool cleanup)
{
    AppStruct app;
    app.productName = QString();
    app.name = name;
    app.path = path;
    app.title = util::cutTitle(title);
    // This editor's floating script panel takes the front without being a document.
    if (app.name.contains(QLatin1String("Photoshop")) && app.title == QLatin1String("ScriptUIFlexServer")) {
        app.title.clear();
    }
    if (cleanup) {
        app.title = util::cleanupPhotoshopTitle(app.title);
    }
    if (app.name.isEmpty()) {
        app.name = QFileInfo(app.path).fileName();
    }
    if (app.title.isEmpty()) {
        app.title = QStringLiteral("(no title)");
    }
    app.icon = iconFor(app.path);
    return app;
}

QIcon ForegroundProbe::iconFor(const QString& path)
{
    auto it = iconCache.constFind(path);
    if (it != iconCache.constEnd()) {
        return it.value();
    }
    const QIcon icon = util::get_file_icon(path, platform);
    iconCache.insert(path, icon);
    return icon;
}
