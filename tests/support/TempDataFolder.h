#pragma once

#include <QString>
#include <QTemporaryDir>
#include <QVariantMap>

// Points XDG_DATA_HOME and XDG_RUNTIME_DIR at a fresh temporary folder for the life of the object,
// so a test never touches the user's real data and never meets another test's instance lock.
class TempDataFolder
{
public:
    TempDataFolder();
    ~TempDataFolder();

    bool isValid() const { return dir.isValid(); }
    QString path() const { return dir.path(); }
    // The "VerrinPlus" folder inside it (it may not exist yet).
    QString dataFolder() const;
    // Writes these keys to the folder's settings file over an unreachable service address and
    // recording off, so a window started on it asks nothing and reaches no network by default.
    void writeSettings(const QVariantMap& keys = {}) const;

private:
    QTemporaryDir dir;
    QByteArray oldDataHome;
    QByteArray oldRuntimeDir;
};
