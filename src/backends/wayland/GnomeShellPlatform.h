#pragma once

#include "platform/DesktopEntryIndex.h"
#include "platform/Platform.h"
#include "platform/ReportedWindow.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class QDBusPendingCallWatcher;

// Idle time from Mutter's IdleMonitor without asking it every second: a watch fires when the user has
// been idle for a second, a one-shot "user active" watch when they are back, and the idle time is
// answered from those. It is asked once at start, for someone already idle.
class MutterIdleMonitor : public QObject
{
    Q_OBJECT

public:
    explicit MutterIdleMonitor(const QDBusConnection& bus);
    ~MutterIdleMonitor() override;

    bool isAvailable() const { return idleWatch != 0; }
    int idleSeconds() const;

private slots:
    void onWatchFired(uint id);

private:
    void becameIdle(qint64 idleMs);
    void watchForActivity();

    QDBusConnection bus;
    QElapsedTimer clock;
    uint idleWatch = 0;
    uint activeWatch = 0;
    QPointer<QDBusPendingCallWatcher> activityCall; // asked for, not answered yet
    // Watches that fired while the activity watch's answer was still on its way: Qt may hand over the
    // firing first, and without this the user's return would go unseen.
    QList<uint> firedBeforeAnswer;
    bool idle = false;
    qint64 idleSinceMs = 0;
};

// Receives the GNOME Shell extension's "Changed" signal.
class GnomeShellListener : public QObject
{
    Q_OBJECT

public:
    explicit GnomeShellListener(ReportedWindow* window) : window(window) {}

public slots:
    void onChanged(const QString& title, const QString& wmClass, uint pid) { window->report(title, wmClass, pid); }

private:
    ReportedWindow* window;
};

// GNOME on Wayland: Mutter tells no other client which window is in front, so VerrinPlus ships a
// small GNOME Shell extension that answers it on the session bus and signals every change. The
// backend asks once at start (which also tells whether the extension is active) and then answers
// every probe from the signals, with no D-Bus traffic per tick.
class GnomeShellPlatform : public Platform
{
public:
    static constexpr const char* service = "org.gnome.Shell";
    static constexpr const char* objectPath = "/com/verrin/VerrinPlus/ActiveWindow";
    static constexpr const char* interface = "com.verrin.VerrinPlus.ActiveWindow";

    explicit GnomeShellPlatform(const QDBusConnection& bus = QDBusConnection::sessionBus(),
                                const QStringList& applicationFolders = DesktopEntryIndex::defaultFolders());
    ~GnomeShellPlatform() override;

    bool isSupported() const override { return supported; }
    QString unsupportedReason() const override { return reason; }
    ForegroundWindow foregroundWindow() override;
    int idleSeconds() override;
    QIcon iconForPath(const QString& path) override;
    void hideApplication() override;

private:
    QDBusConnection bus;
    ReportedWindow window;
    std::unique_ptr<GnomeShellListener> listener;
    std::unique_ptr<MutterIdleMonitor> idle;
    bool supported = false;
    QString reason;
};
