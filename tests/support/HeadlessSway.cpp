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

// As root: the setpriv arguments that run sway as swayUser, who gets the runtime folder. The error, if any.
QString HeadlessSway::dropPrivileges(QStringList* setpriv)
{
    if (::geteuid() != 0) {
        return {};
    }
    if (!::getpwnam(swayUser)) {
        QProcess add;
        add.start(QStringLiteral("useradd"), {"--system", "--user-group", "--no-create-home", "--home-dir",
                                              "/nonexistent", "--shell", "/usr/sbin/nologin", swayUser});
        add.waitForFinished(30000); // another test may create it at the same moment
    }
    const passwd* user = ::getpwnam(swayUser);
    if (!user || ::chown(QFile::encodeName(swayRuntime.path()).constData(), user->pw_uid, user->pw_gid) != 0) {
        return "cannot create the user " + QString(swayUser) + " or hand it the runtime folder";
    }
    *setpriv = QStringList{QStringLiteral("--reuid=%1").arg(user->pw_uid),
                           QStringLiteral("--regid=%1").arg(user->pw_gid), "--clear-groups", "--", "sway"};
    return {};
}

QString HeadlessSway::findInRuntime(const QString& pattern) const
{
    for (const QString& name : QDir(swayRuntime.path()).entryList({pattern}, QDir::System | QDir::Files)) {
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
    QStringList setpriv;
    if (const QString error = dropPrivileges(&setpriv); !error.isEmpty()) {
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
    sway.start(setpriv.isEmpty() ? QStringLiteral("sway") : QStringLiteral("setpriv"), setpriv + swayArgs);
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
