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

namespace {

Registry& registry()
{
    return *Registry::instance();
}

struct FormSeen
{
    QString username;
    QString password;
    QString error;
    bool errorVisible = false;
};

// Records what the dialog shows, then fills in `password` (and "remember") and presses OK, or
// presses Cancel when `password` is empty.
void answerLogin(QList<FormSeen>* seen, const QString& password, bool remember)
{
    onNextModal([=](QWidget* widget) {
        auto* dialog = qobject_cast<QDialog*>(widget);
        QVERIFY(dialog);
        auto* label = dialog->findChild<QLabel*>("labelError");
        auto* user = dialog->findChild<QLineEdit*>("editUsername");
        auto* pass = dialog->findChild<QLineEdit*>("editPassword");
        seen->append({user->text(), pass->text(), label->text(), label->isVisible()});
        auto* buttons = dialog->findChild<QDialogButtonBox*>("buttonBox");
        if (password.isEmpty()) {
            buttons->button(QDialogButtonBox::Cancel)->click();
            return;
        }
        pass->setText(password);
        dialog->findChild<QCheckBox*>("checkRemember")->setChecked(remember);
        buttons->button(QDialogButtonBox::Ok)->click();
    });
}

} // namespace

class TestLoginFlow : public ServiceTest
{
    Q_OBJECT

    QWidget window;

    void cleanupEach() override { cancelModalHandlers(); }

private slots:
    void refusalBringsTheDialogBack()
    {
        registry().setUsername(QStringLiteral("demo-less@verrin.test"));
        registry().setPassword(QStringLiteral("stale"));
        QList<FormSeen> seen;
        answerLogin(&seen, QStringLiteral("still wrong"), false);
        Session session(&manager, &prompter, nullptr);
        LoginDialogPrompt prompt(&window);

        // The stored credentials are refused, the dialog comes with the message; a second refusal
        // brings it again, where the user cancels.
        bool chained = false;
        QObject::connect(&session, &Session::statusMessage, &session, [&](const QString& text) {
            if (text == QLatin1String("Signing into Verrin...") && seen.size() == 1 && !chained) {
                chained = true;
                answerLogin(&seen, QString(), false);
            }
        });
        QVERIFY(!session.login(&prompt));
        QCOMPARE(seen.size(), 2);
        QCOMPARE(seen.at(0).username, QStringLiteral("demo-less@verrin.test"));
        QCOMPARE(seen.at(0).password, QStringLiteral("stale"));
        QCOMPARE(seen.at(0).error, QStringLiteral("Invalid email or password"));
        QVERIFY(seen.at(0).errorVisible);
        QCOMPARE(seen.at(1).error, QStringLiteral("Invalid email or password"));
        QVERIFY(!registry().isLoggedIn());
        QCOMPARE(registry().password(), QStringLiteral("stale"));
    }

    void correctedPasswordSignsIn()
    {
        registry().setUsername(QStringLiteral("tester@verrin.test"));
        registry().setPassword(QStringLiteral("stale"));
        QList<FormSeen> seen;
        answerLogin(&seen, QStringLiteral("p+ss &=w%rd ü/?#"), true);
        Session session(&manager, &prompter, nullptr);
        LoginDialogPrompt prompt(&window);
        QVERIFY(session.login(&prompt));
        QCOMPARE(seen.size(), 1);
        QCOMPARE(seen.at(0).error, QStringLiteral("Invalid email or password"));
        QVERIFY(registry().isLoggedIn());
        QCOMPARE(registry().password(), QStringLiteral("p+ss &=w%rd ü/?#"));
        QCOMPARE(registry().authUser().realname, QStringLiteral("Tess Tester"));
    }

    void emptyFormStartsWithoutErrorLine()
    {
        QList<FormSeen> seen;
        answerLogin(&seen, QString(), false);
        Session session(&manager, &prompter, nullptr);
        LoginDialogPrompt prompt(&window);
        QVERIFY(!session.login(&prompt));
        QCOMPARE(seen.size(), 1);
        QCOMPARE(seen.at(0).username, QString());
        QVERIFY(!seen.at(0).errorVisible);
    }
};

VERRIN_TEST(TestLoginFlow)
#include "TestLoginFlow.moc"
