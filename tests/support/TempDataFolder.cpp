#include "TempDataFolder.h"

#include <QDir>
#include <QFile>
#include <QSettings>

TempDataFolder::TempDataFolder() : oldDataHome(qgetenv("XDG_DATA_HOME")), oldRuntimeDir(qgetenv("XDG_RUNTIME_DIR"))
{
    QDir(dir.path()).mkpath(QStringLiteral("data"));
    QDir(dir.path()).mkpath(QStringLiteral("runtime"));
    QFile::setPermissions(dir.path() + QStringLiteral("/runtime"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_DATA_HOME", QFile::encodeName(dir.path() + QStringLiteral("/data")));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(dir.path() + QStringLiteral("/runtime")));
}

TempDataFolder::~TempDataFolder()
{
    qputenv("XDG_DATA_HOME", oldDataHome);
    qputenv("XDG_RUNTIME_DIR", oldRuntimeDir);
}

QString TempDataFolder::dataFolder() const
{
    return dir.path() + QStringLiteral("/data/VerrinPlus");
}

void TempDataFolder::writeSettings(const QVariantMap& keys) const
{
    QDir().mkpath(dataFolder());
    QSettings ini(dataFolder() + QStringLiteral("/verrinplus.ini"), QSettings::IniFormat);
    ini.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
    ini.setValue(QStringLiteral("Application/Started"), false);
    for (auto it = keys.begin(); it != keys.end(); ++it) {
        ini.setValue(it.key(), it.value());
    }
}

QProcessEnvironment TempDataFolder::environment(bool display, QProcessEnvironment base) const
{
    base.insert(QStringLiteral("XDG_DATA_HOME"), dir.path() + QStringLiteral("/data"));
    base.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir.path() + QStringLiteral("/runtime"));
    base.insert(QStringLiteral("VERRINPLUS_UPDATE_FEED"), QString());
    if (!display) {
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
            base.remove(QLatin1String(name));
        }
    }
    return base;
}

ProgramRun TempDataFolder::run(const QString& program, const QStringList& arguments,
                               const std::optional<QProcessEnvironment>& env) const
{
    QProcess process;
    process.setProcessEnvironment(env.value_or(environment(false)));
    process.setWorkingDirectory(dir.path());
    process.start(program, arguments);
    return finish(process);
}

ProgramRun TempDataFolder::finish(QProcess& process)
{
    ProgramRun run;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished(10000);
    } else if (process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
    }
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}
