#pragma once

#include <QString>
#include <QTemporaryDir>

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

private:
    QTemporaryDir dir;
    QByteArray oldDataHome;
    QByteArray oldRuntimeDir;
};
