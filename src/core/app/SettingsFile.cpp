#include "app/SettingsFile.h"

#include "app/Registry.h"
#include "verrin/Session.h"

namespace {
Registry& reg()
{
    return *Registry::instance();
}
} // namespace

EditableSettings EditableSettings::fromRegistry()
{
    EditableSettings s;
    s.idleEnabled = reg()[QStringLiteral("IdleEnabled")].toBool();
    s.idleLimit = reg()[QStringLiteral("IdleLimit")].toInt();
    s.username = reg()[QStringLiteral("Username")].toString();
    s.password = reg()[QStringLiteral("Password")].toString();
    s.proxyEnabled = reg()[QStringLiteral("ProxyEnabled")].toBool();
    s.proxyHost = reg()[QStringLiteral("ProxyHost")].toString();
    s.proxyPort = reg()[QStringLiteral("ProxyPort")].toString();
    s.sslEnabled = reg()[QStringLiteral("SslEnabled")].toBool();
    s.closeToTray = reg()[QStringLiteral("CloseToTray")].toBool();
    s.minimizeToTray = reg()[QStringLiteral("MinimizeToTray")].toBool();
    s.singleClickTrayOpen = reg()[QStringLiteral("SingleClickTrayOpen")].toBool();
    return s;
}

void EditableSettings::toRegistry() const
{
    reg()[QStringLiteral("IdleEnabled")] = idleEnabled;
    reg()[QStringLiteral("IdleLimit")] = idleLimit;
    reg()[QStringLiteral("Username")] = username;
    reg()[QStringLiteral("Password")] = password;
    reg()[QStringLiteral("ProxyEnabled")] = proxyEnabled;
    reg()[QStringLiteral("ProxyHost")] = proxyHost;
    reg()[QStringLiteral("ProxyPort")] = proxyPort;
    reg()[QStringLiteral("SslEnabled")] = sslEnabled;
    reg()[QStringLiteral("CloseToTray")] = closeToTray;
    reg()[QStringLiteral("MinimizeToTray")] = minimizeToTray;
    reg()[QStringLiteral("SingleClickTrayOpen")] = singleClickTrayOpen;
}

namespace SettingsFile {

QString userAgent()
{
    return QStringLiteral("VerrinPlus/") + QStringLiteral(VERRIN_VERSION) + QStringLiteral(" Linux");
}

QString encodePassword(const QString& password)
{
    return QString::fromLatin1(password.toUtf8().toBase64());
}

QString decodePassword(const QString& stored)
{
    return QString::fromUtf8(QByteArray::fromBase64(stored.toUtf8()));
}

EditableSettings readEditable(const QSettings& settings)
{
    EditableSettings s;
    s.idleEnabled = settings.value(QStringLiteral("Application/IdleEnabled"), true).toBool();
    s.idleLimit = settings.value(QStringLiteral("Application/IdleLimit"), 5).toInt();
    s.username = settings.value(QStringLiteral("API/Username")).toString();
    s.password = decodePassword(settings.value(QStringLiteral("API/Password")).toString());
    s.proxyEnabled = settings.value(QStringLiteral("Proxy/Enabled"), false).toBool();
    s.proxyHost = settings.value(QStringLiteral("Proxy/Host")).toString();
    s.proxyPort = settings.value(QStringLiteral("Proxy/Port")).toString();
    s.sslEnabled = settings.value(QStringLiteral("API/SslEnabled"), true).toBool();
    s.closeToTray = settings.value(QStringLiteral("Application/CloseToTray"), true).toBool();
    s.minimizeToTray = settings.value(QStringLiteral("Application/MinimizeToTray"), false).toBool();
    s.singleClickTrayOpen = settings.value(QStringLiteral("Application/SingleClickTrayOpen"), true).toBool();
    return s;
}

void writeFirstRun(QSettings& settings, const EditableSettings& values)
{
    settings.setValue(QStringLiteral("API/Url"),
                      settings.value(QStringLiteral("API/Url"), QString::fromLatin1(kDefaultApiBaseUrl)));
    settings.setValue(QStringLiteral("API/Username"), values.username);
    settings.setValue(QStringLiteral("API/Password"), encodePassword(values.password));
    settings.setValue(QStringLiteral("Application/IdleLimit"), values.idleLimit);
    settings.setValue(QStringLiteral("Application/IdleEnabled"), values.idleEnabled);
    settings.setValue(QStringLiteral("Proxy/Enabled"), values.proxyEnabled);
    settings.setValue(QStringLiteral("Proxy/Host"), values.proxyHost);
    settings.setValue(QStringLiteral("Proxy/Port"), values.proxyPort);
    settings.setValue(QStringLiteral("API/SslEnabled"), values.sslEnabled);
    settings.setValue(QStringLiteral("Application/CloseToTray"), values.closeToTray);
    settings.setValue(QStringLiteral("Application/MinimizeToTray"), values.minimizeToTray);
    settings.setValue(QStringLiteral("Application/SingleClickTrayOpen"), values.singleClickTrayOpen);
    settings.sync();
}

void readIntoRegistry(const QSettings& settings)
{
    const QString url = settings.value(QStringLiteral("API/Url")).toString();
    reg()[QStringLiteral("ApiBaseUrl")] = url.trimmed().isEmpty() ? QString::fromLatin1(kDefaultApiBaseUrl) : url;
    reg()[QStringLiteral("ApiKey")] = settings.value(QStringLiteral("API/ApiKey")).toString();
    reg()[QStringLiteral("Username")] = settings.value(QStringLiteral("API/Username")).toString();
    reg()[QStringLiteral("Password")] = decodePassword(settings.value(QStringLiteral("API/Password")).toString());
    // Read a second time, raw: the stored text is what counts, blanks included (the first-run dialog
    // always writes the key).
    reg()[QStringLiteral("ApiBaseUrl")] = settings.value(QStringLiteral("API/Url")).toString();
    reg()[QStringLiteral("AuthToken")] = settings.value(QStringLiteral("API/AuthToken")).toString();
    reg()[QStringLiteral("IgnoredApps")] = settings.value(QStringLiteral("Application/Ignored")).toStringList();
    reg()[QStringLiteral("IdleLimit")] = settings.value(QStringLiteral("Application/IdleLimit"), 5).toInt();
    reg()[QStringLiteral("IdleEnabled")] = settings.value(QStringLiteral("Application/IdleEnabled"), true).toBool();
    reg()[QStringLiteral("HideUnder")] = settings.value(QStringLiteral("Application/HideUnder"), 0).toInt();
    reg()[QStringLiteral("GroupByHour")] = settings.value(QStringLiteral("Application/GroupByHour"), false).toBool();
    reg()[QStringLiteral("ProxyEnabled")] = settings.value(QStringLiteral("Proxy/Enabled"), false).toBool();
    reg()[QStringLiteral("ProxyHost")] = settings.value(QStringLiteral("Proxy/Host")).toString();
    reg()[QStringLiteral("ProxyPort")] = settings.value(QStringLiteral("Proxy/Port")).toString();
    reg()[QStringLiteral("SslEnabled")] = settings.value(QStringLiteral("API/SslEnabled"), true).toBool();
    reg()[QStringLiteral("RealApiBaseUrl")] = Session::getApiBaseUrl(reg()[QStringLiteral("ApiBaseUrl")].toString(),
                                                                     reg()[QStringLiteral("SslEnabled")].toBool());
    reg()[QStringLiteral("CloseToTray")] = settings.value(QStringLiteral("Application/CloseToTray"), true).toBool();
    reg()[QStringLiteral("MinimizeToTray")] =
        settings.value(QStringLiteral("Application/MinimizeToTray"), false).toBool();
    reg()[QStringLiteral("SingleClickTrayOpen")] =
        settings.value(QStringLiteral("Application/SingleClickTrayOpen"), true).toBool();
    reg()[QStringLiteral("ExtensionsAdobeEnabled")] =
        settings.value(QStringLiteral("Extensions/AdobeEnabled"), true).toBool();
    reg()[QStringLiteral("UnlinkedListState")] = settings.value(QStringLiteral("Window/UnlinkedListState"));
    reg()[QStringLiteral("UnlinkedListGeometry")] = settings.value(QStringLiteral("Window/UnlinkedListGeometry"));
    reg()[QStringLiteral("LinkedListState")] = settings.value(QStringLiteral("Window/LinkedListState"));
    reg()[QStringLiteral("LinkedListGeometry")] = settings.value(QStringLiteral("Window/LinkedListGeometry"));
}

void writeBack(QSettings& settings, bool recordingStarted, const WindowLayout& layout)
{
    settings.setValue(QStringLiteral("Application/Started"), recordingStarted);
    settings.setValue(QStringLiteral("Application/HideUnder"), reg()[QStringLiteral("HideUnder")].toInt());
    settings.setValue(QStringLiteral("Application/Ignored"), reg()[QStringLiteral("IgnoredApps")].toStringList());
    settings.setValue(QStringLiteral("Application/IdleLimit"), reg()[QStringLiteral("IdleLimit")].toInt());
    settings.setValue(QStringLiteral("Application/IdleEnabled"), reg()[QStringLiteral("IdleEnabled")].toBool());
    settings.setValue(QStringLiteral("API/Username"), reg()[QStringLiteral("Username")].toString());
    settings.setValue(QStringLiteral("Window/Geometry"), layout.geometry);
    settings.setValue(QStringLiteral("Window/State"), layout.state);
    settings.setValue(QStringLiteral("Window/UnlinkedListGeometry"), layout.unlinkedListGeometry);
    settings.setValue(QStringLiteral("Window/UnlinkedListState"), layout.unlinkedListState);
    settings.setValue(QStringLiteral("Window/LinkedListGeometry"), layout.linkedListGeometry);
    settings.setValue(QStringLiteral("Window/LinkedListState"), layout.linkedListState);
    settings.setValue(QStringLiteral("Application/GroupByHour"), reg()[QStringLiteral("GroupByHour")].toBool());
    settings.setValue(QStringLiteral("Proxy/Enabled"), reg()[QStringLiteral("ProxyEnabled")].toBool());
    settings.setValue(QStringLiteral("Proxy/Host"), reg()[QStringLiteral("ProxyHost")].toString());
    settings.setValue(QStringLiteral("Proxy/Port"), reg()[QStringLiteral("ProxyPort")].toString());
    settings.setValue(QStringLiteral("API/SslEnabled"), reg()[QStringLiteral("SslEnabled")].toBool());
    settings.setValue(QStringLiteral("Application/CloseToTray"), reg()[QStringLiteral("CloseToTray")].toBool());
    settings.setValue(QStringLiteral("Application/MinimizeToTray"), reg()[QStringLiteral("MinimizeToTray")].toBool());
    settings.setValue(QStringLiteral("Application/SingleClickTrayOpen"),
                      reg()[QStringLiteral("SingleClickTrayOpen")].toBool());
    settings.setValue(QStringLiteral("Extensions/AdobeEnabled"),
                      reg()[QStringLiteral("ExtensionsAdobeEnabled")].toBool());
    settings.sync();
}

} // namespace SettingsFile
