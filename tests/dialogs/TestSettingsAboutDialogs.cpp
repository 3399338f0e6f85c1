#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/DataPaths.h"
#include "dialogs/AboutDialog.h"
#include "dialogs/SettingsDialog.h"

#include <QCheckBox>
#include <QDebug>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

class TestSettingsAboutDialogs : public QObject
{
    Q_OBJECT

private:
    template <typename T>
    static T* child(QWidget* parent, const char* name)
    {
        T* widget = parent->findChild<T*>(QLatin1String(name));
        if (!widget) {
            qFatal("missing widget %s", name);
        }
        return widget;
    }

    static EditableSettings sample()
    {
        EditableSettings s;
        s.idleEnabled = false;
        s.idleLimit = 25;
        s.username = QStringLiteral("ann@example.com");
        s.password = QStringLiteral("pä ss");
        s.proxyEnabled = true;
        s.proxyHost = QStringLiteral("proxy.test");
        s.proxyPort = QStringLiteral("3128");
        s.sslEnabled = false;
        s.closeToTray = false;
        s.minimizeToTray = true;
        s.singleClickTrayOpen = false;
        return s;
    }

    static QString text(const EditableSettings& s)
    {
        QString out;
        QDebug(&out) << s.idleEnabled << s.idleLimit << s.username << s.password << s.proxyEnabled << s.proxyHost
                     << s.proxyPort << s.sslEnabled << s.closeToTray << s.minimizeToTray << s.singleClickTrayOpen;
        return out;
    }

private slots:
    void putThenGetKeepsEveryValue()
    {
        SettingsDialog dialog;
        dialog.setValues(sample());
        dialog.putData();
        QVERIFY(child<QLabel>(&dialog, "labelProxyNote")->isHidden());
        QVERIFY(!child<QWidget>(&dialog, "inactivityGroup")->isEnabled());
        QCOMPARE(child<QSpinBox>(&dialog, "spinAwayLimit")->value(), 25);
        QVERIFY(child<QLineEdit>(&dialog, "editProxyHost")->isEnabled());
        dialog.setValues(EditableSettings{});
        dialog.getData();
        QCOMPARE(text(dialog.values()), text(sample()));
    }

    void connectionChangesShowTheRestartNote_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("proxy address") << "host";
        QTest::newRow("proxy port") << "port";
        QTest::newRow("proxy switch") << "proxy";
        QTest::newRow("ssl") << "ssl";
    }

    void connectionChangesShowTheRestartNote()
    {
        QFETCH(QString, change);
        SettingsDialog dialog;
        EditableSettings start;
        start.proxyEnabled = change == QLatin1String("host") || change == QLatin1String("port");
        dialog.setValues(start);
        dialog.putData();
        auto* note = child<QLabel>(&dialog, "labelProxyNote");
        QVERIFY(note->isHidden());
        if (change == QLatin1String("host")) {
            QTest::keyClick(child<QLineEdit>(&dialog, "editProxyHost"), Qt::Key_A);
        } else if (change == QLatin1String("port")) {
            QTest::keyClick(child<QLineEdit>(&dialog, "editProxyPort"), Qt::Key_8);
        } else if (change == QLatin1String("proxy")) {
            child<QCheckBox>(&dialog, "checkProxyEnabled")->click();
            QVERIFY(child<QLineEdit>(&dialog, "editProxyHost")->isEnabled());
        } else {
            child<QCheckBox>(&dialog, "checkSslEnabled")->click();
        }
        QVERIFY(!note->isHidden());
    }

    void theRestartNoteClipsNothing()
    {
        SettingsDialog dialog;
        dialog.setValues(EditableSettings{});
        dialog.putData();
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        // Every wrapped note keeps the height its text needs at its width, before and after the
        // restart note appears.
        for (bool noteShown : {false, true}) {
            if (noteShown) {
                child<QCheckBox>(&dialog, "checkSslEnabled")->click();
            }
            for (QLabel* label : dialog.findChildren<QLabel*>()) {
                if (label->isVisible() && label->wordWrap()) {
                    QTRY_VERIFY2(label->height() >= label->heightForWidth(label->width()), qPrintable(label->text()));
                }
            }
        }
    }

    void proxyPortIsAPortOrNothing()
    {
        // The stored text, and what is shown and saved of it.
        const QList<QPair<QString, QString>> cases{{"8080", "8080"}, {"70000", ""}, {"0", ""}, {"http", ""}, {"", ""}};
        for (const auto& [stored, shownAndSaved] : cases) {
            SettingsDialog dialog;
            EditableSettings values;
            values.proxyPort = stored;
            dialog.setValues(values);
            dialog.putData();
            QCOMPARE(child<QLineEdit>(&dialog, "editProxyPort")->text(), shownAndSaved);
            dialog.getData();
            QCOMPARE(dialog.values().proxyPort, shownAndSaved);
        }
    }

    void awayDetectionGreysButKeepsTheLimit()
    {
        SettingsDialog dialog;
        EditableSettings s;
        s.idleLimit = 42;
        dialog.setValues(s);
        dialog.putData();
        child<QCheckBox>(&dialog, "checkAwayEnabled")->click();
        QVERIFY(!child<QWidget>(&dialog, "inactivityGroup")->isEnabled());
        dialog.getData();
        QCOMPARE(dialog.idleEnabled, false);
        QCOMPARE(dialog.idleLimit, 42);
        // The inactivity limit never goes below one minute.
        QCOMPARE(child<QSpinBox>(&dialog, "spinAwayLimit")->minimum(), 1);
    }

    void aboutShowsBothPathsEvenWithoutFiles()
    {
        TempDataFolder data;
        AboutDialog about;
        const QString files = child<QLabel>(&about, "label_files")->text();
        QCOMPARE(files, QStringLiteral("INI File:\n") + data.dataFolder() + QStringLiteral("/verrinplus.ini") +
                            QStringLiteral("\nSQLite File:\n") + data.dataFolder() +
                            QStringLiteral("/verrinplus.sqlite"));
        QVERIFY(!QFile::exists(DataPaths::iniFile()));
        QSignalSpy check(&about, &AboutDialog::checkForUpdates);
        child<QPushButton>(&about, "btnCheckForUpdates")->click();
        QCOMPARE(check.size(), 1);
    }
};

VERRIN_TEST(TestSettingsAboutDialogs)
#include "TestSettingsAboutDialogs.moc"
