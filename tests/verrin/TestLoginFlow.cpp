// Signing in through the real login dialog against the local service: a refusal brings the
// dialog back with the service's message, a corrected password signs in.
#include "ModalDialogHelper.h"
#include "ServiceFixture.h"
#include "TestMain.h"
#include "app/Registry.h"
#include "verrin/LoginDialogPrompt.h"
#include "verrin/Session.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

class TestLoginFlow : public ServiceTest
{
    Q_OBJECT

    QWidget window;

    void cleanupEach() override { cancelModalHandlers(); }

private slots:
    void dialogAnswersTheSession_data()
    {
        QTest::addColumn<QString>("storedUser");
        QTest::addColumn<QString>("typedPassword"); // empty: Cancel
        QTest::addColumn<QString>("expectedForm");  // "user|password|error|error shown"
        QTest::addColumn<QString>("expectedPassword");
        const QString correct = QStringLiteral("p+ss &=w%rd ü/?#");
        const QString refused = QStringLiteral("|stale|Invalid email or password|1");
        QTest::newRow("refused, then cancelled")
            << "demo-less@verrin.test" << QString() << "demo-less@verrin.test" + refused << "stale";
        QTest::newRow("refused, corrected and remembered")
            << "tester@verrin.test" << correct << "tester@verrin.test" + refused << correct;
        QTest::newRow("nothing stored, cancelled") << QString() << QString() << "|||0" << QString();
    }

    void dialogAnswersTheSession()
    {
        QFETCH(QString, storedUser);
        QFETCH(QString, typedPassword);
        QFETCH(QString, expectedForm);
        QFETCH(QString, expectedPassword);
        if (!storedUser.isEmpty()) {
            Registry::instance()->setUsername(storedUser);
            Registry::instance()->setPassword(QStringLiteral("stale"));
        }
        QString seen;
        onNextModal([&](QWidget* dialog) {
            auto* label = dialog->findChild<QLabel*>("labelError");
            auto* password = dialog->findChild<QLineEdit*>("editPassword");
            seen = QStringList{dialog->findChild<QLineEdit*>("editUsername")->text(), password->text(), label->text(),
                               label->isVisible() ? "1" : "0"}
                       .join('|');
            auto* buttons = dialog->findChild<QDialogButtonBox*>("buttonBox");
            password->setText(typedPassword);
            dialog->findChild<QCheckBox*>("checkRemember")->setChecked(true);
            buttons->button(typedPassword.isEmpty() ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok)->click();
        });
        Session session(&manager, &prompter, nullptr);
        LoginDialogPrompt prompt(&window);
        QCOMPARE(session.login(&prompt), !typedPassword.isEmpty());
        QCOMPARE(seen, expectedForm);
        QCOMPARE(Registry::instance()->isLoggedIn(), !typedPassword.isEmpty());
        QCOMPARE(Registry::instance()->password(), expectedPassword);
        if (!typedPassword.isEmpty())
            QCOMPARE(Registry::instance()->authUser().realname, QStringLiteral("Tess Tester"));
    }
};

VERRIN_TEST(TestLoginFlow)
#include "TestLoginFlow.moc"
