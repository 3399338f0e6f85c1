#include "platform/ApplicationWindows.h"
#include "platform/Platform.h"
#include "platform/wayland/WlrootsPlatform.h"
#include "platform/x11/X11Platform.h"

#include <QApplication>
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

} // namespace

std::unique_ptr<Platform> createPlatform()
{
    QString why;
    if (isWaylandSession()) {
        auto wlroots = std::make_unique<WlrootsPlatform>();
        if (wlroots->isSupported()) {
            return wlroots;
        }
        why = wlroots->isConnected()
                  ? WlrootsPlatform::sessionReason(qEnvironmentVariable("XDG_CURRENT_DESKTOP"),
                                                   wlroots->offeredInterfaces(), wlroots->unsupportedReason())
                  : wlroots->unsupportedReason();
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
