#include "HeadlessSway.h"

#include "TestKit.h"

#include <pwd.h>
#include <unistd.h>

namespace {
// As root: setpriv arguments to run sway as an unprivileged user owning `runtime`; false if that fails.
bool dropPrivileges(const QString& runtime, QStringList* setpriv, QString* whyNot)
{
    const char* const name = "verrin-wayland-test";
    if (::geteuid() != 0) {
        return true;
    }
    if (!::getpwnam(name)) {
        // Another test may create the user at the same moment, so only its absence fails.
        runTool("useradd", {"--system", "--user-group", "--no-create-home", "--home-dir", "/nonexistent", "--shell",
                            "/usr/sbin/nologin", name});
    }
    const passwd* user = ::getpwnam(name);
    if (!user || ::chown(QFile::encodeName(runtime).constData(), user->pw_uid, user->pw_gid) != 0) {
        *whyNot = "sway cannot start: cannot create the user " + QString(name) + " or hand it the runtime folder";
        return false;
    }
    *setpriv = QStringList{QStringLiteral("--reuid=%1").arg(user->pw_uid),
                           QStringLiteral("--regid=%1").arg(user->pw_gid), "--clear-groups", "--", "sway"};
    return true;
}
} // namespace

bool HeadlessSway::start(QString* whyNot)
{
    if (QStandardPaths::findExecutable("sway").isEmpty()) {
        *whyNot = "sway is not installed (scripts/install-deps.sh installs it)";
        return false;
    }
    QStringList setpriv;
    if (!dropPrivileges(runtime.path(), &setpriv, whyNot)) {
        return false;
    }
    const QString config = runtime.filePath("config");
    writeFile(config, "xwayland disable\noutput HEADLESS-1 resolution 1280x720\n");
    QProcessEnvironment env;
    env.insert("WLR_BACKENDS", "headless");
    env.insert("WLR_LIBINPUT_NO_DEVICES", "1");
    env.insert("WLR_RENDERER", "pixman");
    const auto socket = [this](const QString& pattern) { // not the socket's lock file beside it
        const QStringList names = QDir(runtime.path()).entryList({pattern}, QDir::System | QDir::Files);
        return names.isEmpty() ? QString() : runtime.filePath(names.first());
    };
    const auto listening = [&] {
        wayland = socket("wayland-?");
        ipc = socket("sway-ipc.*.sock");
        return !wayland.isEmpty() && !ipc.isEmpty();
    };
    if (!launch(setpriv.isEmpty() ? "sway" : "setpriv", setpriv + QStringList{"-c", config}, env, listening, whyNot)) {
        return false;
    }
    windows.environment.insert("SWAYSOCK", ipc);
    windows.environment.insert("XDG_SESSION_TYPE", "wayland");
    return true;
}

bool HeadlessSway::focus(const QString& appId)
{
    // A loaded sway may answer "No matching node" for a window that has only just mapped: ask again.
    return QTest::qWaitFor(
        [&] {
            return runTool("swaymsg", {"-s", ipc, QStringLiteral("[app_id=\"%1\"] focus").arg(appId)});
        },
        windows.timeoutMs);
}
