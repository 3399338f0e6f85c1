#include "app/SettingsFile.h"

#include "verrin/Session.h"

#include <functional>

namespace {

// How a key is used: read at start, written back at close, written by the first-run dialog.
enum Use : unsigned
{
    Load = 1,
    Save = 2,
    FirstRun = 4,
    Base64 = 8,    // the password: Base64 of its UTF-8 in the file
    AsStored = 16, // read as the file has it, blank when absent, never the default
};

struct Key
{
    const char* ini;
    QVariant fallback;
    unsigned use;
    std::function<QVariant(const StoredSettings&)> get;
    std::function<void(StoredSettings&, const QVariant&)> set;
};

void convert(const QVariant& v, QString* out)
{
    *out = v.toString();
}
void convert(const QVariant& v, QStringList* out)
{
    *out = v.toStringList();
}
void convert(const QVariant& v, int* out)
{
    *out = v.toInt();
}
void convert(const QVariant& v, bool* out)
{
    *out = v.toBool();
}
void convert(const QVariant& v, QByteArray* out)
{
    *out = v.toByteArray();
}

template <typename T>
Key key(const char* ini, const T& fallback, unsigned use, T StoredSettings::*member)
{
    return Key{ini, QVariant::fromValue(fallback), use,
               [member](const StoredSettings& s) { return QVariant::fromValue(s.*member); },
               [member](StoredSettings& s, const QVariant& v) { convert(v, &(s.*member)); }};
}

// Every key of the settings file. The password and the token are only read here: CredentialStore
// writes them where they belong.
const std::vector<Key>& table()
{
    using S = StoredSettings;
    static const std::vector<Key> keys{
        key("API/Url", QString::fromLatin1(SettingsFile::kDefaultApiBaseUrl), Load | AsStored | FirstRun, &S::apiUrl),
        key("API/ApiKey", QString(), Load, &S::apiKey),
        key("API/Username", QString(), Load | Save | FirstRun, &S::username),
        key("API/Password", QString(), Load | FirstRun | Base64, &S::password),
        key("API/AuthToken", QString(), Load, &S::authToken),
        key("API/SslEnabled", true, Load | Save | FirstRun, &S::sslEnabled),
        key("Application/Ignored", QStringList(), Load | Save, &S::ignoredApps),
        key("Application/IdleLimit", 5, Load | Save | FirstRun, &S::idleLimit),
        key("Application/IdleEnabled", true, Load | Save | FirstRun, &S::idleEnabled),
        key("Application/HideUnder", 0, Load | Save, &S::hideUnder),
        key("Application/GroupByHour", false, Load | Save, &S::groupByHour),
        key("Application/CloseToTray", true, Load | Save | FirstRun, &S::closeToTray),
        key("Application/MinimizeToTray", false, Load | Save | FirstRun, &S::minimizeToTray),
        key("Application/SingleClickTrayOpen", true, Load | Save | FirstRun, &S::singleClickTrayOpen),
        key("Application/Started", false, Save, &S::recordingStarted),
        key("Proxy/Enabled", false, Load | Save | FirstRun, &S::proxyEnabled),
        key("Proxy/Host", QString(), Load | Save | FirstRun, &S::proxyHost),
        key("Proxy/Port", QString(), Load | Save | FirstRun, &S::proxyPort),
        key("Extensions/AdobeEnabled", true, Load | Save, &S::extensionsAdobeEnabled),
        key("Window/Geometry", QByteArray(), Save, &S::windowGeometry),
        key("Window/State", QByteArray(), Save, &S::windowState),
        key("Window/UnlinkedListGeometry", QByteArray(), Load | Save, &S::unlinkedListGeometry),
        key("Window/UnlinkedListState", QByteArray(), Load | Save, &S::unlinkedListState),
        key("Window/LinkedListGeometry", QByteArray(), Load | Save, &S::linkedListGeometry),
        key("Window/LinkedListState", QByteArray(), Load | Save, &S::linkedListState),
    };
    return keys;
}

// The file's values, each key's default where it has none. `loading` keeps AsStored keys as stored.
StoredSettings read(const QSettings& settings, bool loading)
{
    StoredSettings values;
    for (const Key& k : table()) {
        const QString name = QLatin1String(k.ini);
        QVariant v = settings.value(name, loading && (k.use & AsStored) ? QVariant() : k.fallback);
        if (k.use & Base64) {
            v = SettingsFile::decodePassword(v.toString());
        }
        k.set(values, v);
    }
    return values;
}

void write(QSettings& settings, const StoredSettings& values, Use which)
{
    for (const Key& k : table()) {
        if (k.use & which) {
            const QVariant v = k.get(values);
            settings.setValue(QLatin1String(k.ini),
                              k.use & Base64 ? QVariant(SettingsFile::encodePassword(v.toString())) : v);
        }
    }
}

} // namespace

StoredSettings::StoredSettings()
{
    for (const Key& k : table()) {
        k.set(*this, k.fallback);
    }
}

EditableSettings::EditableSettings(const StoredSettings& from)
    : idleEnabled(from.idleEnabled), idleLimit(from.idleLimit), username(from.username), password(from.password),
      proxyEnabled(from.proxyEnabled), proxyHost(from.proxyHost), proxyPort(from.proxyPort),
      sslEnabled(from.sslEnabled), closeToTray(from.closeToTray), minimizeToTray(from.minimizeToTray),
      singleClickTrayOpen(from.singleClickTrayOpen)
{
}

void EditableSettings::applyTo(StoredSettings& to) const
{
    to.idleEnabled = idleEnabled;
    to.idleLimit = idleLimit;
    to.username = username;
    to.password = password;
    to.proxyEnabled = proxyEnabled;
    to.proxyHost = proxyHost;
    to.proxyPort = proxyPort;
    to.sslEnabled = sslEnabled;
    to.closeToTray = closeToTray;
    to.minimizeToTray = minimizeToTray;
    to.singleClickTrayOpen = singleClickTrayOpen;
}

EditableSettings EditableSettings::fromRegistry()
{
    return EditableSettings(Registry::instance()->settings());
}

void EditableSettings::toRegistry() const
{
    applyTo(Registry::instance()->settings());
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
    return EditableSettings(read(settings, false));
}

void writeFirstRun(QSettings& settings, const EditableSettings& values)
{
    // The service address stays as the file has it, else the default.
    StoredSettings all = read(settings, false);
    values.applyTo(all);
    write(settings, all, FirstRun);
    settings.sync();
}

void readIntoRegistry(const QSettings& settings)
{
    Registry& registry = *Registry::instance();
    const StoredSettings& loaded = registry.settings() = read(settings, true);
    registry.setApiBaseUrl(Session::getApiBaseUrl(loaded.apiUrl, loaded.sslEnabled));
}

void writeBack(QSettings& settings, bool recordingStarted, const WindowLayout& layout)
{
    StoredSettings values = Registry::instance()->settings();
    values.recordingStarted = recordingStarted;
    values.windowGeometry = layout.geometry;
    values.windowState = layout.state;
    values.unlinkedListGeometry = layout.unlinkedListGeometry;
    values.unlinkedListState = layout.unlinkedListState;
    values.linkedListGeometry = layout.linkedListGeometry;
    values.linkedListState = layout.linkedListState;
    write(settings, values, Save);
    settings.sync();
}

} // namespace SettingsFile
