#pragma once

#include "TestTools.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QVariantMap>

#include <optional>

// A program's answer: its exit code (-1 when it crashed or never ended) and both channels.
struct ProgramRun
{
    int exitCode = -1;
    QString out;
    QString err;
};

// Points XDG_DATA_HOME and XDG_RUNTIME_DIR at a fresh temporary folder for the life of the object,
// so a test never touches the user's real data and never meets another test's instance lock.
class TempDataFolder
{
public:
    TempDataFolder();
    ~TempDataFolder();

    QString path() const { return dir.path(); }
    // The "VerrinPlus" folder inside it (it may not exist yet).
    QString dataFolder() const;
    // Writes these keys to the folder's settings file over an unreachable service address and
    // recording off, so a window started on it asks nothing and reaches no network by default.
    void writeSettings(const QVariantMap& keys = {}) const;

    // `base` with this folder's data and runtime folders and no update check, for a program started
    // on the folder; without `display`, none of the display variables, as from cron or a bare terminal.
    QProcessEnvironment environment(bool display = true,
                                    QProcessEnvironment base = QProcessEnvironment::systemEnvironment()) const;
    // Runs `program` in this folder, by default without a display, to its end, killed after a minute.
    ProgramRun run(const QString& program, const QStringList& arguments,
                   const std::optional<QProcessEnvironment>& env = {}) const;
    static ProgramRun finish(QProcess& process);

private:
    QTemporaryDir dir;
    QByteArray oldDataHome;
    QByteArray oldRuntimeDir;
};
