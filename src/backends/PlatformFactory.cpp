#include "ApplicationWindows.h"
#include "platform/Platform.h"
#include "wayland/GnomeShellPlatform.h"
#include "wayland/KWinPlatform.h"
#include "wayland/WlrootsPlatform.h"
#include "x11/X11Platform.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDebug>
#include <QGuiApplication>
#include <QWidget>

namespace {
// Used until a backend for the running session exists: answers "nothing in front" so nothing wrong
// is ever recorded, and says why.
class UnsupportedPlatform : public Platform
{
public:
    explicit UnsupportedPlatform(QString why) : why(std::move(why)) {}
    bool isSupported() const override { return false; }
    QString unsupportedReason() const override { return why; }
    ForegroundWindow foregroundWindow() override { return {}; }
    int idleSeconds() override { return 0; }
    QIcon iconForPath(const QString&) override { return {}; }
    void hideApplication() override { ApplicationWindows::hide(); }

private:
    QString why;
};

bool isWaylandSession()
{
    // Under XWayland the X11 backend would see only the XWayland windows and miss the rest, so a
    // Wayland session is never treated as X11.
    return qgetenv("XDG_SESSION_TYPE").trimmed().toLower() == "wayland" ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

bool kwinAnswers()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface()->isServiceRegistered(QStringLiteral("org.kde.KWin")).value();
}

// Plasma and GNOME keep the front window to themselves; each has a backend of its own that asks the
// desktop through a helper loaded into it. Null, with the reason, when that desktop's helper cannot
// work; null without a reason when the session is neither.
std::unique_ptr<Platform> desktopPlatform(const QString& desktop, QString* why)
{
    std::unique_ptr<Platform> platform;
    if (desktop.contains(QLatin1String("KDE"), Qt::CaseInsensitive) && kwinAnswers()) {
        platform = std::make_unique<KWinPlatform>();
    } else if (desktop.contains(QLatin1String("GNOME"), Qt::CaseInsensitive)) {
        platform = std::make_unique<GnomeShellPlatform>();
    }
    if (platform && !platform->isSupported()) {
        *why = platform->unsupportedReason();
        platform.reset();
    }
    return platform;
}

} // namespace

std::unique_ptr<Platform> createPlatform()
{
    QString why;
    if (isWaylandSession()) {
        const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
        if (auto platform = desktopPlatform(desktop, &why)) {
            return platform;
        }
        if (why.isEmpty()) {
            auto wlroots = std::make_unique<WlrootsPlatform>();
            if (wlroots->isSupported()) {
                return wlroots;
            }
            why = wlroots->isConnected() ? WlrootsPlatform::sessionReason(desktop, wlroots->offeredInterfaces(),
                                                                          wlroots->unsupportedReason())
                                         : wlroots->unsupportedReason();
        }
    } else if (QGuiApplication::platformName() != QLatin1String("xcb") || !X11Platform::qtConnection()) {
        why = QStringLiteral("Recording needs an X11 display");
    } else {
        auto x11 = X11Platform::withOwnConnection();
        if (x11->isSupported()) {
            return x11;
        }
        why = x11->unsupportedReason();
    }
    static bool warned = false;
    if (!warned) {
        warned = true;
        qWarning().noquote() << why;
    }
    return std::make_unique<UnsupportedPlatform>(why);
}
