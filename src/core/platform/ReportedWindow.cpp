#include "platform/ReportedWindow.h"

#include <QFileInfo>

namespace {
constexpr int maxTitleChars = 64 * 1024;
constexpr int maxClassChars = 1024;
} // namespace

ReportedWindow::ReportedWindow(const QStringList& applicationFolders) : index(applicationFolders), resolver(&index) {}

void ReportedWindow::report(const QString& newTitle, const QString& newClass, qint64 newPid)
{
    title = newTitle.left(maxTitleChars);
    windowClass = newClass.left(maxClassChars);
    pid = newPid > 0 ? newPid : 0;
    known = true;
}

ForegroundWindow ReportedWindow::foreground()
{
    ForegroundWindow window;
    if (!known || (windowClass.isEmpty() && pid == 0)) {
        return window;
    }
    // The class is the Wayland app id (which toolkits set to the desktop file's name) or the X11
    // WM_CLASS of an XWayland window; with the pid the launcher entry and executable help as on X11.
    const ApplicationIdentity identity = resolver.resolve(pid, windowClass, windowClass);
    window.path = identity.path.isEmpty() || identity.path.startsWith(QLatin1String("x11-class:"))
                      ? QStringLiteral("wayland-app-id:") + windowClass
                      : identity.path;
    window.name = identity.name.isEmpty()
                      ? (windowClass.isEmpty() ? QStringLiteral("Unknown application") : windowClass)
                      : identity.name;
    window.title = title;
    window.pid = pid;
    window.valid = true;
    return window;
}

QIcon ReportedWindow::iconForPath(const QString& path)
{
    if (auto it = icons.constFind(path); it != icons.constEnd()) {
        return *it;
    }
    QIcon icon;
    if (path.endsWith(QLatin1String(".desktop"))) {
        if (const DesktopEntry* entry = index.entryForFile(path)) {
            const QString& name = entry->icon;
            if (QFileInfo(name).isAbsolute()) {
                icon = QFileInfo::exists(name) ? QIcon(name) : QIcon();
            } else if (!name.isEmpty()) {
                icon = QIcon::fromTheme(name);
            }
        }
    }
    if (icon.isNull()) {
        icon = QIcon(QStringLiteral(":/icons/res/app.png"));
    }
    icons.insert(path, icon);
    return icon;
}
