#include "TestKit.h"
#include "app/CredentialStore.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"

// Settings as they travel between the INI file and the registry.
class TestSettingsFile : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;
    QString iniPath() const { return dir.filePath(QStringLiteral("verrinplus.ini")); }
    static StoredSettings& s() { return Registry::instance()->settings(); }
    // The window's close as far as the settings file goes, the password and token included (with the
    // keyring switched off, they go to the file).
    void writeBack(QSettings& settings, bool recording, const WindowLayout& layout)
    {
        SettingsFile::writeBack(settings, recording, layout);
        SecretStore keyring;
        CredentialStore(settings, keyring, dir.path()).save();
    }

private slots:
    void initTestCase() { qputenv("VERRINPLUS_KEYRING", "off"); }

    void init()
    {
        Registry::drop();
        QFile::remove(iniPath());
    }

    void emptyFileGivesDefaults()
    {
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(s().idleLimit, 5);
        QCOMPARE(s().idleEnabled, true);
        QCOMPARE(s().closeToTray, true);
        QCOMPARE(s().minimizeToTray, false);
        QCOMPARE(s().singleClickTrayOpen, true);
        QCOMPARE(s().sslEnabled, true);
        QCOMPARE(s().extensionsAdobeEnabled, true);
        QCOMPARE(s().hideUnder, 0);
        QCOMPARE(s().groupByHour, false);
        QCOMPARE(s().ignoredApps, QStringList());
        QCOMPARE(s().password, QString());
    }

    void firstRunWritesTheServiceAddress()
    {
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            EditableSettings values = SettingsFile::readEditable(settings);
            values.username = QStringLiteral("ann@example.com");
            values.idleLimit = 12;
            SettingsFile::writeFirstRun(settings, values);
        }
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(s().apiUrl, QString::fromLatin1(SettingsFile::kDefaultApiBaseUrl));
        QCOMPARE(Registry::instance()->apiBaseUrl(), QString::fromLatin1(SettingsFile::kDefaultApiBaseUrl));
        QCOMPARE(s().username, QStringLiteral("ann@example.com"));
        QCOMPARE(s().idleLimit, 12);
    }

    void storedAddressIsTakenRaw_data()
    {
        QTest::addColumn<QString>("stored"); // kept as typed
        QTest::addColumn<bool>("ssl");
        QTest::addColumn<QString>("real");
        QTest::newRow("https with ssl") << "https://h.test/service/" << true << "https://h.test/service/";
        QTest::newRow("https without ssl") << "HTTPS://h.test/service/" << false << "http://h.test/service/";
        QTest::newRow("http stays") << "http://127.0.0.1:8080/service/" << false << "http://127.0.0.1:8080/service/";
        QTest::newRow("blanks win") << "   " << true << "   ";
    }

    void storedAddressIsTakenRaw()
    {
        QFETCH(QString, stored);
        QFETCH(bool, ssl);
        QFETCH(QString, real);
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            settings.setValue(QStringLiteral("API/Url"), stored);
            settings.setValue(QStringLiteral("API/SslEnabled"), ssl);
        }
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(s().apiUrl, stored);
        QCOMPARE(Registry::instance()->apiBaseUrl(), real);
    }

    void passwordSurvivesARestart_data()
    {
        QTest::addColumn<QString>("password");
        QTest::newRow("ascii") << "secret";
        QTest::newRow("umlauts") << QStringLiteral("Päßwörd");
        QTest::newRow("cjk and emoji") << QStringLiteral("密码🔑");
        QTest::newRow("symbols") << "a=b&c;\"d\" e";
        QTest::newRow("empty") << "";
    }

    void passwordSurvivesARestart()
    {
        QFETCH(QString, password);
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            SettingsFile::readIntoRegistry(settings);
            Registry::instance()->setPassword(password);
            writeBack(settings, true, WindowLayout{});
        }
        QSettings raw(iniPath(), QSettings::IniFormat);
        // Never stored as plain text.
        if (!password.isEmpty()) {
            QVERIFY(raw.value(QStringLiteral("API/Password")).toString() != password);
        }
        QCOMPARE(raw.value(QStringLiteral("API/Password")).toString(),
                 QString::fromLatin1(password.toUtf8().toBase64()));
        Registry::drop();
        SettingsFile::readIntoRegistry(raw);
        QCOMPARE(s().password, password);
    }

    void writeBackRoundTrip()
    {
        WindowLayout layout;
        layout.geometry = QByteArray("\x01\x02geometry", 10);
        layout.unlinkedListState = QByteArrayLiteral("unlinked-state");
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            SettingsFile::readIntoRegistry(settings);
            s().ignoredApps = QStringList{QStringLiteral("/usr/bin/a b"), QStringLiteral("/x,y")};
            s().idleLimit = 9;
            s().idleEnabled = false;
            s().hideUnder = 60;
            s().groupByHour = true;
            s().proxyEnabled = true;
            s().proxyHost = QStringLiteral("proxy.test");
            s().proxyPort = QStringLiteral("3128");
            s().closeToTray = false;
            s().extensionsAdobeEnabled = false;
            s().authToken = QStringLiteral("tok");
            writeBack(settings, false, layout);
        }
        Registry::drop();
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(s().ignoredApps, (QStringList{QStringLiteral("/usr/bin/a b"), QStringLiteral("/x,y")}));
        QCOMPARE(s().idleLimit, 9);
        QCOMPARE(s().idleEnabled, false);
        QCOMPARE(s().hideUnder, 60);
        QCOMPARE(s().groupByHour, true);
        QCOMPARE(s().proxyEnabled, true);
        QCOMPARE(s().proxyHost, QStringLiteral("proxy.test"));
        QCOMPARE(s().proxyPort, QStringLiteral("3128"));
        QCOMPARE(s().closeToTray, false);
        QCOMPARE(s().extensionsAdobeEnabled, false);
        QCOMPARE(s().authToken, QStringLiteral("tok"));
        QCOMPARE(s().unlinkedListState, layout.unlinkedListState);
        QCOMPARE(settings.value(QStringLiteral("Window/Geometry")).toByteArray(), layout.geometry);
        QCOMPARE(settings.value(QStringLiteral("Application/Started")).toBool(), false);
        // The service address and key are only ever written by the user, never by the write-back.
        QVERIFY(!settings.contains(QStringLiteral("API/Url")));
        QVERIFY(!settings.contains(QStringLiteral("API/ApiKey")));
    }

    // A file an older version wrote keeps every key, name and value through a load and a save.
    void olderFileLoadsAndSavesUnchanged()
    {
        const QList<QPair<QString, QVariant>> keys{
            {"API/Url", "http://127.0.0.1:9/service/"},
            {"API/ApiKey", "key"},
            {"API/Username", "ann@example.com"},
            {"API/Password", SettingsFile::encodePassword(QStringLiteral("pä ss"))},
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
        {
            QSettings old(iniPath(), QSettings::IniFormat);
            for (const auto& [key, value] : keys) {
                old.setValue(key, value);
            }
        }
        QFile file(iniPath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray before = file.readAll();
        file.close();
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            SettingsFile::readIntoRegistry(settings);
            QCOMPARE(s().password, QStringLiteral("pä ss"));
            QCOMPARE(Registry::instance()->apiBaseUrl(), QStringLiteral("http://127.0.0.1:9/service/"));
            writeBack(settings, true,
                      WindowLayout{QByteArray("\x01geo", 4), "state", s().unlinkedListGeometry, s().unlinkedListState,
                                   s().linkedListGeometry, s().linkedListState});
        }
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), before);
    }

    void garbageValuesReadAsEmpty()
    {
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            settings.setValue(QStringLiteral("Application/IdleLimit"), QStringLiteral("lots"));
            settings.setValue(QStringLiteral("API/Password"), QStringLiteral("%%%not base64%%%"));
        }
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(s().idleLimit, 0);
        QVERIFY(s().password.size() < 20);
    }

    void editableSettingsThroughTheRegistry()
    {
        EditableSettings values;
        values.username = QStringLiteral("u");
        values.password = QStringLiteral("p");
        values.proxyPort = QStringLiteral("8080");
        values.minimizeToTray = true;
        values.idleLimit = 17;
        values.toRegistry();
        const EditableSettings back = EditableSettings::fromRegistry();
        QCOMPARE(back.username, values.username);
        QCOMPARE(back.password, values.password);
        QCOMPARE(back.proxyPort, values.proxyPort);
        QCOMPARE(back.minimizeToTray, true);
        QCOMPARE(back.idleLimit, 17);
    }
};

QTEST_GUILESS_MAIN(TestSettingsFile)
#include "TestSettingsFile.moc"
