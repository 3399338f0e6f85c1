#include "HeadlessKWin.h"

#include "TestKit.h"

#include <QDBusConnectionInterface>

namespace {
const QString control = QStringLiteral("verrin-kwin-control");
} // namespace

QDBusMessage HeadlessKWin::scripting(const QString& method, const QVariantList& arguments) const
{
    QDBusMessage message =
        QDBusMessage::createMethodCall("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", method);
    message.setArguments(arguments);
    return bus.connect(control).call(message, QDBus::Block, 10000);
}

bool HeadlessKWin::start(QString* whyNot)
{
    const QString installed = QStandardPaths::findExecutable("kwin_wayland");
    if (installed.isEmpty()) {
        *whyNot = "kwin_wayland is not installed (scripts/install-deps.sh installs it)";
        return false;
    }
    // Debian gives kwin_wayland a file capability (to raise its scheduling limits) that containers
    // often may not grant, and then it cannot be started at all; a copy has no capabilities. KWin
    // takes its own platform plugin only under the name kwin_wayland.
    const QString binary = runtime.filePath("kwin_wayland");
    if (!bus.start(whyNot) || !QFile::copy(installed, binary)) {
        *whyNot = "cannot start a bus or copy kwin_wayland: " + *whyNot;
        return false;
    }
    QProcessEnvironment env;
    env.insert("XDG_CONFIG_HOME", runtime.filePath("config"));
    env.insert("DBUS_SESSION_BUS_ADDRESS", bus.address());
    env.insert("KWIN_COMPOSE", "Q"); // software painting: no GPU here, and less CPU than llvmpipe
    wayland = runtime.filePath("verrin-kwin");
    windows.timeoutMs = 30000;
    // KWin takes its name on the bus before its scripting object exists.
    return launch(
        binary,
        {"--virtual", "--no-lockscreen", "--no-global-shortcuts", "--no-kactivities", "--socket", "verrin-kwin",
         "--width", "1280", "--height", "720"},
        env,
        [&] {
            return QFile::exists(wayland) && bus.connect(control).interface()->isServiceRegistered("org.kde.KWin") &&
                   scripting("isScriptLoaded", {"verrin-none"}).type() == QDBusMessage::ReplyMessage;
        },
        whyNot);
}

bool HeadlessKWin::activate(const QString& caption)
{
    // KWin 6 calls windows what KWin 5 called clients.
    const QByteArray text = "const v6 = !!workspace.windowList;\n"
                            "for (const w of v6 ? workspace.windowList() : workspace.clientList())\n"
                            "    if (w.caption === " +
                            QJsonDocument(QJsonArray{caption}).toJson(QJsonDocument::Compact) +
                            "[0]) v6 ? (workspace.activeWindow = w) : (workspace.activeClient = w);\n";
    const QString name = QStringLiteral("verrin-test-%1").arg(++scripts);
    const QString file = runtime.filePath(name + ".js");
    const QDBusMessage loaded = writeFile(file, text) ? scripting("loadScript", {file, name}) : QDBusMessage();
    return loaded.type() == QDBusMessage::ReplyMessage && loaded.arguments().value(0).toInt() >= 0 &&
           scripting("start", {}).type() == QDBusMessage::ReplyMessage;
}
