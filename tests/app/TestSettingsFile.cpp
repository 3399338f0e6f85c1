#include "app/CredentialStore.h"
#include "app/Registry.h"
#include "app/SecretStore.h"
#include "app/SettingsFile.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

// Settings as they travel between the INI file and the registry.
class TestSettingsFile : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;
    QString iniPath() const { return dir.filePath(QStringLiteral("verrinplus.ini")); }
    QVariant reg(const char* key) const { return Registry::instance()->value(QLatin1String(key)); }
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
        QCOMPARE(reg("IdleLimit").toInt(), 5);
        QCOMPARE(reg("IdleEnabled").toBool(), true);
        QCOMPARE(reg("CloseToTray").toBool(), true);
        QCOMPARE(reg("MinimizeToTray").toBool(), false);
        QCOMPARE(reg("SingleClickTrayOpen").toBool(), true);
        QCOMPARE(reg("SslEnabled").toBool(), true);
        QCOMPARE(reg("ExtensionsAdobeEnabled").toBool(), true);
        QCOMPARE(reg("HideUnder").toInt(), 0);
        QCOMPARE(reg("GroupByHour").toBool(), false);
        QCOMPARE(reg("IgnoredApps").toStringList(), QStringList());
        QCOMPARE(reg("Password").toString(), QString());
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
        QCOMPARE(reg("ApiBaseUrl").toString(), QString::fromLatin1(SettingsFile::kDefaultApiBaseUrl));
        QCOMPARE(reg("RealApiBaseUrl").toString(), QString::fromLatin1(SettingsFile::kDefaultApiBaseUrl));
        QCOMPARE(reg("Username").toString(), QStringLiteral("ann@example.com"));
        QCOMPARE(reg("IdleLimit").toInt(), 12);
    }

    void storedAddressIsTakenRaw_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("ssl");
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("real");
        QTest::newRow("https with ssl") << "https://h.test/service/" << true << "https://h.test/service/"
                                        << "https://h.test/service/";
        QTest::newRow("https without ssl") << "HTTPS://h.test/service/" << false << "HTTPS://h.test/service/"
                                           << "http://h.test/service/";
        QTest::newRow("http stays") << "http://127.0.0.1:8080/service/" << false << "http://127.0.0.1:8080/service/"
                                    << "http://127.0.0.1:8080/service/";
        QTest::newRow("blanks win") << "   " << true << "   "
                                    << "   ";
    }

    void storedAddressIsTakenRaw()
    {
        QFETCH(QString, stored);
        QFETCH(bool, ssl);
        QFETCH(QString, base);
        QFETCH(QString, real);
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            settings.setValue(QStringLiteral("API/Url"), stored);
            settings.setValue(QStringLiteral("API/SslEnabled"), ssl);
        }
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(reg("ApiBaseUrl").toString(), base);
        QCOMPARE(reg("RealApiBaseUrl").toString(), real);
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
            (*Registry::instance())[QStringLiteral("Password")] = password;
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
        QCOMPARE(reg("Password").toString(), password);
    }

    void writeBackRoundTrip()
    {
        WindowLayout layout;
        layout.geometry = QByteArray("\x01\x02geometry", 10);
        layout.unlinkedListState = QByteArrayLiteral("unlinked-state");
        {
            QSettings settings(iniPath(), QSettings::IniFormat);
            SettingsFile::readIntoRegistry(settings);
            Registry& r = *Registry::instance();
            r[QStringLiteral("IgnoredApps")] = QStringList{QStringLiteral("/usr/bin/a b"), QStringLiteral("/x,y")};
            r[QStringLiteral("IdleLimit")] = 9;
            r[QStringLiteral("IdleEnabled")] = false;
            r[QStringLiteral("HideUnder")] = 60;
            r[QStringLiteral("GroupByHour")] = true;
            r[QStringLiteral("ProxyEnabled")] = true;
            r[QStringLiteral("ProxyHost")] = QStringLiteral("proxy.test");
            r[QStringLiteral("ProxyPort")] = QStringLiteral("3128");
            r[QStringLiteral("CloseToTray")] = false;
            r[QStringLiteral("ExtensionsAdobeEnabled")] = false;
            r[QStringLiteral("AuthToken")] = QStringLiteral("tok");
            writeBack(settings, false, layout);
        }
        Registry::drop();
        QSettings settings(iniPath(), QSettings::IniFormat);
        SettingsFile::readIntoRegistry(settings);
        QCOMPARE(reg("IgnoredApps").toStringList(),
                 (QStringList{QStringLiteral("/usr/bin/a b"), QStringLiteral("/x,y")}));
        QCOMPARE(reg("IdleLimit").toInt(), 9);
        QCOMPARE(reg("IdleEnabled").toBool(), false);
        QCOMPARE(reg("HideUnder").toInt(), 60);
        QCOMPARE(reg("GroupByHour").toBool(), true);
        QCOMPARE(reg("ProxyEnabled").toBool(), true);
        QCOMPARE(reg("ProxyHost").toString(), QStringLiteral("proxy.test"));
        QCOMPARE(reg("ProxyPort").toString(), QStringLiteral("3128"));
        QCOMPARE(reg("CloseToTray").toBool(), false);
        QCOMPARE(reg("ExtensionsAdobeEnabled").toBool(), false);
        QCOMPARE(reg("AuthToken").toString(), QStringLiteral("tok"));
        QCOMPARE(reg("UnlinkedListState").toByteArray(), layout.unlinkedListState);
        QCOMPARE(settings.value(QStringLiteral("Window/Geometry")).toByteArray(), layout.geometry);
        QCOMPARE(settings.value(QStringLiteral("Application/Started")).toBool(), false);
        // The service address and key are only ever written by the user, never by the write-back.
        QVERIFY(!settings.contains(QStringLiteral("API/Url")));
        QVERIFY(!settings.contains(QStringLiteral("API/ApiKey")));
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
        QCOMPARE(reg("IdleLimit").toInt(), 0);
        QVERIFY(reg("Password").toString().size() < 20);
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
