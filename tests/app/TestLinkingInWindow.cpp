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

#include <QComboBox>
#include <QMessageBox>
#include <QPushButton>

namespace {
using Answer = std::function<void(QWidget*)>;

// Answers the next modal dialogs one after the other, each with its own handler.
void answerInTurn(const QList<Answer>& handlers)
{
    if (!handlers.isEmpty()) {
        onNextModal([handlers](QWidget* modal) {
            answerInTurn(handlers.mid(1));
            handlers.first()(modal);
        });
    }
}

Answer chooseTask(int taskId)
{
    return [taskId](QWidget* modal) {
        auto* tasks = modal->findChild<QComboBox*>("cbTasks");
        tasks->setCurrentIndex(tasks->findData(taskId));
        qobject_cast<QDialog*>(modal)->accept();
    };
}

const Answer dismiss = [](QWidget* modal) { qobject_cast<QDialog*>(modal)->done(QDialog::Rejected); };
const Answer sayYes = [](QWidget* modal) { qobject_cast<QMessageBox*>(modal)->button(QMessageBox::Yes)->click(); };
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
        data->writeSettings(
            {{"API/Url", service->baseUrl()}, {"API/SslEnabled", false}, {"API/AuthToken", "valid-token"}});
    }

    void cleanup()
    {
        cancelModalHandlers();
        data.reset();
        service.reset();
        Registry::drop();
    }

    void linkUnlinkAndLoseAnswersAndTheSession()
    {
        // Short enough to wait for here, long against any real answer of the local service.
        ApiRequest::setDefaultTimeout(3000);
        MainWindow window;
        MainWindowForm* ui = window.form();
        signedIn(window);
        addRows(window, "('plan', 1, '%1 09:00:00', '%1 09:10:00'), ('plan', 1, '%1 11:00:00', '%1 11:05:00'), "
                        "('mail', 2, '%1 10:00:00', '%1 10:01:00')");
        QAction* link = ui->appList->action("actionLink");
        QAction* unlink = ui->linkedEntries->action("actionUnlink");
        TreeModel* unlinked = window.views()->unlinkedModel();
        TreeModel* linked = window.views()->linkedModel();

        // What is sent per day is TestServiceTimeEntryApi's; here the window's part. A link through the dialog
        // hands the rows to the linked view at once.
        selectNode(ui->appList, "Web");
        answerInTurn({chooseTask(1000)});
        link->trigger();
        QCOMPARE(linked->getTotalTime(), 60);
        QCOMPARE(linked->root()->child(0)->data(0).toString(), "Website");

        // The service stores the entry, but its answer never arrives: the rows are pending, marked so, and
        // cannot be linked again.
        QVERIFY(delayNextLink(60000));
        selectNode(ui->appList, "Ed");
        answerInTurn({chooseTask(1000), dismiss});
        link->trigger();
        QCOMPARE(linkedRows(1000), 1);
        QTRY_VERIFY(unlinked->data(node(unlinked, "plan"), Qt::FontRole).value<QFont>().italic());
        QVERIFY(ui->actionPending_Links->text().contains("(1)"));

        // Asking again settles it from the service's own answer: the entry it stored is adopted.
        ui->actionPending_Links->trigger();
        QCOMPARE(linkedRows(1000), 3);
        QCOMPARE(service->sentValues("verrin.entries.addBulk", "task_id"), (QStringList{"1000", "1000"}));
        QCOMPARE(service->sentValues("verrin.entries.addBulk", "duration"), (QStringList{"60", "900"}));
        QTRY_COMPARE(linked->getTotalTime(), 960);
        QTRY_COMPARE(unlinked->getTotalTime(), 0);

        // The token runs out mid-session: noticed at the next call, the program tries to sign in again,
        // asks once (no stored password here) and, refused, shows itself signed out.
        QVERIFY(service->expireTokens());
        selectNode(ui->linkedEntries, "Ed");
        answerInTurn({sayYes, dismiss, dismiss});
        unlink->trigger();
        QTRY_VERIFY(!Registry::instance()->isLoggedIn());
        QVERIFY(!link->isEnabled());
        QVERIFY(ui->actionLogin->isEnabled());
        QCOMPARE(linkedRows(1000), 3);
        // The linked view let go of the rows at once; read back, they are there again.
        QTRY_COMPARE(linked->getTotalTime(), 960);
        QCOMPARE(service->sentValues("verrin.entries.delete", "entry_id").size(), 0);
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
        QVERIFY(RuleStore().addDbRule("budget", {1}, "and", "Budget", "always", QDate(), QDate(), 10, 1000) > 0);

        // A terminal run while the window applies today's rules on a slow service: the window, the folder's
        // one writer, does it after its own run with its own session, and the terminal prints the outcome.
        QProcess process;
        QTimer::singleShot(0, &process, [&process, first, last] {
            process.start(VERRINPLUS_BINARY, {"--apply-rules", first, last});
        });
        QVERIFY(delayNextLink(3000));
        window.form()->action_Apply_Rules->trigger();
        // The window's own run shows in its trees before the terminal's turn comes.
        QCOMPARE(window.views()->linkedModel()->getTotalTime(), 300);
        QCOMPARE(window.views()->unlinkedModel()->getTotalTime(), 0);
        // The window answers from this test's event loop, so wait without blocking it.
        QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 30000);
        const QString out = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
        QVERIFY2(process.exitCode() == 0, qPrintable(out));
        QVERIFY2(
            out.contains(QString("Total from %1 to %2: 1 entry in 1 group linked to 1 task, 0:10:00").arg(first, last)),
            qPrintable(out));
        QCOMPARE(service->sentValues("verrin.entries.addBulk", "date"), (QStringList{last, first}));
        QCOMPARE(linkedRows(1000), 2);

        QProcess check;
        check.start(VERRINPLUS_BINARY, {"--check-links", first, last});
        QTRY_VERIFY_WITH_TIMEOUT(check.state() == QProcess::NotRunning, 30000);
        const QString checked = QString::fromUtf8(check.readAllStandardOutput());
        QCOMPARE(check.exitCode(), 0);
        QVERIFY2(checked.contains(QString("Checked 2 links from %1 to %2: 2 agree").arg(first, last)),
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
        QVERIFY(query.exec("INSERT INTO applications (id, path, name) VALUES (1, '/usr/bin/ed', 'Ed'), "
                           "(2, '/usr/bin/web', 'Web')"));
        QVERIFY(query.exec("INSERT INTO entries (title, application_id, start_time, end_time) VALUES " +
                           QString(rows).replace("%1", window.views()->shownDate().toString(Qt::ISODate))));
        window.views()->refreshBoth();
    }

    bool delayNextLink(int ms)
    {
        ServiceFixture::FaultOptions once;
        once.ms = ms;
        once.times = 1;
        return service->setFault("verrin.entries.addBulk", "delay", once);
    }

    static int linkedRows(int taskId)
    {
        QSqlQuery query;
        query.prepare("SELECT COUNT(*) FROM entries WHERE ext_task_id = :task");
        query.bindValue(":task", taskId);
        return query.exec() && query.next() ? query.value(0).toInt() : -1;
    }

    static QModelIndex node(QAbstractItemModel* model, const QString& name)
    {
        return model->match(model->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly | Qt::MatchRecursive)
            .value(0);
    }

    void selectNode(QTreeView* view, const QString& name)
    {
        const QModelIndex found = node(view->model(), name);
        QVERIFY2(found.isValid(), qPrintable("no node " + name));
        view->setCurrentIndex(found);
        view->selectionModel()->select(found, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }

    std::unique_ptr<ServiceFixture> service;
    std::unique_ptr<TempDataFolder> data;
};

QTEST_MAIN(TestLinkingInWindow)
#include "TestLinkingInWindow.moc"
