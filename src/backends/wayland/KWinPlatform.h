#pragma once

#include "platform/DesktopEntryIndex.h"
#include "platform/Platform.h"
#include "platform/ReportedWindow.h"
#include "wayland/WaylandIdleWatch.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QTemporaryDir>

#include <memory>

// The object KWin's script calls on the session bus. Only calls from KWin itself are taken: any
// client of the bus could call it, and a made-up window must not be recorded.
class KWinScriptReceiver : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.verrin.VerrinPlus.KWin")

public:
    explicit KWinScriptReceiver(ReportedWindow* window) : window(window) {}
    void setKWinName(const QString& uniqueName) { kwinName = uniqueName; }

public slots:
    Q_SCRIPTABLE void activeWindowChanged(const QString& caption, const QString& resourceClass, const QString& pid);

private:
    ReportedWindow* window;
    QString kwinName;
};

// KDE Plasma on Wayland: KWin keeps the window list to itself, so a small script loaded into KWin
// over D-Bus pushes the active window to this program, which answers every probe from what was
// pushed, with no D-Bus traffic per tick. Idle time comes from KWin's Wayland idle protocols, through
// the same code as on wlroots compositors.
class KWinPlatform : public Platform
{
public:
    static constexpr const char* objectPath = "/com/verrin/VerrinPlus/KWin";

    // `bus` is where KWin runs (the session bus); `waylandDisplay` empty means WAYLAND_DISPLAY.
    explicit KWinPlatform(const QDBusConnection& bus = QDBusConnection::sessionBus(),
                          const QByteArray& waylandDisplay = QByteArray(),
                          const QStringList& applicationFolders = DesktopEntryIndex::defaultFolders());
    ~KWinPlatform() override;

    bool isSupported() const override { return supported; }
    QString unsupportedReason() const override { return reason; }
    ForegroundWindow foregroundWindow() override;
    int idleSeconds() override;
    QIcon iconForPath(const QString& path) override;
    void hideApplication() override;

    // The name KWin knows the script under (one per running program, so two never collide).
    QString pluginName() const { return plugin; }
    QByteArray idleProtocol() const { return idle ? idle->protocol() : QByteArray(); }
    // The script as loaded: its resource text with this program's bus name filled in.
    static QByteArray scriptText(const QString& receiverName);

private:
    bool loadScript(QString* error);
    void fail(const QString& why);

    QDBusConnection bus;
    ReportedWindow window;
    std::unique_ptr<KWinScriptReceiver> receiver;
    std::unique_ptr<WaylandIdleConnection> idle;
    std::unique_ptr<QObject> kwinWatcher;
    QTemporaryDir scriptFolder;
    QString plugin;
    bool loaded = false;
    bool supported = false;
    QString reason;
};
