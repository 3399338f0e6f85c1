#pragma once

#include "app/Registry.h"

#include <QByteArray>
#include <QSettings>
#include <QString>

// The preferences the settings dialog edits, moved as one value between the registry, the dialog
// and (on the first run) the settings file. A default-constructed value holds the defaults.
struct EditableSettings
{
    EditableSettings() : EditableSettings(StoredSettings()) {}
    explicit EditableSettings(const StoredSettings& from);
    void applyTo(StoredSettings& to) const;

    bool idleEnabled;
    int idleLimit; // minutes
    QString username;
    QString password;
    bool proxyEnabled;
    QString proxyHost;
    QString proxyPort; // kept as text, as typed
    bool sslEnabled;
    bool closeToTray;
    bool minimizeToTray;
    bool singleClickTrayOpen;

    static EditableSettings fromRegistry();
    void toRegistry() const;
};

// Header layouts of the two entry views and the window's own geometry, saved at every close.
struct WindowLayout
{
    QByteArray geometry;
    QByteArray state;
    QByteArray unlinkedListGeometry;
    QByteArray unlinkedListState;
    QByteArray linkedListGeometry;
    QByteArray linkedListState;
};

// Moves settings between the INI file and the registry: read once at start, written back at every
// close of the main window. One table in SettingsFile.cpp names every key, its default and the
// member of StoredSettings it fills; reading, writing and the defaults all walk it.
namespace SettingsFile {

inline constexpr const char* kDefaultApiBaseUrl = "https://www.verrin.com/service/";

QString userAgent();

// Passwords are kept as Base64 of their UTF-8 bytes, and read back the same way, so any password
// survives a restart intact.
QString encodePassword(const QString& password);
QString decodePassword(const QString& stored);

// What the first-run dialog starts from (the defaults of a still empty file).
EditableSettings readEditable(const QSettings& settings);
// Writes what the first-run dialog returned, including the service address.
void writeFirstRun(QSettings& settings, const EditableSettings& values);

// Copies every setting into the registry, with its default when absent (the password and token
// too, as far as the file holds them; CredentialStore then looks in the keyring).
void readIntoRegistry(const QSettings& settings);

// Copies the registry (and the window's layout and recording state) back into the file. The password
// and the token are not among them: CredentialStore puts those where they belong.
void writeBack(QSettings& settings, bool recordingStarted, const WindowLayout& layout);

} // namespace SettingsFile
