#include "CatalogueSample.h"
#include "TestKit.h"
#include "verrin/AddTaskDialog.h"
#include "verrin/AddTaskListDialog.h"
#include "verrin/LinkTimeDialog.h"
#include "verrin/LoginDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

namespace {
template <typename T>
T* child(QWidget* parent, const char* name)
{
    T* widget = parent->findChild<T*>(QLatin1String(name));
    if (!widget)
        qFatal("missing widget %s", name);
    return widget;
}

// Both task dialogs, ready to show, and the name field their OK checks.
std::unique_ptr<QDialog> makeNameDialog(const QString& which, QLineEdit** nameField)
{
    if (which == QLatin1String("task")) {
        auto dialog = std::make_unique<AddTaskDialog>();
        dialog->populateData(sampleCatalogue());
        dialog->projectId = 101;
        dialog->tasklistId = 202;
        dialog->putData();
        *nameField = child<QLineEdit>(dialog.get(), "editTaskName");
        return dialog;
    }
    auto dialog = std::make_unique<AddTaskListDialog>();
    dialog->populateData(sampleCatalogue());
    dialog->projectId = 103;
    dialog->putData();
    *nameField = child<QLineEdit>(dialog.get(), "editTaskListName");
    return dialog;
}
} // namespace

class TestServiceDialogs : public QObject
{
    Q_OBJECT

private slots:
    void addTaskDialogOffersTheCatalogue()
    {
        AddTaskDialog dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Add Task"));
        dialog.populateData(sampleCatalogue());
        auto* projects = child<QComboBox>(&dialog, "cbProjects");
        auto* lists = child<QComboBox>(&dialog, "cbTaskLists");
        QCOMPARE(comboTexts(projects), (QStringList{"Website Relaunch", "Mobile App", "Café Menü", "Internal"}));
        QCOMPARE(comboTexts(lists), (QStringList{"Design", "Build"}));

        dialog.projectId = 102;
        dialog.tasklistId = 204;
        dialog.name = QStringLiteral("Offline mode");
        dialog.description = QStringLiteral("Two\nlines");
        dialog.billable = true;
        dialog.putData();
        QCOMPARE(projects->currentText(), QStringLiteral("Mobile App"));
        QCOMPARE(lists->currentText(), QStringLiteral("Backlog"));

        // Choosing another project offers its lists.
        projects->setCurrentIndex(3);
        dialog.on_cbProjects_activated(3);
        QCOMPARE(comboTexts(lists), QStringList{"Admin"});

        dialog.getData();
        QCOMPARE(QPair(dialog.projectId, dialog.tasklistId), QPair(104, 206));
        QCOMPARE(dialog.name + '|' + dialog.description, QStringLiteral("Offline mode|Two\nlines"));
        QVERIFY(dialog.billable);
        QVERIFY(child<QCheckBox>(&dialog, "checkBillable")->isChecked());
    }

    void unknownIdsFallBackToTheFirstEntries()
    {
        AddTaskDialog dialog;
        dialog.populateData(sampleCatalogue());
        dialog.projectId = 999;
        dialog.tasklistId = 999;
        dialog.putData();
        dialog.getData();
        QCOMPARE(QPair(dialog.projectId, dialog.tasklistId), QPair(101, 201));

        AddTaskListDialog listDialog;
        QCOMPARE(listDialog.windowTitle(), QStringLiteral("Add Task List"));
        listDialog.populateData(sampleCatalogue());
        listDialog.projectId = 0;
        listDialog.putData();
        listDialog.getData();
        QCOMPARE(listDialog.projectId, 101);
    }

    void blankNameKeepsTheDialogOpen_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<QString>("blank");
        QTest::newRow("task, empty") << QStringLiteral("task") << QString();
        QTest::newRow("task, spaces") << QStringLiteral("task") << QStringLiteral("   ");
        QTest::newRow("task list, tab") << QStringLiteral("tasklist") << QStringLiteral("\t");
    }

    void blankNameKeepsTheDialogOpen()
    {
        QFETCH(QString, which);
        QFETCH(QString, blank);
        QLineEdit* name = nullptr;
        auto dialog = makeNameDialog(which, &name);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
        // A name is suggested, selected so typing replaces it.
        const QString suggestion = which == QLatin1String("task") ? "Task Name" : "Task List Name";
        QCOMPARE(name->text() + '|' + name->selectedText(), suggestion + '|' + suggestion);
        QTRY_VERIFY(name->hasFocus());
        name->setText(blank);
        QPushButton* ok = child<QDialogButtonBox>(dialog.get(), "buttonBox")->button(QDialogButtonBox::Ok);
        ok->click();
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->result(), int(QDialog::Rejected));
        QCOMPARE(name->styleSheet(), QStringLiteral("background-color: #F5BACE;"));
        QTRY_VERIFY(name->hasFocus());

        // A blank keystroke does not clear the mark; a real name does.
        name->clear();
        QTest::keyClicks(name, QStringLiteral(" "));
        QCOMPARE(name->styleSheet(), QStringLiteral("background-color: #F5BACE;"));
        QTest::keyClicks(name, QStringLiteral("Invoices "));
        QCOMPARE(name->styleSheet(), QStringLiteral("background-color:;"));
        ok->click();
        QCOMPARE(dialog->result(), int(QDialog::Accepted));
        QVERIFY(!dialog->isVisible());
        if (auto* task = qobject_cast<AddTaskDialog*>(dialog.get())) {
            task->getData();
            QCOMPARE(task->name, QStringLiteral("Invoices"));
        } else {
            auto* list = qobject_cast<AddTaskListDialog*>(dialog.get());
            list->getData();
            QCOMPARE(list->name, QStringLiteral("Invoices"));
            QCOMPARE(list->projectId, 103);
        }
    }

    void loginDialogShowsAndHandsBack()
    {
        for (const QString error : {"", "Invalid email or password", "<b>markup</b> stays & text"}) {
            LoginDialog dialog;
            dialog.username = QStringLiteral("ann@example.com");
            dialog.password = QStringLiteral("pä ss");
            dialog.remember = !error.isEmpty();
            dialog.error = error;
            dialog.putData();
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            // The error line shows only when there is one, as plain text.
            auto* label = child<QLabel>(&dialog, "labelError");
            QCOMPARE(label->isVisible(), !error.isEmpty());
            QCOMPARE(label->text(), error);
            auto* user = child<QLineEdit>(&dialog, "editUsername");
            auto* password = child<QLineEdit>(&dialog, "editPassword");
            auto* remember = child<QCheckBox>(&dialog, "checkRemember");
            QCOMPARE(user->text() + '|' + password->text(), QStringLiteral("ann@example.com|pä ss"));
            QCOMPARE(password->echoMode(), QLineEdit::Password);
            QCOMPARE(remember->isChecked(), dialog.remember);

            // What was typed comes back; the error is the caller's and stays.
            user->clear();
            QTest::keyClicks(user, QStringLiteral("new@example.com"));
            password->setText(QStringLiteral("sécret \"1\""));
            remember->setChecked(error.isEmpty());
            dialog.getData();
            QCOMPARE(dialog.username + '|' + dialog.password, QStringLiteral("new@example.com|sécret \"1\""));
            QCOMPARE(dialog.remember, error.isEmpty());
            QCOMPARE(dialog.error, error);
        }
    }

    void tasksUnderHeadersWithoutCompletedOnes()
    {
        LinkTimeDialog dialog;
        dialog.populateData(sampleCatalogue());
        auto* tasks = dialog.findChild<QComboBox*>(QStringLiteral("cbTasks"));
        QCOMPARE(comboTexts(dialog.findChild<QComboBox*>(QStringLiteral("cbProjects"))),
                 (QStringList{"Website Relaunch", "Mobile App", "Café Menü", "Internal"}));
        dialog.populateTasks(101);
        QCOMPARE(comboTexts(tasks), (QStringList{"Design", "  Homepage mockup", "  Style guide", "Build",
                                                 "  Landing page", "  Contact form"}));
        // A header cannot stay selected: the task after it is taken.
        QCOMPARE(tasks->currentText(), QStringLiteral("  Homepage mockup"));
        tasks->setCurrentIndex(3);
        QCOMPARE(tasks->currentText(), QStringLiteral("  Landing page"));
        // A header with nothing after it stays (there is nothing to move to), and reads as no task.
        dialog.populateTasks(102);
        QCOMPARE(comboTexts(tasks), (QStringList{"Sprint 1", "  Login screen", "Backlog"}));
        tasks->setCurrentIndex(2);
        dialog.getData();
        QCOMPARE(dialog.taskId, 0);
    }

    void putDataPreselectsAndGetDataReadsBack()
    {
        LinkTimeDialog dialog;
        dialog.populateData(sampleCatalogue());
        dialog.timeText = QStringLiteral("1 h 2 m 5 s");
        dialog.notes = QStringLiteral("call with \"Ann\"");
        dialog.projectId = 101;
        dialog.taskId = 305;
        dialog.putData();
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("labelTime"))->text(), QStringLiteral("1 h 2 m 5 s"));
        auto* notes = dialog.findChild<QPlainTextEdit*>(QStringLiteral("textNotes"));
        QCOMPARE(notes->toPlainText(), dialog.notes);
        notes->setPlainText(QStringLiteral("changed"));
        dialog.getData();
        QCOMPARE(QPair(dialog.projectId, dialog.taskId), QPair(101, 305));
        QCOMPARE(dialog.notes, QStringLiteral("changed"));
    }

    void unknownProjectFallsBackToTheFirst()
    {
        Catalogue one = sampleCatalogue();
        one.projects = one.projects.mid(0, 1);
        for (const Catalogue& catalogue : {one, Catalogue()}) {
            LinkTimeDialog dialog;
            dialog.populateData(catalogue);
            dialog.projectId = 999;
            dialog.taskId = 1000;
            dialog.putData();
            dialog.getData();
            QCOMPARE(dialog.findChild<QComboBox*>(QStringLiteral("cbTasks"))->count(),
                     catalogue.projects.isEmpty() ? 0 : 6);
            QCOMPARE(dialog.taskId, catalogue.projects.isEmpty() ? 0 : 301);
        }
    }
};

VERRIN_TEST(TestServiceDialogs)
#include "TestServiceDialogs.moc"
