#include "HeadlessSway.h"

#include "TestKit.h"

#include <QDebug>

#include <pwd.h>
#include <unistd.h>

namespace {
const char* const swayUser = "verrin-wayland-test";
constexpr int startTimeoutMs = 20000;
} // namespace

HeadlessSway::HeadlessSway(QString windowProgram)
    : windows(std::move(windowProgram)), swayRuntime(QDir::tempPath() + "/verrin-sway-XXXXXX")
{
}

HeadlessSway::~HeadlessSway()
{
    windows.closeAll();
    stop();
}

QStringList HeadlessSway::dropPrivileges(QString* error)
{
    if (::geteuid() != 0) {
        return {};
    }
    if (!::getpwnam(swayUser)) {
        QProcess add;
        add.start(QStringLiteral("useradd"), {"--system", "--user-group", "--no-create-home", "--home-dir",
                                              "/nonexistent", "--shell", "/usr/sbin/nologin", swayUser});
        // Another test may have created it at the same moment; only a missing user is a failure.
        if (!add.waitForFinished(30000) || (add.exitCode() != 0 && !::getpwnam(swayUser))) {
            *error = "cannot create the user " + QString(swayUser) + ": " + add.readAllStandardError();
            return {};
        }
    }
    const passwd* user = ::getpwnam(swayUser);
    if (!user) {
        *error = "no user " + QString(swayUser);
        return {};
    }
    const QByteArray dir = QFile::encodeName(swayRuntime.path());
    if (::chown(dir.constData(), user->pw_uid, user->pw_gid) != 0) {
        *error = "cannot hand the runtime folder to " + QString(swayUser);
        return {};
    }
    return {QStringLiteral("--reuid=%1").arg(user->pw_uid), QStringLiteral("--regid=%1").arg(user->pw_gid),
            QStringLiteral("--clear-groups")};
}

QString HeadlessSway::findInRuntime(const QString& pattern) const
{
    const QStringList names = QDir(swayRuntime.path()).entryList({pattern}, QDir::System | QDir::Files);
    for (const QString& name : names) {
        if (!name.endsWith(QLatin1String(".lock"))) {
            return swayRuntime.filePath(name);
        }
    }
    return QString();
}

bool HeadlessSway::start(QString* whyNot)
{
    if (QStandardPaths::findExecutable(QStringLiteral("sway")).isEmpty()) {
        *whyNot = QStringLiteral("sway is not installed (scripts/install-deps.sh installs it)");
        return false;
    }
    QString error;
    const QStringList privileges = dropPrivileges(&error);
    if (!error.isEmpty()) {
        *whyNot = "sway cannot start: " + error;
        return false;
    }
    QFile config(swayRuntime.filePath("config"));
    config.open(QIODevice::WriteOnly);
    config.write("xwayland disable\noutput HEADLESS-1 resolution 1280x720\n");
    config.close();

    QProcessEnvironment env;
    env.insert("PATH", qEnvironmentVariable("PATH"));
    env.insert("HOME", swayRuntime.path());
    env.insert("XDG_RUNTIME_DIR", swayRuntime.path());
    env.insert("WLR_BACKENDS", "headless");
    env.insert("WLR_LIBINPUT_NO_DEVICES", "1");
    env.insert("WLR_RENDERER", "pixman");
    sway.setProcessEnvironment(env);
    sway.setProcessChannelMode(QProcess::MergedChannels);
    const QStringList swayArgs = {"-c", config.fileName()};
    if (privileges.isEmpty()) {
        sway.start(QStringLiteral("sway"), swayArgs);
    } else {
        sway.start(QStringLiteral("setpriv"), privileges + QStringList{"--", "sway"} + swayArgs);
    }
    const bool ready = QTest::qWaitFor(
        [&] {
            wayland = findInRuntime("wayland-*");
            ipc = findInRuntime("sway-ipc.*.sock");
            return (!wayland.isEmpty() && !ipc.isEmpty()) || sway.state() == QProcess::NotRunning;
        },
        startTimeoutMs);
    if (!ready || sway.state() == QProcess::NotRunning) {
        *whyNot = "sway cannot start here: " + QString::fromLocal8Bit(sway.readAll().right(2000));
        stop();
        return false;
    }
    windows.environment = clientEnvironment();
    windows.timeoutMs = startTimeoutMs;
    return true;
}

QProcessEnvironment HeadlessSway::clientEnvironment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("WAYLAND_DISPLAY", wayland);
    env.insert("SWAYSOCK", ipc);
    env.insert("XDG_RUNTIME_DIR", clientRuntime.path());
    env.insert("XDG_SESSION_TYPE", "wayland");
    env.remove("DISPLAY");
    return env;
}

bool HeadlessSway::focus(const QString& appId)
{
    const QString command = QStringLiteral("[app_id=\"%1\"] focus").arg(appId);
    QProcess msg;
    msg.start(QStringLiteral("swaymsg"), {"-s", ipc, command});
    if (!msg.waitForFinished(10000) || msg.exitCode() != 0) {
        qWarning() << "swaymsg" << command << "failed:" << msg.readAllStandardOutput() << msg.readAllStandardError();
        return false;
    }
    return true;
}
