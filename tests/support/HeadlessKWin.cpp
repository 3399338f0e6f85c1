#include "HeadlessKWin.h"

#include "TestKit.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace {
constexpr int startTimeoutMs = 30000;
const QString control = QStringLiteral("verrin-kwin-control");
} // namespace

HeadlessKWin::~HeadlessKWin()
{
    windows.closeAll();
    QDBusConnection::disconnectFromBus(control);
    endProcess(kwin);
}

QDBusMessage HeadlessKWin::scripting(const QString& method, const QVariantList& arguments) const
{
    QDBusMessage message =
        QDBusMessage::createMethodCall("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", method);
    message.setArguments(arguments);
    return bus.connect(control).call(message, QDBus::Block, 10000);
}

bool HeadlessKWin::start(QString* whyNot)
{
    const QString installed = QStandardPaths::findExecutable(QStringLiteral("kwin_wayland"));
    if (installed.isEmpty()) {
        *whyNot = QStringLiteral("kwin_wayland is not installed (scripts/install-deps.sh installs it)");
        return false;
    }
    if (!bus.start(whyNot)) {
        return false;
    }
    // Debian gives kwin_wayland a file capability (to raise its scheduling limits) that containers
    // often may not grant, and then it cannot be started at all; a copy has no capabilities. KWin
    // takes its own platform plugin only under the name kwin_wayland.
    const QString binary = runtime.filePath(QStringLiteral("kwin_wayland"));
    if (!QFile::copy(installed, binary) ||
        !QFile::setPermissions(binary, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)) {
        *whyNot = QStringLiteral("cannot copy kwin_wayland");
        return false;
    }
    QProcessEnvironment env;
    env.insert("PATH", qEnvironmentVariable("PATH"));
    env.insert("HOME", runtime.path());
    env.insert("XDG_CONFIG_HOME", runtime.filePath(QStringLiteral("config")));
    env.insert("XDG_RUNTIME_DIR", runtime.path());
    env.insert("DBUS_SESSION_BUS_ADDRESS", bus.address());
    env.insert("KWIN_COMPOSE", "Q"); // software painting: no GPU here, and less CPU than llvmpipe
    kwin.setProcessEnvironment(env);
    kwin.setProcessChannelMode(QProcess::MergedChannels);
    kwin.start(binary, {"--virtual", "--no-lockscreen", "--no-global-shortcuts", "--no-kactivities", "--socket",
                        "verrin-kwin", "--width", "1280", "--height", "720"});
    wayland = runtime.filePath(QStringLiteral("verrin-kwin"));
    // KWin takes its name on the bus before its scripting object exists.
    const bool ready = QTest::qWaitFor(
        [&] {
            return (QFile::exists(wayland) &&
                    bus.connect(control).interface()->isServiceRegistered(QStringLiteral("org.kde.KWin")) &&
                    scripting("isScriptLoaded", {"verrin-none"}).type() == QDBusMessage::ReplyMessage) ||
                   kwin.state() == QProcess::NotRunning;
        },
        startTimeoutMs);
    if (!ready || kwin.state() == QProcess::NotRunning) {
        *whyNot = "kwin_wayland cannot start here: " + QString::fromLocal8Bit(kwin.readAll().right(2000));
        return false;
    }
    windows.environment = QProcessEnvironment::systemEnvironment();
    windows.environment.insert("WAYLAND_DISPLAY", wayland);
    windows.environment.insert("XDG_RUNTIME_DIR", clientRuntime.path());
    windows.timeoutMs = startTimeoutMs;
    return true;
}

bool HeadlessKWin::activate(const QString& caption)
{
    const QByteArray quoted = QJsonDocument(QJsonArray{caption}).toJson(QJsonDocument::Compact);
    const QByteArray text = "var all = workspace.windowList ? workspace.windowList() : workspace.clientList();\n"
                            "var wanted = " +
                            quoted +
                            "[0];\n"
                            "for (var i = 0; i < all.length; ++i) {\n"
                            "    if (all[i].caption !== wanted) { continue; }\n"
                            "    if (workspace.windowList) { workspace.activeWindow = all[i]; }\n"
                            "    else { workspace.activeClient = all[i]; }\n"
                            "}\n";
    const QString name = QStringLiteral("verrin-test-%1").arg(++scripts);
    QFile file(runtime.filePath(name + QStringLiteral(".js")));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        return false;
    }
    file.close();
    const QDBusMessage loaded = scripting("loadScript", {file.fileName(), name});
    return loaded.type() == QDBusMessage::ReplyMessage && loaded.arguments().value(0).toInt() >= 0 &&
           scripting("start", {}).type() == QDBusMessage::ReplyMessage;
}
