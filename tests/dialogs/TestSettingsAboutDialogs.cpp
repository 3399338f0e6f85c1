#include "TestKit.h"
#include "dialogs/SettingsDialog.h"

#include <QCheckBox>
#include <QDebug>
#include <QLineEdit>
#include <QSpinBox>

namespace {
template <typename T = QWidget>
T* child(QWidget* parent, const char* name)
{
    T* widget = parent->findChild<T*>(QLatin1String(name));
    if (!widget) {
        qFatal("missing widget %s", name);
    }
    return widget;
}

QString text(const EditableSettings& s)
{
    QString out;
    QDebug(&out) << s.idleEnabled << s.idleLimit << s.username << s.password << s.proxyEnabled << s.proxyHost
                 << s.proxyPort << s.sslEnabled << s.closeToTray << s.minimizeToTray << s.singleClickTrayOpen;
    return out;
}
} // namespace

class TestSettingsAboutDialogs : public QObject
{
    Q_OBJECT

private slots:
    void putThenGetKeepsEveryValue()
    {
        EditableSettings sample; // every value away from its default
        sample.idleEnabled = false;
        sample.idleLimit = 25;
        sample.username = QStringLiteral("ann@example.com");
        sample.password = QStringLiteral("pä ss");
        sample.proxyEnabled = true;
        sample.proxyHost = QStringLiteral("proxy.test");
        sample.proxyPort = QStringLiteral("3128");
        sample.sslEnabled = sample.closeToTray = sample.singleClickTrayOpen = false;
        sample.minimizeToTray = true;
        SettingsDialog dialog;
        dialog.setValues(sample);
        dialog.putData();
        dialog.setValues(EditableSettings{});
        dialog.getData();
        QCOMPARE(text(dialog.values()), text(sample));
        // Away detection switched on and off again keeps the limit; never under a minute.
        child<QCheckBox>(&dialog, "checkAwayEnabled")->click();
        child<QCheckBox>(&dialog, "checkAwayEnabled")->click();
        dialog.getData();
        QCOMPARE(dialog.idleLimit, 25);
        QCOMPARE(child<QSpinBox>(&dialog, "spinAwayLimit")->minimum(), 1);
        // A stored proxy port that is not a port is neither shown nor saved.
        for (const char* notAPort : {"70000", "0", "http"}) {
            sample.proxyPort = QLatin1String(notAPort);
            dialog.setValues(sample);
            dialog.putData();
            QCOMPARE(child<QLineEdit>(&dialog, "editProxyPort")->text(), QString());
            dialog.getData();
            QCOMPARE(dialog.values().proxyPort, QString());
        }
    }

    void connectionChangesShowTheRestartNote()
    {
        const struct
        {
            const char* name;
            bool proxyOn;
            std::function<void(SettingsDialog*)> change;
        } cases[] = {
            {"proxy address", true, [](SettingsDialog* d) { QTest::keyClick(child(d, "editProxyHost"), Qt::Key_A); }},
            {"proxy port", true, [](SettingsDialog* d) { QTest::keyClick(child(d, "editProxyPort"), Qt::Key_8); }},
            {"proxy switch", false, [](SettingsDialog* d) { child<QCheckBox>(d, "checkProxyEnabled")->click(); }},
            {"ssl", false, [](SettingsDialog* d) { child<QCheckBox>(d, "checkSslEnabled")->click(); }},
        };
        for (const auto& c : cases) {
            SettingsDialog dialog;
            EditableSettings start;
            start.proxyEnabled = c.proxyOn;
            dialog.setValues(start);
            dialog.putData();
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            QVERIFY2(child(&dialog, "labelProxyNote")->isHidden(), c.name);
            c.change(&dialog);
            QVERIFY2(!child(&dialog, "labelProxyNote")->isHidden(), c.name);
        }
    }
};

VERRIN_TEST(TestSettingsAboutDialogs)
#include "TestSettingsAboutDialogs.moc"
