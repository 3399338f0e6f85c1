#pragma once

#include "platform/ApplicationResolver.h"
#include "platform/DesktopEntryIndex.h"
#include "platform/Platform.h"

#include <QHash>
#include <QIcon>

// The front window as a desktop's own helper reports it (KWin's script, the GNOME Shell extension):
// its title, window class and process id, turned into the application it belongs to by the same
// resolver the other backends use. Reports are outside input: they are bounded and never trusted to
// be well formed.
class ReportedWindow
{
public:
    explicit ReportedWindow(const QStringList& applicationFolders = DesktopEntryIndex::defaultFolders());

    // A new front window, or the same one with a new title. An empty class and no pid mean that no
    // window is in front (the bare desktop, or a lock screen).
    void report(const QString& title, const QString& windowClass, qint64 pid);
    void clear() { known = false; }
    bool hasReport() const { return known; }

    ForegroundWindow foreground();
    // The icon of an application found by `foreground()`: its entry's icon, else the generic one.
    QIcon iconForPath(const QString& path);

private:
    DesktopEntryIndex index;
    ApplicationResolver resolver;
    QHash<QString, QIcon> icons;
    bool known = false;
    QString title;
    QString windowClass;
    qint64 pid = 0;
};
