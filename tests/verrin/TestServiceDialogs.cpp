#include "CatalogueSample.h"
#include "TestMain.h"
#include "verrin/AddTaskDialog.h"
#include "verrin/AddTaskListDialog.h"
#include "verrin/LoginDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <memory>

namespace {
Catalogue sampleCatalogue()
{
    Catalogue catalogue;
    ProjectsCatalogue::parse(sampleCatalogueReply(), catalogue);
    return catalogue;
}

template <typename T>
T* child(QWidget* parent, const char* name)
{
    T* widget = parent->findChild<T*>(QLatin1String(name));
    if (!widget) {
        qFatal("missing widget %s", name);
    }
    return widget;
}

QStringList comboTexts(QComboBox* combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i) {
        texts << combo->itemText(i);
    }
    return texts;
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
        QCOMPARE(dialog.projectId, 104);
        QCOMPARE(dialog.tasklistId, 206);
        QCOMPARE(dialog.name, QStringLiteral("Offline mode"));
        QCOMPARE(dialog.description, QStringLiteral("Two\nlines"));
        QVERIFY(dialog.billable);
        QVERIFY(child<QCheckBox>(&dialog, "checkBillable")->isChecked());
        QVERIFY(child<QPlainTextEdit>(&dialog, "textTaskDescription"));
    }

    void unknownIdsFallBackToTheFirstEntries()
    {
        AddTaskDialog dialog;
        dialog.populateData(sampleCatalogue());
        dialog.projectId = 999;
        dialog.tasklistId = 999;
        dialog.putData();
        dialog.getData();
        QCOMPARE(dialog.projectId, 101);
        QCOMPARE(dialog.tasklistId, 201);

        AddTaskListDialog listDialog;
        QCOMPARE(listDialog.windowTitle(), QStringLiteral("Add Task List"));
        listDialog.populateData(sampleCatalogue());
        listDialog.projectId = 0;
        listDialog.putData();
        listDialog.getData();
        QCOMPARE(listDialog.projectId, 101);
    }

    void nameIsSuggestedOnShow_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<QString>("suggestion");
        QTest::newRow("task") << "task"
                              << "Task Name";
        QTest::newRow("task list") << "tasklist"
                                   << "Task List Name";
    }

    void nameIsSuggestedOnShow()
    {
        QFETCH(QString, which);
        QFETCH(QString, suggestion);
        QLineEdit* name = nullptr;
        auto dialog = makeNameDialog(which, &name);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
        QCOMPARE(name->text(), suggestion);
        QCOMPARE(name->selectedText(), suggestion);
        QTRY_VERIFY(name->hasFocus());
        // Accepted untouched, the suggestion is what is submitted.
        child<QDialogButtonBox>(dialog.get(), "buttonBox")->button(QDialogButtonBox::Ok)->click();
        QCOMPARE(dialog->result(), int(QDialog::Accepted));
    }

    void blankNameKeepsTheDialogOpen_data()
    {
        QTest::addColumn<QString>("which");
        QTest::addColumn<QString>("blank");
        QTest::newRow("task, empty") << "task"
                                     << "";
        QTest::newRow("task, spaces") << "task"
                                      << "   ";
        QTest::newRow("task list, tab") << "tasklist"
                                        << "\t";
    }

    void blankNameKeepsTheDialogOpen()
    {
        QFETCH(QString, which);
        QFETCH(QString, blank);
        QLineEdit* name = nullptr;
        auto dialog = makeNameDialog(which, &name);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
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

    void loginDialogShowsErrorOnlyWhenThereIsOne_data()
    {
        QTest::addColumn<QString>("error");
        QTest::newRow("no error") << "";
        QTest::newRow("refused") << "Invalid email or password";
        QTest::newRow("markup stays text") << "<b>bad</b> & worse";
    }

    void loginDialogShowsErrorOnlyWhenThereIsOne()
    {
        QFETCH(QString, error);
        LoginDialog dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Login"));
        dialog.username = QStringLiteral("ann@example.com");
        dialog.password = QStringLiteral("pä ss");
        dialog.remember = true;
        dialog.error = error;
        dialog.putData();
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* label = child<QLabel>(&dialog, "labelError");
        QCOMPARE(label->isVisible(), !error.isEmpty());
        QCOMPARE(label->text(), error);
        QCOMPARE(child<QLineEdit>(&dialog, "editPassword")->echoMode(), QLineEdit::Password);
        QCOMPARE(child<QCheckBox>(&dialog, "checkRemember")->text(), QStringLiteral("Remember my password"));
        QVERIFY(child<QLabel>(&dialog, "label")->text().contains(QStringLiteral("\"My Account\" page.")));
    }

    void loginDialogHandsBackWhatWasTyped()
    {
        LoginDialog dialog;
        dialog.username = QStringLiteral("old@example.com");
        dialog.putData();
        auto* user = child<QLineEdit>(&dialog, "editUsername");
        user->clear();
        QTest::keyClicks(user, QStringLiteral("new@example.com"));
        child<QLineEdit>(&dialog, "editPassword")->setText(QStringLiteral("sécret \"1\""));
        child<QCheckBox>(&dialog, "checkRemember")->setChecked(true);
        dialog.error = QStringLiteral("kept");
        dialog.getData();
        QCOMPARE(dialog.username, QStringLiteral("new@example.com"));
        QCOMPARE(dialog.password, QStringLiteral("sécret \"1\""));
        QVERIFY(dialog.remember);
        QCOMPARE(dialog.error, QStringLiteral("kept"));
    }
};

VERRIN_TEST(TestServiceDialogs)
#include "TestServiceDialogs.moc"
