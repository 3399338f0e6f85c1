#include "FakePrompter.h"
#include "ManualClock.h"
#include "ModalDialogHelper.h"
#include "app/Registry.h"
#include "rules/AddRuleDialog.h"
#include "rules/ApplyRulesForDateRangeDialog.h"
#include "rules/RuleStore.h"
#include "rules/RulesController.h"
#include "rules/RulesDialog.h"
#include "store/Database.h"

#include <QApplication>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>

namespace {

const char* kCatalogue = R"(<?xml version="1.0" encoding="UTF-8"?>
<response status="ok"><projects>
  <project id="11" name="Website"><client name="Acme"/><task_lists>
    <task_list id="101" name="Design"><tasks>
      <task id="1001" name="Mock-ups" complete="0"/>
      <task id="1002" name="Old logo" complete="1"/>
    </tasks></task_list>
    <task_list id="102" name="Build"><tasks>
      <task id="1003" name="Pages" complete="0"/>
    </tasks></task_list>
  </task_lists></project>
  <project id="12" name="Intranet"><client name="Acme"/><task_lists>
    <task_list id="103" name="Support"><tasks><task id="1004" name="Tickets" complete="0"/></tasks></task_list>
  </task_lists></project>
</projects></response>)";

QStringList texts(const QListWidget* list)
{
    QStringList result;
    for (int row = 0; row < list->count(); ++row) {
        result << list->item(row)->text();
    }
    return result;
}

QStringList texts(const QComboBox* combo)
{
    QStringList result;
    for (int i = 0; i < combo->count(); ++i) {
        result << combo->itemText(i);
    }
    return result;
}

void selectByText(QListWidget* list, const QStringList& names)
{
    list->clearSelection();
    for (int row = 0; row < list->count(); ++row) {
        list->item(row)->setSelected(names.contains(list->item(row)->text()));
    }
}

} // namespace

class TestRuleDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void validationKeepsTheFields();
    void applicationsMoveAndStaySorted();
    void projectsAndTasksFromTheCatalogue();
    void editingRoundTrip();
    void rulesListSwitchesAndMoves();
    void removeAsksFirst();
    void presetsAndCustom();
    void ruleFromEntryIsStoredAndShown();
    void editingARuleWithoutApplications();

private:
    int addApp(const QString& name);

    QTemporaryDir dir;
    Database db;
    RuleStore store;
    ManualClock clock{QDateTime(QDate(2026, 11, 22), QTime(10, 0))}; // a Sunday
};

void TestRuleDialogs::initTestCase()
{
    QString error;
    QVERIFY2(db.open(dir.filePath(QStringLiteral("verrinplus.sqlite")), &error), qPrintable(error));
}

void TestRuleDialogs::init()
{
    QSqlQuery q;
    for (const char* table : {"rules", "rules_apps", "entries", "applications", "sqlite_sequence"}) {
        q.exec(QStringLiteral("DELETE FROM %1").arg(QLatin1String(table)));
    }
    for (const char* name : {"Terminal", "Browser", "Editor", "Mail"}) {
        addApp(QLatin1String(name));
    }
}

void TestRuleDialogs::cleanup()
{
    cancelModalHandlers();
    Registry::drop();
}

int TestRuleDialogs::addApp(const QString& name)
{
    QSqlQuery q;
    q.prepare(QStringLiteral("INSERT INTO applications (path, name) VALUES (:p, :n)"));
    q.bindValue(QStringLiteral(":p"), QStringLiteral("/usr/bin/") + name.toLower());
    q.bindValue(QStringLiteral(":n"), name);
    q.exec();
    return q.lastInsertId().toInt();
}

void TestRuleDialogs::validationKeepsTheFields()
{
    FakePrompter prompter;
    AddRuleDialog dialog(nullptr, QLatin1String(kCatalogue), &prompter, &clock);
    dialog.name = QStringLiteral("Rule #1");
    dialog.dateRule = QStringLiteral("after");
    dialog.dateFrom = QDate(2026, 11, 2);
    dialog.putData();
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    auto* editName = dialog.findChild<QLineEdit*>("editName");
    auto* editTitle = dialog.findChild<QLineEdit*>("editTitle");
    auto* cbTitleRule = dialog.findChild<QComboBox*>("cbTitleRule");
    auto* radioDateInterval = dialog.findChild<QRadioButton*>("radioDateInterval");
    auto* dateIntervalTo = dialog.findChild<QDateEdit*>("dateIntervalTo");
    editName->setText(QStringLiteral("Writing"));
    editTitle->setText(QStringLiteral("\"user guide\" draft"));
    cbTitleRule->setCurrentIndex(cbTitleRule->findData(QStringLiteral("regexp")));
    radioDateInterval->setChecked(true);
    dateIntervalTo->setDate(QDate(2026, 12, 24));

    auto* ok = dialog.findChild<QDialogButtonBox*>("buttonBox")->button(QDialogButtonBox::Ok);
    QTest::mouseClick(ok, Qt::LeftButton);
    QCOMPARE(prompter.calls.size(), 1);
    QCOMPARE(prompter.calls[0].kind, QStringLiteral("critical"));
    QCOMPARE(prompter.calls[0].title, QStringLiteral("Validation Error"));
    QCOMPARE(prompter.calls[0].text, QStringLiteral("Select at least one application."));
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.result(), 0);
    QCOMPARE(editName->text(), QStringLiteral("Writing"));
    QCOMPARE(editTitle->text(), QStringLiteral("\"user guide\" draft"));
    QCOMPARE(cbTitleRule->currentData().toString(), QStringLiteral("regexp"));
    QVERIFY(radioDateInterval->isChecked());
    QCOMPARE(dateIntervalTo->date(), QDate(2026, 12, 24));

    // With an application it closes and hands everything over.
    dialog.moveAppItemToSelected(3);
    QTest::mouseClick(ok, Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    dialog.getData();
    QCOMPARE(dialog.name, QStringLiteral("Writing"));
    QCOMPARE(dialog.titleRule, QStringLiteral("regexp"));
    QCOMPARE(dialog.dateRule, QStringLiteral("between"));
    QCOMPARE(dialog.dateFrom, clock.today()); // the interval's first date was left at today
    QCOMPARE(dialog.dateTo, QDate(2026, 12, 24));
    QCOMPARE(dialog.appIds, QList<int>{3});
}

void TestRuleDialogs::applicationsMoveAndStaySorted()
{
    FakePrompter prompter;
    AddRuleDialog dialog(nullptr, QString(), &prompter, &clock);
    auto* all = dialog.findChild<QListWidget*>("listAppsAll");
    auto* selected = dialog.findChild<QListWidget*>("listAppsSelected");
    QCOMPARE(texts(all), (QStringList{"Browser", "Editor", "Mail", "Terminal"}));

    selectByText(all, {"Terminal", "Editor"});
    QTest::mouseClick(dialog.findChild<QPushButton*>("btnMoveToSelected"), Qt::LeftButton);
    dialog.moveAppItemToSelected(2); // Browser
    QCOMPARE(texts(selected), (QStringList{"Browser", "Editor", "Terminal"}));
    QCOMPARE(texts(all), QStringList{"Mail"});

    selectByText(selected, {"Editor"});
    QTest::mouseClick(dialog.findChild<QPushButton*>("btnRemoveFromSelected"), Qt::LeftButton);
    QCOMPARE(texts(all), (QStringList{"Editor", "Mail"}));
    QCOMPARE(texts(selected), (QStringList{"Browser", "Terminal"}));
    dialog.getData();
    QCOMPARE(dialog.appIds, (QList<int>{2, 1}));
}

void TestRuleDialogs::projectsAndTasksFromTheCatalogue()
{
    FakePrompter prompter;
    AddRuleDialog dialog(nullptr, QLatin1String(kCatalogue), &prompter, &clock);
    auto* projects = dialog.findChild<QComboBox*>("cbProjects");
    auto* tasks = dialog.findChild<QComboBox*>("cbTasks");
    QCOMPARE(texts(projects), (QStringList{"Website", "Intranet"}));
    dialog.populateTasks(11);
    // Task lists are headers; completed tasks are left out.
    QCOMPARE(texts(tasks), (QStringList{"Design", "  Mock-ups", "Build", "  Pages"}));
    QCOMPARE(tasks->itemData(0).toInt(), 0);
    QCOMPARE(tasks->itemData(0, Qt::BackgroundRole).value<QColor>(), QColor(221, 221, 221));
    QCOMPARE(tasks->itemData(3).toInt(), 1003);
    // A header cannot stay chosen.
    tasks->setCurrentIndex(2);
    QCOMPARE(tasks->currentData().toInt(), 1003);

    // A catalogue the service did not answer "ok" leaves both combos empty.
    QTest::ignoreMessage(QtDebugMsg, "xml not good to load");
    AddRuleDialog broken(nullptr, QStringLiteral("<response status=\"fail\"/>"), &prompter, &clock);
    QCOMPARE(broken.findChild<QComboBox*>("cbProjects")->count(), 0);
}

void TestRuleDialogs::editingRoundTrip()
{
    FakePrompter prompter;
    AddRuleDialog dialog(nullptr, QLatin1String(kCatalogue), &prompter, &clock);
    dialog.name = QStringLiteral("Support");
    dialog.title = QStringLiteral("ticket");
    dialog.titleRule = QStringLiteral("exact");
    dialog.dateRule = QStringLiteral("before");
    dialog.dateFrom = QDate(2026, 1, 5);
    dialog.dateTo = QDate(2026, 2, 5);
    dialog.projectId = 12;
    dialog.taskId = 1004;
    dialog.appIds = {4, 2};
    dialog.editing = true;
    dialog.putData();
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Update Rule"));
    QVERIFY(dialog.findChild<QRadioButton*>("radioUntilDate")->isChecked());
    QVERIFY(!dialog.findChild<QRadioButton*>("radioAnyDate")->isChecked());
    QCOMPARE(dialog.findChild<QDateEdit*>("dateTo")->date(), QDate(2026, 2, 5));
    QCOMPARE(dialog.findChild<QDateEdit*>("dateFrom")->date(), clock.today());

    dialog.getData();
    QCOMPARE(dialog.name, QStringLiteral("Support"));
    QCOMPARE(dialog.title, QStringLiteral("ticket"));
    QCOMPARE(dialog.titleRule, QStringLiteral("exact"));
    QCOMPARE(dialog.dateRule, QStringLiteral("before"));
    QCOMPARE(dialog.dateFrom, QDate(2026, 1, 5)); // not this rule's date: kept as it was
    QCOMPARE(dialog.dateTo, QDate(2026, 2, 5));
    QCOMPARE(dialog.projectId, 12);
    QCOMPARE(dialog.taskId, 1004);
    QCOMPARE(dialog.appIds, (QList<int>{2, 4})); // Browser, Mail
}

void TestRuleDialogs::rulesListSwitchesAndMoves()
{
    const QDate d(2026, 1, 1);
    const int first = store.addDbRule("First", {1}, "and", "", "always", d, d, 0, 0);
    const int second = store.addDbRule("Second", {1}, "and", "", "always", d, d, 0, 0);
    store.moveDbRule(second, -1);
    FakePrompter prompter;
    RulesDialog dialog(nullptr, &prompter);
    connect(&dialog, &RulesDialog::signalActivateRule, this, [this](int id, bool on) { store.activateDbRule(id, on); });
    connect(&dialog, &RulesDialog::signalMoveRule, this, [this](int id, int dir) { store.moveDbRule(id, dir); });
    connect(&dialog, &RulesDialog::signalDuplicateRule, this, [this](int id) { store.duplicateDbRule(id); });
    QSignalSpy activated(&dialog, &RulesDialog::signalActivateRule);
    QSignalSpy edited(&dialog, &RulesDialog::signalEditRuleDialog);

    auto* list = dialog.findChild<QListWidget*>("rules");
    auto* description = dialog.findChild<QTextBrowser*>("description");
    QCOMPARE(texts(list), (QStringList{"Second", "First"}));
    QCOMPARE(dialog.selectedRuleId(), second);
    QVERIFY(dialog.findChild<QPushButton*>("btnApplyRules")->isEnabled());

    list->item(0)->setCheckState(Qt::Unchecked);
    QCOMPARE(activated.size(), 1);
    QCOMPARE(activated[0], (QList<QVariant>{second, false}));
    QCOMPARE(store.readDbRule(second).value("active").toInt(), 0);
    QVERIFY(description->toHtml().contains("This rule is currently turned off."));
    // Switching back is a change again.
    list->item(0)->setCheckState(Qt::Checked);
    QCOMPARE(activated.size(), 2);
    QCOMPARE(store.readDbRule(second).value("active").toInt(), 1);

    QTest::mouseClick(dialog.findChild<QPushButton*>("btnDown"), Qt::LeftButton);
    QCOMPARE(texts(list), (QStringList{"First", "Second"}));
    QCOMPARE(dialog.selectedRuleId(), second);
    QTest::mouseClick(dialog.findChild<QPushButton*>("btnDown"), Qt::LeftButton);
    QCOMPARE(texts(list), (QStringList{"First", "Second"}));

    dialog.selectRule(first);
    QTest::mouseClick(dialog.findChild<QPushButton*>("btnDuplicate"), Qt::LeftButton);
    QCOMPARE(texts(list), (QStringList{"First", "Second", "Copy of First"}));
    QCOMPARE(list->currentRow(), 2);

    emit description->anchorClicked(QUrl(QStringLiteral("#")));
    QCOMPARE(edited.size(), 1);
    QCOMPARE(edited[0].first().toInt(), dialog.selectedRuleId());
    QCOMPARE(activated.size(), 2); // refreshing never counts as switching
}

void TestRuleDialogs::removeAsksFirst()
{
    const QDate d(2026, 1, 1);
    store.addDbRule("Only", {1}, "and", "", "always", d, d, 0, 0);
    FakePrompter prompter;
    RulesDialog dialog(nullptr, &prompter);
    connect(&dialog, &RulesDialog::signalRemoveRule, this, [this](int id) { store.removeDbRule(id); });
    auto* remove = dialog.findChild<QPushButton*>("btnRemove");
    prompter.answers.enqueue(false);
    QTest::mouseClick(remove, Qt::LeftButton);
    QCOMPARE(dialog.findChild<QListWidget*>("rules")->count(), 1);
    prompter.answers.enqueue(true);
    QTest::mouseClick(remove, Qt::LeftButton);
    QCOMPARE(prompter.calls.size(), 2);
    QCOMPARE(prompter.calls[1].title, QStringLiteral("Confirm remove"));
    QCOMPARE(prompter.calls[1].text, QStringLiteral("Are you sure you want to remove this rule?"));
    QCOMPARE(dialog.findChild<QListWidget*>("rules")->count(), 0);
    QVERIFY(!dialog.findChild<QPushButton*>("btnApplyRules")->isEnabled());
}

void TestRuleDialogs::presetsAndCustom()
{
    ApplyRulesForDateRangeDialog dialog(nullptr, &clock);
    auto* presets = dialog.findChild<QComboBox*>("cbPresets");
    auto* from = dialog.findChild<QDateEdit*>("dateEditFrom");
    QCOMPARE(presets->count(), 8);
    QCOMPARE(dialog.fromDate(), clock.today());
    QCOMPARE(dialog.toDate(), clock.today());

    presets->setCurrentIndex(presets->findData(QStringLiteral("this week")));
    QCOMPARE(dialog.fromDate(), QDate(2026, 11, 16));
    QCOMPARE(dialog.toDate(), QDate(2026, 11, 22));
    QCOMPARE(presets->currentData().toString(), QStringLiteral("this week"));

    from->setDate(QDate(2026, 11, 18));
    QCOMPARE(presets->currentData().toString(), QStringLiteral("custom"));
    QDate gotFrom;
    QDate gotTo;
    dialog.getData(&gotFrom, &gotTo);
    QCOMPARE(gotFrom, QDate(2026, 11, 18));
    QCOMPARE(gotTo, QDate(2026, 11, 22));
}

void TestRuleDialogs::ruleFromEntryIsStoredAndShown()
{
    (*Registry::instance())["XmlProjectsList"] = QString::fromLatin1(kCatalogue);
    FakePrompter prompter;
    QWidget window;
    RulesController controller(&store, nullptr, &window, &prompter, &clock);
    controller.setContextProvider([] {
        RuleContext ctx;
        ctx.projectId = 11;
        ctx.taskId = 1003;
        ctx.day = QDate(2026, 11, 20);
        return ctx;
    });

    QString shownName;
    QStringList listed;
    onNextModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<AddRuleDialog*>(modal);
        if (!dialog) { // never leave a dialog open: the slot under test would wait forever
            qobject_cast<QDialog*>(modal)->reject();
            return;
        }
        shownName = dialog->findChild<QLineEdit*>("editName")->text();
        onNextModal([&](QWidget* list) {
            listed = texts(list->findChild<QListWidget*>("rules"));
            qobject_cast<QDialog*>(list)->reject();
        });
        dialog->accept();
    });
    controller.onCreateRuleFromEntry(3, QStringLiteral("It's done - Editor"));
    QCOMPARE(shownName, QStringLiteral("Rule #1"));
    QCOMPARE(listed, QStringList{"Rule #1"});
    const QVariantMap rule = store.readDbRule(1);
    QCOMPARE(rule.value("title").toString(), QStringLiteral("It's done - Editor"));
    QCOMPARE(rule.value("title_rule").toString(), QStringLiteral("exact"));
    QCOMPARE(rule.value("date_rule").toString(), QStringLiteral("after"));
    QCOMPARE(rule.value("date_from").toDate(), QDate(2026, 11, 20));
    QCOMPARE(rule.value("app_ids").toStringList(), QStringList{"3"});
    QCOMPARE(rule.value("project_id").toInt(), 11);
    QCOMPARE(rule.value("task_id").toInt(), 1003);
}

void TestRuleDialogs::editingARuleWithoutApplications()
{
    const QDate d(2026, 4, 1);
    store.addDbRule("Other", {2}, "and", "", "always", d, d, 0, 0);
    const int id = store.addDbRule("Orphan", {}, "or", "draft", "between", d, d.addDays(9), 12, 1004);
    store.activateDbRule(id, false);
    FakePrompter prompter;
    QWidget window;
    RulesController controller(&store, nullptr, &window, &prompter, &clock);

    QString shownTitle;
    QString windowTitle;
    bool intervalChecked = false;
    QDate shownTo;
    onNextModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<AddRuleDialog*>(modal);
        if (!dialog) {
            qobject_cast<QDialog*>(modal)->reject();
            return;
        }
        windowTitle = dialog->windowTitle();
        shownTitle = dialog->findChild<QLineEdit*>("editTitle")->text();
        intervalChecked = dialog->findChild<QRadioButton*>("radioDateInterval")->isChecked();
        shownTo = dialog->findChild<QDateEdit*>("dateIntervalTo")->date();
        dialog->findChild<QLineEdit*>("editName")->setText(QStringLiteral("Adopted"));
        dialog->moveAppItemToSelected(4);
        dialog->accept();
    });
    controller.onEditRuleDialog(id);
    QCOMPARE(windowTitle, QStringLiteral("Update Rule"));
    QCOMPARE(shownTitle, QStringLiteral("draft"));
    QVERIFY(intervalChecked);
    QCOMPARE(shownTo, d.addDays(9));
    const QVariantMap rule = store.readDbRule(id);
    QCOMPARE(rule.value("name").toString(), QStringLiteral("Adopted"));
    QCOMPARE(rule.value("app_ids").toStringList(), QStringList{"4"});
    QCOMPARE(rule.value("date_to").toDate(), d.addDays(9));
    QCOMPARE(rule.value("seq").toInt(), 2);
    QCOMPARE(rule.value("active").toInt(), 0);
}

QTEST_MAIN(TestRuleDialogs)
#include "TestRuleDialogs.moc"
