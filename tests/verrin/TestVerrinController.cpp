// The window's service widgets driven by the controller against the local service.
#include "CatalogueSample.h"
#include "ModalDialogHelper.h"
#include "ServiceFixture.h"
#include "verrin/Session.h"
#include "verrin/VerrinController.h"
#include "views/ClickableLabel.h"
#include "views/LineEdit.h"

#include <QMainWindow>
#include <QStatusBar>

namespace {

const QString offlineText = QStringLiteral("Could not connect to Verrin. Working offline.");

// The window parts the controller drives, as the main window has them.
struct Window
{
    Window()
    {
        widgets.projects = new ProjectsTree(&window);
        widgets.projectsFilter = new LineEdit(&window);
        widgets.login = new QAction(QStringLiteral("Log In..."), &window);
        widgets.logout = new QAction(QStringLiteral("Log Out"), &window);
        widgets.refreshProjects = new QAction(QStringLiteral("&Refresh Projects"), &window);
        widgets.indicator = new ClickableLabel(Session::signedOutIndicator());
        widgets.statusBar = window.statusBar();
        widgets.statusBar->addPermanentWidget(widgets.indicator);
        window.setCentralWidget(widgets.projects);
        widgets.projects->setCompletedRemovalDelay(0);
    }

    QString status() const { return widgets.statusBar->currentMessage(); }

    QMainWindow window;
    VerrinWidgets widgets;
};

} // namespace

class TestVerrinController : public ServiceTest
{
    Q_OBJECT

    std::unique_ptr<Window> window;
    std::unique_ptr<VerrinController> controller;

    ProjectsTree& tree() { return *window->widgets.projects; }
    QStringList tasks() { return shown(tree(), QStringLiteral("task")); }

    // Starts with stored credentials and waits until the catalogue is shown.
    void startSignedIn()
    {
        storeCredentials();
        controller->start();
        QTRY_VERIFY_WITH_TIMEOUT(!tasks().isEmpty(), 10000);
    }

    void initEach() override
    {
        window = std::make_unique<Window>();
        controller = std::make_unique<VerrinController>(window->widgets, &manager, &prompter, nullptr);
        controller->session()->setRetryInterval(10);
    }

    void cleanupEach() override
    {
        cancelModalHandlers();
        controller.reset();
        window.reset();
    }

private slots:
    void startUpSignsIn_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<int>("logins"); // 1: with stored credentials, 2: through the form
        QTest::newRow("stored token, no credentials") << "valid-token" << 0;
        QTest::newRow("expired token, stored credentials") << "expired-token" << 1;
        // The real form, first without an error line, then with the stored (remembered) but refused
        // credentials and the service's reason; corrected, they are remembered in turn.
        QTest::newRow("nothing stored, the form asks") << "" << 2;
    }

    void startUpSignsIn()
    {
        QFETCH(QString, token);
        QFETCH(int, logins);
        registry().setAuthToken(token);
        if (logins == 1)
            storeCredentials();
        QStringList seen;
        const auto answer = [&seen](const QString& user, const QString& password) {
            return [&seen, user, password](QWidget* dialog) {
                auto* label = dialog->findChild<QLabel*>("labelError");
                auto* name = dialog->findChild<QLineEdit*>("editUsername");
                auto* secret = dialog->findChild<QLineEdit*>("editPassword");
                seen << name->text() + '|' + secret->text() + '|' + (label->isVisibleTo(dialog) ? label->text() : "-");
                name->setText(user);
                secret->setText(password);
                dialog->findChild<QCheckBox*>("checkRemember")->setChecked(true);
                press(dialog, QDialogButtonBox::Ok);
            };
        };
        if (logins == 2) {
            onNextModal([&](QWidget* dialog) {
                onNextModal(answer(tester, testerPassword));
                answer(QStringLiteral("nobody@verrin.test"), QStringLiteral("stale"))(dialog);
            });
        }
        QSignalSpy changes(controller.get(), &VerrinController::signedInChanged);
        controller->start();
        QTRY_VERIFY_WITH_TIMEOUT(!tasks().isEmpty(), 10000);
        const QStringList forms{"||-", "nobody@verrin.test|stale|Invalid email or password"};
        QCOMPARE(seen, logins == 2 ? forms : QStringList());
        QVERIFY(controller->isSignedIn());
        QCOMPARE(changes.count(), 1);
        QCOMPARE(callsOf("verrin.auth.login"), logins);
        QCOMPARE(callsOf("verrin.projects.findByUser"), 1);
        // A resumed session keeps its token, a new sign-in gets another; both know the user and key.
        QCOMPARE(registry().authToken() == QLatin1String("valid-token"), logins == 0);
        const ServiceUser user = registry().authUser();
        QCOMPARE(user.id + ' ' + user.username + ' ' + user.realname, QStringLiteral("1 tester Tess Tester"));
        QCOMPARE(registry().apiKey(), QStringLiteral("test-api-key"));
        QCOMPARE(registry().username() + '|' + registry().password(), logins ? tester + '|' + testerPassword : "|");
        QCOMPARE(prompter.calls.size(), 0);
    }

    void filterWaitsForAPauseAndLogoutClearsTheTree()
    {
        startSignedIn();
        const int before = tasks().size();
        QTest::keyClicks(window->widgets.projectsFilter, QStringLiteral("front"));
        QCOMPARE(tasks().size(), before);
        QTRY_COMPARE(tasks(), QStringList{QStringLiteral("Front page")});
        window->widgets.refreshProjects->trigger();
        QCOMPARE(tasks(), QStringList{QStringLiteral("Front page")});
        QCOMPARE(callsOf("verrin.projects.findByUser"), 2);

        QSignalSpy changes(controller.get(), &VerrinController::signedInChanged);
        window->widgets.logout->trigger();
        QCOMPARE(tree().topLevelItemCount(), 0);
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.at(0).at(0).toBool(), false);
        QCOMPARE(callsOf("verrin.auth.logout"), 1);

        // Signed out, the filter does not bring the cached catalogue back.
        window->widgets.projectsFilter->setText(QStringLiteral("Mockups"));
        window->widgets.projectsFilter->returnPressed();
        QCOMPARE(tree().topLevelItemCount(), 0);

        emit window->widgets.indicator->doubleClicked();
        QVERIFY(controller->isSignedIn());
        QCOMPARE(tasks(), QStringList{QStringLiteral("Mockups")});
        // Signed in, a double-click signs in no second time.
        emit window->widgets.indicator->doubleClicked();
        QCOMPARE(callsOf("verrin.auth.login"), 2);
    }

    void watchFollowsTheService()
    {
        service->stop();
        controller->session()->setWatchInterval(50);
        storeCredentials();
        controller->start();
        QTRY_COMPARE_WITH_TIMEOUT(window->status(), offlineText, 10000);
        QVERIFY(!controller->isSignedIn());
        QCOMPARE(tree().topLevelItemCount(), 0);

        // Back on the same address: the sign-in start-up could not make happens now.
        QVERIFY2(service->start(), qPrintable(service->error()));
        QTRY_VERIFY_WITH_TIMEOUT(!tasks().isEmpty(), 10000);

        // Gone while signed in, and back: the session goes on without a second sign-in.
        service->stop();
        QTRY_COMPARE_WITH_TIMEOUT(window->status(), offlineText, 10000);
        QVERIFY2(service->start(), qPrintable(service->error()));
        QTRY_COMPARE_WITH_TIMEOUT(window->status(), QStringLiteral("Ready"), 10000);
        QVERIFY(controller->isSignedIn());
        QCOMPARE(callsOf("verrin.auth.login"), 0); // the restarted service counts anew
        QCOMPARE(prompter.calls.size(), 0);
    }

    void treeRequestsReachTheService_data()
    {
        QTest::addColumn<QString>("request");
        QTest::addColumn<int>("projectId");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("shownAfterRefresh");
        const auto row = [](const char* name, const char* request, int projectId, const char* item, bool shown) {
            QTest::newRow(name) << QString(request) << projectId << QString(item) << shown;
        };
        row("add task", "task", 10, "Sitemap", true);
        row("add task list", "tasklist", 20, "Druck", true);
        row("complete task", "complete", 10, "Mockups", false);
        row("add task to someone else's project", "task", 30, "Sneaky", false);
    }

    void treeRequestsReachTheService()
    {
        QFETCH(QString, request);
        QFETCH(int, projectId);
        QFETCH(QString, name);
        const QString kind = request == QLatin1String("tasklist") ? request : QStringLiteral("task");
        QFETCH(bool, shownAfterRefresh);

        startSignedIn();
        const int tasklistId = projectId == 10 ? 100 : 300;
        if (request == QLatin1String("task"))
            emit tree().signalAddTask(projectId, tasklistId, name, QStringLiteral("from the tree"), true);
        else if (request == QLatin1String("tasklist"))
            emit tree().signalAddTaskList(projectId, name);
        else
            emit tree().signalCompleteTask(1000);
        // The tree shows the change at once, as the refreshed catalogue does.
        QTRY_COMPARE(shown(tree(), kind).contains(name), shownAfterRefresh);
        window->widgets.refreshProjects->trigger();
        QCOMPARE(shown(tree(), kind).contains(name), shownAfterRefresh);
        // A refused request is the transport's to report; the tree stays as it was.
        QCOMPARE(prompter.calls.size(), projectId == 30 ? 1 : 0);
    }
};

VERRIN_TEST(TestVerrinController)
#include "TestVerrinController.moc"
