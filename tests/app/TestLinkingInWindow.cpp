#include "ModalDialogHelper.h"
#include "ServiceFixture.h"
#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/DataPaths.h"
#include "app/Registry.h"
#include "app/SingleInstance.h"
#include "reports/TreeModel.h"
#include "rules/RuleStore.h"
#include "verrin/ApiRequest.h"
#include "verrin/ProjectsTree.h"
#include "views/EntriesList.h"
#include "views/TimeTree.h"
#include "window/DayViews.h"
#include "window/MainWindow.h"

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QMessageBox>
#include <QPushButton>

namespace {

// Answers the next modal dialogs one after the other, each with its own handler.
void answerInTurn(QList<std::function<void(QWidget*)>> handlers)
{
    if (handlers.isEmpty()) {
        return;
    }
    auto first = handlers.takeFirst();
    onNextModal([first, handlers](QWidget* modal) {
        answerInTurn(handlers);
        first(modal);
    });
}

void chooseTask(QWidget* modal, int taskId)
{
    if (auto* tasks = modal->findChild<QComboBox*>(QStringLiteral("cbTasks"))) {
        tasks->setCurrentIndex(tasks->findData(taskId));
    }
    qobject_cast<QDialog*>(modal)->accept();
}

void dismiss(QWidget* modal)
{
    qobject_cast<QDialog*>(modal)->done(QDialog::Rejected);
}

void sayYes(QWidget* modal)
{
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
        box->button(QMessageBox::Yes)->click();
    }
}

} // namespace

// The whole way from the window to the local service and back: the link command with its dialog,
// unlinking from the linked view, and the rules, with the trees, the database and the service
// agreeing after each step.
class TestLinkingInWindow : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Registry::drop();
        service = std::make_unique<ServiceFixture>();
        QVERIFY2(service->isRunning(), qPrintable(service->error()));
        data = std::make_unique<TempDataFolder>();
        QDir().mkpath(data->dataFolder());
        QSettings ini(DataPaths::iniFile(), QSettings::IniFormat);
        ini.setValue(QStringLiteral("API/Url"), service->baseUrl());
        ini.setValue(QStringLiteral("API/SslEnabled"), false);
        ini.setValue(QStringLiteral("API/AuthToken"), QStringLiteral("valid-token"));
        ini.setValue(QStringLiteral("Application/Started"), false);
    }

    void cleanup()
    {
        cancelModalHandlers();
        data.reset();
        service.reset();
        Registry::drop();
    }

    void linkUnlinkAndApplyRules()
    {
        MainWindow window;
        MainWindowForm* ui = window.form();
        signedIn(window);
        addRows(window, "('plan', 1, '%1 09:00:00', '%1 09:10:00'), ('plan', 1, '%1 11:00:00', '%1 11:05:00'), "
                        "('mail', 2, '%1 10:00:00', '%1 10:01:00')");
        TreeModel* unlinked = window.views()->unlinkedModel();
        TreeModel* linked = window.views()->linkedModel();
        QCOMPARE(unlinked->getTotalTime(), 960);

        // Link the editor's time to "Mockups" through the link dialog.
        selectNode(ui->appList, QStringLiteral("Ed"));
        answerInTurn({[](QWidget* modal) { chooseTask(modal, 1000); }});
        ui->appList->action(QStringLiteral("actionLink"))->trigger();
        const QList<QJsonObject> added = calls(QStringLiteral("verrin.entries.addBulk"));
        QCOMPARE(added.size(), 1);
        QCOMPARE(param(added.at(0), QStringLiteral("duration")), QStringLiteral("900"));
        QCOMPARE(param(added.at(0), QStringLiteral("task_id")), QStringLiteral("1000"));
        QCOMPARE(linkedRows(1000), 2);
        QCOMPARE(unlinked->getTotalTime(), 60);
        QCOMPARE(linked->getTotalTime(), 900);
        QCOMPARE(linked->root()->child(0)->data(0).toString(), QStringLiteral("Website"));

        // Unlinking all of it deletes the service entry and puts the rows back.
        selectNode(ui->linkedEntries, QStringLiteral("Ed"));
        onNextModal(sayYes);
        ui->linkedEntries->action(QStringLiteral("actionUnlink"))->trigger();
        QCOMPARE(calls(QStringLiteral("verrin.entries.delete")).size(), 1);
        QCOMPARE(linkedRows(1000), 0);
        QTRY_COMPARE(unlinked->getTotalTime(), 960);
        QCOMPARE(linked->getTotalTime(), 0);

        // A rule for the editor's "plan" sends both rows to "Front page" in one call.
        RuleStore rules;
        QVERIFY(rules.addDbRule(QStringLiteral("plans"), {1}, QStringLiteral("and"), QStringLiteral("plan"),
                                QStringLiteral("always"), QDate(), QDate(), 10, 1010) > 0);
        ui->action_Apply_Rules->trigger();
        const QList<QJsonObject> byRule = calls(QStringLiteral("verrin.entries.addBulk"));
        QCOMPARE(byRule.size(), 2);
        QCOMPARE(param(byRule.at(1), QStringLiteral("task_id")), QStringLiteral("1010"));
        QCOMPARE(param(byRule.at(1), QStringLiteral("duration")), QStringLiteral("900"));
        QCOMPARE(linkedRows(1010), 2);
        QTRY_COMPARE(unlinked->getTotalTime(), 60);
        QCOMPARE(linked->getTotalTime(), 900);
    }

    void lostAnswersAndTheSession()
    {
        // Short enough to wait for here, long against any real answer of the local service.
        ApiRequest::setDefaultTimeout(3000);
        MainWindow window;
        MainWindowForm* ui = window.form();
        signedIn(window);
        QAction* link = ui->appList->action(QStringLiteral("actionLink"));
        QVERIFY(link->isEnabled());
        addRows(window, "('plan', 1, '%1 09:00:00', '%1 09:10:00'), ('mail', 2, '%1 10:00:00', '%1 10:01:00')");
        TreeModel* unlinked = window.views()->unlinkedModel();

        // A first link that goes through tells this data folder where the service's entry ids stand.
        selectNode(ui->appList, QStringLiteral("Web"));
        answerInTurn({[](QWidget* modal) { chooseTask(modal, 1010); }});
        link->trigger();
        QCOMPARE(linkedRows(1010), 1);

        // The service stores the entry, but its answer never arrives: the row is pending, marked so, and
        // cannot be linked again.
        ServiceFixture::FaultOptions lost;
        lost.ms = 60000;
        lost.times = 1;
        QVERIFY(service->setFault(QStringLiteral("verrin.entries.addBulk"), QStringLiteral("delay"), lost));
        selectNode(ui->appList, QStringLiteral("Ed"));
        answerInTurn({[](QWidget* modal) { chooseTask(modal, 1000); }, dismiss});
        link->trigger();
        QCOMPARE(linkedRows(1000), 0);
        QTRY_COMPARE(unlinked->getTotalTime(), 600);
        const QModelIndexList plan = unlinked->match(unlinked->index(0, 0), Qt::DisplayRole, QStringLiteral("plan"), 1,
                                                     Qt::MatchExactly | Qt::MatchRecursive);
        QVERIFY(!plan.isEmpty());
        QVERIFY(unlinked->data(plan.first(), Qt::FontRole).value<QFont>().italic());
        QVERIFY(ui->actionPending_Links->text().contains(QStringLiteral("(1)")));

        // Asking again settles it from the service's own answer: the entry it stored is adopted.
        ui->actionPending_Links->trigger();
        QCOMPARE(linkedRows(1000), 1);
        QCOMPARE(calls(QStringLiteral("verrin.entries.addBulk")).size(), 2);
        QTRY_COMPARE(window.views()->linkedModel()->getTotalTime(), 660);

        // The token runs out mid-session: noticed at the next call, the program tries to sign in again,
        // asks once (no stored password here) and, refused, shows itself signed out.
        QVERIFY(service->expireTokens());
        selectNode(ui->linkedEntries, QStringLiteral("Ed"));
        answerInTurn({sayYes, dismiss, dismiss});
        ui->linkedEntries->action(QStringLiteral("actionUnlink"))->trigger();
        QTRY_VERIFY(!Registry::instance()->isLoggedIn());
        QVERIFY(!link->isEnabled());
        QVERIFY(ui->actionLogin->isEnabled());
        QCOMPARE(linkedRows(1000), 1);
        QCOMPARE(calls(QStringLiteral("verrin.entries.delete")).size(), 0);
        ApiRequest::setDefaultTimeout(ApiRequest::defaultTimeoutMs);
    }

    void commandLineRunsAreHandedToTheWindow()
    {
        MainWindow window;
        signedIn(window);
        SingleInstance instance(DataPaths::dataFolder());
        QVERIFY(instance.claim(0));
        window.attachInstance(&instance);

        const QDate today = window.views()->shownDate();
        const QString first = today.addDays(-1).toString(Qt::ISODate);
        const QString last = today.toString(Qt::ISODate);
        addRows(window, "('Budget', 1, '" + first + " 09:00:00', '" + first +
                            " 09:10:00'), ('Budget', 1, '%1 09:00:00', '%1 09:05:00')");
        QVERIFY(RuleStore().addDbRule(QStringLiteral("budget"), {1}, QStringLiteral("and"), QStringLiteral("Budget"),
                                      QStringLiteral("always"), QDate(), QDate(), 10, 1000) > 0);

        // A terminal run while the window applies today's rules on a slow service: the window, the folder's
        // one writer, does it after its own run with its own session, and the terminal prints the outcome.
        QProcess process;
        QTimer::singleShot(0, &process, [&process, first, last] {
            process.start(QStringLiteral(VERRINPLUS_BINARY), {"--apply-rules", first, last});
        });
        ServiceFixture::FaultOptions slow;
        slow.ms = 3000;
        slow.times = 1;
        QVERIFY(service->setFault(QStringLiteral("verrin.entries.addBulk"), QStringLiteral("delay"), slow));
        window.form()->action_Apply_Rules->trigger();
        // The window answers from this test's event loop, so wait without blocking it.
        QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 30000);
        const QString out = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
        QVERIFY2(process.exitCode() == 0, qPrintable(out));
        QVERIFY2(
            out.contains(
                QStringLiteral("Total from %1 to %2: 1 entry in 1 group linked to 1 task, 0:10:00").arg(first, last)),
            qPrintable(out));
        QStringList days;
        for (const QJsonObject& call : calls(QStringLiteral("verrin.entries.addBulk"))) {
            days << param(call, QStringLiteral("date"));
        }
        QCOMPARE(days, (QStringList{last, first}));
        QCOMPARE(linkedRows(1000), 2);

        QProcess check;
        check.start(QStringLiteral(VERRINPLUS_BINARY), {"--check-links", first, last});
        QTRY_VERIFY_WITH_TIMEOUT(check.state() == QProcess::NotRunning, 30000);
        const QString checked = QString::fromUtf8(check.readAllStandardOutput());
        QCOMPARE(check.exitCode(), 0);
        QVERIFY2(checked.contains(QStringLiteral("Checked 2 links from %1 to %2: 2 agree").arg(first, last)),
                 qPrintable(checked));
    }

private:
    static void signedIn(MainWindow& window)
    {
        QTRY_VERIFY_WITH_TIMEOUT(Registry::instance()->isLoggedIn(), 10000);
        QTRY_VERIFY(window.form()->projects->topLevelItemCount() > 0);
    }

    // Entries of the editor (1) and the browser (2), "%1" standing for the shown day; both trees rebuilt.
    static void addRows(MainWindow& window, const QString& rows)
    {
        QSqlQuery query;
        QVERIFY(query.exec(QStringLiteral("INSERT INTO applications (id, path, name) VALUES (1, '/usr/bin/ed', 'Ed'), "
                                          "(2, '/usr/bin/web', 'Web')")));
        QVERIFY(
            query.exec(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time) VALUES ") +
                       QString(rows).replace(QStringLiteral("%1"), window.views()->shownDate().toString(Qt::ISODate))));
        window.views()->refreshBoth();
    }

    QList<QJsonObject> calls(const QString& method)
    {
        QList<QJsonObject> found;
        for (const QJsonValue& request : service->receivedRequests()) {
            if (request.toObject().value(QStringLiteral("method")).toString() == method) {
                found << request.toObject();
            }
        }
        return found;
    }

    static QString param(const QJsonObject& call, const QString& name)
    {
        for (const QJsonValue& pair : call.value(QStringLiteral("params")).toArray()) {
            if (pair.toArray().at(0).toString() == name) {
                return pair.toArray().at(1).toString();
            }
        }
        return QString();
    }

    static int linkedRows(int taskId)
    {
        QSqlQuery query;
        query.prepare(QStringLiteral("SELECT COUNT(*) FROM entries WHERE ext_task_id = :task"));
        query.bindValue(QStringLiteral(":task"), taskId);
        return query.exec() && query.next() ? query.value(0).toInt() : -1;
    }

    void selectNode(QTreeView* view, const QString& name)
    {
        QAbstractItemModel* model = view->model();
        const QModelIndexList found =
            model->match(model->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly | Qt::MatchRecursive);
        QVERIFY2(!found.isEmpty(), qPrintable(QStringLiteral("no node ") + name));
        view->setCurrentIndex(found.first());
        view->selectionModel()->select(found.first(), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }

    std::unique_ptr<ServiceFixture> service;
    std::unique_ptr<TempDataFolder> data;
};

QTEST_MAIN(TestLinkingInWindow)
#include "TestLinkingInWindow.moc"
