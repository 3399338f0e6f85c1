#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/CredentialStore.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"

#include <optional>

// Settings as they travel between the INI file and the registry.
class TestSettingsFile : public QObject
{
    Q_OBJECT

private:
    std::optional<QTemporaryDir> dir;
    QString iniPath() const { return dir->filePath("verrinplus.ini"); }
    static StoredSettings& s() { return Registry::instance()->settings(); }
    // Every key an older version wrote, none at its default.
    void writeOlderFile()
    {
        QSettings old(iniPath(), QSettings::IniFormat);
        const QList<QPair<QString, QVariant>> keys{{"API/Url", "HTTPS://127.0.0.1:9/service/"},
                                                   {"API/ApiKey", "key"},
                                                   {"API/Username", "ann@example.com"},
                                                   {"API/Password", SettingsFile::encodePassword("pä ss 密码🔑")},
                                                   {"API/AuthToken", "tok"},
                                                   {"API/SslEnabled", false},
                                                   {"Application/Ignored", QStringList{"/usr/bin/a b", "/x,y"}},
                                                   {"Application/IdleLimit", 9},
                                                   {"Application/IdleEnabled", false},
                                                   {"Application/HideUnder", 60},
                                                   {"Application/GroupByHour", true},
                                                   {"Application/CloseToTray", false},
                                                   {"Application/MinimizeToTray", true},
                                                   {"Application/SingleClickTrayOpen", false},
                                                   {"Application/Started", true},
                                                   {"Proxy/Enabled", true},
                                                   {"Proxy/Host", "proxy.test"},
                                                   {"Proxy/Port", "3128"},
                                                   {"Extensions/AdobeEnabled", false},
                                                   {"Window/Geometry", QByteArray("\x01geo", 4)},
                                                   {"Window/State", QByteArray("state")},
                                                   {"Window/UnlinkedListGeometry", QByteArray("ug")},
                                                   {"Window/UnlinkedListState", QByteArray("us")},
                                                   {"Window/LinkedListGeometry", QByteArray("lg")},
                                                   {"Window/LinkedListState", QByteArray("ls")}};
        for (const auto& [key, value] : keys) {
            old.setValue(key, value);
        }
    }

private slots:
    void initTestCase() { qputenv("VERRINPLUS_KEYRING", "off"); }

    void init()
    {
        Registry::drop();
        dir.emplace();
    }

    // A load and a close keep every key, name and value an older version wrote; the service address
    // (as typed, used over plain HTTP as TLS is off) and key are only ever written by the user.
    void olderFileKeepsEveryKey()
    {
        writeOlderFile();
        QSettings old(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(old);
        QCOMPARE(s().password, "pä ss 密码🔑");
        QCOMPARE(Registry::instance()->apiBaseUrl(), "http://127.0.0.1:9/service/");
        QCOMPARE(s().unlinkedListGeometry + s().unlinkedListState + s().linkedListGeometry + s().linkedListState,
                 "uguslgls");
        // The window's layout is what it passes at close, whatever the registry holds.
        for (QByteArray* field : {&s().windowGeometry, &s().windowState, &s().unlinkedListGeometry,
                                  &s().unlinkedListState, &s().linkedListGeometry, &s().linkedListState}) {
            field->clear();
        }
        QSettings saved(dir->filePath("saved.ini"), QSettings::IniFormat);
        // The window's close, the password and token included (with the keyring off, they go to the file).
        SettingsFile::writeBack(saved, true, WindowLayout{QByteArray("\x01geo", 4), "state", "ug", "us", "lg", "ls"});
        SecretStore keyring;
        CredentialStore(saved, keyring, dir->path()).save();
        QByteArray expected = fileContents(iniPath());
        expected.replace("ApiKey=key\n", "").replace("Url=HTTPS://127.0.0.1:9/service/\n", "");
        QCOMPARE(fileContents(saved.fileName()), expected);
    }

    // The first start's dialog writes what it edits, and the default service address.
    void firstRunWritesTheEditedKeys()
    {
        writeOlderFile();
        const QSettings old(iniPath(), QSettings::IniFormat);
        QSettings first(dir->filePath("first.ini"), QSettings::IniFormat);
        SettingsFile::writeFirstRun(first, SettingsFile::readEditable(old));
        const QStringList keys = first.allKeys();
        QCOMPARE(keys,
                 (QStringList{"API/Password", "API/SslEnabled", "API/Url", "API/Username", "Application/CloseToTray",
                              "Application/IdleEnabled", "Application/IdleLimit", "Application/MinimizeToTray",
                              "Application/SingleClickTrayOpen", "Proxy/Enabled", "Proxy/Host", "Proxy/Port"}));
        for (const QString& key : keys) {
            const QString expected = key == "API/Url" ? SettingsFile::kDefaultApiBaseUrl : old.value(key).toString();
            QVERIFY2(first.value(key).toString() == expected, qPrintable(key));
        }
    }
};

QTEST_GUILESS_MAIN(TestSettingsFile)
#include "TestSettingsFile.moc"
