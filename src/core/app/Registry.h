#pragma once

#include "verrin/ProjectsCatalogue.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// Everything the settings file holds, typed. A default-constructed value holds the defaults of an
// empty settings file; SettingsFile's table says which key each member is kept under.
struct StoredSettings
{
    StoredSettings();

    QString apiUrl; // the service address as typed; see Registry::apiBaseUrl for the one used
    QString apiKey;
    QString username;
    QString password;
    QString authToken;
    QStringList ignoredApps;
    int idleLimit; // minutes
    bool idleEnabled;
    int hideUnder; // seconds
    bool groupByHour;
    bool proxyEnabled;
    QString proxyHost;
    QString proxyPort; // kept as text, as typed
    bool sslEnabled;
    bool closeToTray;
    bool minimizeToTray;
    bool singleClickTrayOpen;
    bool extensionsAdobeEnabled;
    bool recordingStarted;
    QByteArray windowGeometry;
    QByteArray windowState;
    QByteArray unlinkedListGeometry;
    QByteArray unlinkedListState;
    QByteArray linkedListGeometry;
    QByteArray linkedListState;
};

// Who the service says is signed in.
struct ServiceUser
{
    QString id;
    QString username;
    QString realname;
};

// The process-wide settings and run-time values (sign-in state, effective service address, the
// parsed catalogue). Read and written on the GUI thread only; the mutex guards creation alone.
class Registry
{
public:
    static Registry* instance();
    // Releases the instance; the next instance() starts from the defaults. Used by tests and at
    // process end.
    static void drop();

    // The settings as a whole, for SettingsFile and CredentialStore, which move them to and from disk.
    StoredSettings& settings() { return stored; }
    const StoredSettings& settings() const { return stored; }

    QString apiKey() const { return stored.apiKey; }
    void setApiKey(const QString& key) { stored.apiKey = key; }
    QString username() const { return stored.username; }
    void setUsername(const QString& name) { stored.username = name; }
    QString password() const { return stored.password; }
    void setPassword(const QString& text) { stored.password = text; }
    QString authToken() const { return stored.authToken; }
    void setAuthToken(const QString& token) { stored.authToken = token; }
    QStringList ignoredApps() const { return stored.ignoredApps; }
    void setIgnoredApps(const QStringList& paths) { stored.ignoredApps = paths; }
    int idleLimit() const { return stored.idleLimit; }
    void setIdleLimit(int minutes) { stored.idleLimit = minutes; }
    bool idleEnabled() const { return stored.idleEnabled; }
    void setIdleEnabled(bool on) { stored.idleEnabled = on; }
    int hideUnder() const { return stored.hideUnder; }
    void setHideUnder(int seconds) { stored.hideUnder = seconds; }
    bool groupByHour() const { return stored.groupByHour; }
    void setGroupByHour(bool on) { stored.groupByHour = on; }
    bool proxyEnabled() const { return stored.proxyEnabled; }
    QString proxyHost() const { return stored.proxyHost; }
    QString proxyPort() const { return stored.proxyPort; }
    bool closeToTray() const { return stored.closeToTray; }
    bool minimizeToTray() const { return stored.minimizeToTray; }
    bool singleClickTrayOpen() const { return stored.singleClickTrayOpen; }
    bool titleCleanupEnabled() const { return stored.extensionsAdobeEnabled; }
    void setTitleCleanupEnabled(bool on) { stored.extensionsAdobeEnabled = on; }
    // The saved header layout of the unlinked (or linked) entries view.
    QByteArray listState(bool linked) const { return linked ? stored.linkedListState : stored.unlinkedListState; }
    QByteArray listGeometry(bool linked) const
    {
        return linked ? stored.linkedListGeometry : stored.unlinkedListGeometry;
    }

    // The address requests go to: the typed one, with "https" turned into "http" when SSL is off.
    QString apiBaseUrl() const { return realApiBaseUrl; }
    void setApiBaseUrl(const QString& url) { realApiBaseUrl = url; }
    QString userAgent() const { return agent; }
    void setUserAgent(const QString& text) { agent = text; }

    bool isLoggedIn() const { return loggedIn; }
    void setLoggedIn(bool on) { loggedIn = on; }
    const ServiceUser& authUser() const { return user; }
    void setAuthUser(const ServiceUser& signedIn) { user = signedIn; }

    // What the entries filter field holds.
    QString filter() const { return filterText; }
    void setFilter(const QString& text) { filterText = text; }

    // The signed-in user's catalogue, parsed once as it arrives; empty when none arrived or the last
    // reply was not a usable catalogue (catalogueLoaded() tells which).
    const Catalogue& catalogue() const { return projects; }
    bool catalogueLoaded() const { return projectsLoaded; }
    void setCatalogue(const Catalogue& parsed, bool loaded)
    {
        projects = parsed;
        projectsLoaded = loaded;
    }
    Catalogue& editCatalogue() { return projects; }
    // The names of what linked time points at. They outlive the catalogue's tasks (a completed task
    // keeps its name) and take added tasks even when the catalogue could not.
    const CatalogueMaps& catalogueMaps() const { return maps; }
    CatalogueMaps& editCatalogueMaps() { return maps; }
    void setCatalogueMaps(const CatalogueMaps& names) { maps = names; }

private:
    Registry() = default;

    static Registry* m_Instance;
    StoredSettings stored;
    QString realApiBaseUrl;
    QString agent;
    bool loggedIn = false;
    ServiceUser user;
    QString filterText;
    Catalogue projects;
    bool projectsLoaded = false;
    CatalogueMaps maps;
};
