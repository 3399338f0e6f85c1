#include "FakePrompter.h"
#include "ManualClock.h"
#include "ModalDialogHelper.h"
#include "RecordedRows.h"
#include "RuleBrief.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "rules/AddRuleDialog.h"
#include "rules/ApplyRulesForDateRangeDialog.h"
#include "rules/RulesController.h"
#include "rules/RulesDialog.h"
#include "verrin/ProjectsCatalogue.h"

#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTextBrowser>

namespace {

// A project with two task lists and a completed task.
const char* kCatalogue = R"(<?xml version="1.0" encoding="UTF-8"?><response status="ok"><projects>
<project id="11" name="Website"><client name="Acme"/><task_lists>
<task_list id="101" name="Design"><tasks><task id="1001" name="Mock-ups" complete="0"/>
<task id="1002" name="Old logo" complete="1"/></tasks></task_list>
<task_list id="102" name="Build"><tasks><task id="1003" name="Pages" complete="0"/></tasks></task_list>
</task_lists></project></projects></response>)";

template <typename T>
T* child(QObject* parent, const char* name)
{
    return parent->findChild<T*>(QLatin1String(name));
}

void click(QObject* parent, const char* button)
{
    QTest::mouseClick(child<QPushButton>(parent, button), Qt::LeftButton);
}

template <typename Widget>
QStringList texts(const Widget* widget)
{
    QStringList result;
    for (int i = 0; i < widget->count(); ++i) {
        result << widget->model()->index(i, 0).data().toString();
    }
    return result;
}

void selectByText(QListWidget* list, const QStringList& names)
{
    for (int row = 0; row < list->count(); ++row) {
        list->item(row)->setSelected(names.contains(list->item(row)->text()));
    }
}

// Runs `look` on the next modal AddRuleDialog, then accepts it; any other dialog is rejected, since
// the slot under test would otherwise wait forever.
void onNextRuleDialog(const std::function<void(AddRuleDialog*)>& look)
{
    onNextModal([look](QWidget* modal) {
        auto* dialog = qobject_cast<AddRuleDialog*>(modal);
        if (!dialog) {
            qobject_cast<QDialog*>(modal)->reject();
            return;
        }
        look(dialog);
        dialog->accept();
    });
}

} // namespace

class TestRuleDialogs : public QObject, RuleDatabase
{
    Q_OBJECT

    ManualClock clock{QDateTime(QDate(2026, 11, 22), QTime(10, 0))}; // a Sunday
    FakePrompter prompter;

private slots:
    void initTestCase() { QVERIFY2(opened, qPrintable(error)); }

    void init()
    {
        RecordedRows::clearAll();
        for (const char* name : {"Terminal", "Browser", "Editor", "Mail"}) {
            RecordedRows::addApp(QLatin1String(name));
        }
        prompter.calls.clear();
    }

    void cleanup()
    {
        cancelModalHandlers();
        Registry::drop();
    }

    void applicationsProjectsAndTasksToChooseFrom()
    {
        QVERIFY(ProjectsCatalogue::keep(QString::fromLatin1(kCatalogue)));
        AddRuleDialog dialog(nullptr, Registry::instance()->catalogue(), &prompter, &clock);
        auto* all = child<QListWidget>(&dialog, "listAppsAll");
        auto* selected = child<QListWidget>(&dialog, "listAppsSelected");

        selectByText(all, {"Terminal", "Editor"});
        click(&dialog, "btnMoveToSelected");
        dialog.moveAppItemToSelected(2); // Browser
        QCOMPARE(texts(selected), (QStringList{"Browser", "Editor", "Terminal"}));
        QCOMPARE(texts(all), QStringList{"Mail"});

        selectByText(selected, {"Editor"});
        click(&dialog, "btnRemoveFromSelected");
        QCOMPARE(texts(all), (QStringList{"Editor", "Mail"}));
        QCOMPARE(texts(selected), (QStringList{"Browser", "Terminal"}));

        auto* tasks = child<QComboBox>(&dialog, "cbTasks");
        QCOMPARE(texts(child<QComboBox>(&dialog, "cbProjects")), QStringList{"Website"});
        dialog.populateTasks(11);
        // Task lists are headers, which cannot stay chosen; completed tasks are left out.
        QCOMPARE(texts(tasks), (QStringList{"Design", "  Mock-ups", "Build", "  Pages"}));
        tasks->setCurrentIndex(2);
        QCOMPARE(tasks->currentData().toInt(), 1003);
        dialog.getData();
        QCOMPARE(dialog.appIds, (QList<int>{2, 1}));
    }

    void rulesListSwitchesMovesAndRemoves()
    {
        const int first = add("First", {1});
        const int second = add("Second", {1});
        store.moveDbRule(second, -1);
        RulesDialog dialog(nullptr, &prompter);
        connect(&dialog, &RulesDialog::signalActivateRule, this,
                [this](int id, bool on) { store.activateDbRule(id, on); });
        connect(&dialog, &RulesDialog::signalMoveRule, this, [this](int id, int dir) { store.moveDbRule(id, dir); });
        connect(&dialog, &RulesDialog::signalDuplicateRule, this, [this](int id) { store.duplicateDbRule(id); });
        connect(&dialog, &RulesDialog::signalRemoveRule, this, [this](int id) { store.removeDbRule(id); });
        QSignalSpy activated(&dialog, &RulesDialog::signalActivateRule);
        QSignalSpy edited(&dialog, &RulesDialog::signalEditRuleDialog);

        auto* list = child<QListWidget>(&dialog, "rules");
        auto* description = child<QTextBrowser>(&dialog, "description");
        QCOMPARE(texts(list), (QStringList{"Second", "First"}));
        QCOMPARE(dialog.selectedRuleId(), second);
        QVERIFY(child<QPushButton>(&dialog, "btnApplyRules")->isEnabled());
        list->item(0)->setCheckState(Qt::Unchecked);
        QCOMPARE(activated.size(), 1);
        QCOMPARE(activated[0], (QList<QVariant>{second, false}));
        QVERIFY(description->toHtml().contains("This rule is currently turned off."));
        // Switching back is a change again.
        list->item(0)->setCheckState(Qt::Checked);
        QCOMPARE(activated.size(), 2);
        QCOMPARE(store.readDbRule(second).value("active").toInt(), 1);
        click(&dialog, "btnDown");
        QCOMPARE(texts(list), (QStringList{"First", "Second"}));
        dialog.selectRule(first);
        click(&dialog, "btnDuplicate");
        QCOMPARE(texts(list), (QStringList{"First", "Second", "Copy of First"}));
        emit description->anchorClicked(QUrl(QStringLiteral("#")));
        QCOMPARE(edited.size(), 1);
        QCOMPARE(edited[0].first().toInt(), dialog.selectedRuleId());
        QCOMPARE(activated.size(), 2); // refreshing never counts as switching

        // Removing asks first, yes being the default; the first answer is no.
        prompter.answers << false << true << true << true;
        for (int left : {3, 2, 1, 0}) {
            click(&dialog, "btnRemove");
            QCOMPARE(list->count(), left);
        }
        QCOMPARE(prompter.calls.size(), 4);
        QVERIFY(prompter.calls.first().defaultYes);
        QVERIFY(!child<QPushButton>(&dialog, "btnApplyRules")->isEnabled());
    }

    void presetsAndCustom()
    {
        ApplyRulesForDateRangeDialog dialog(nullptr, &clock);
        auto* presets = child<QComboBox>(&dialog, "cbPresets");
        QCOMPARE(dialog.fromDate(), clock.today());
        QCOMPARE(dialog.toDate(), clock.today());
        // Changing a date by hand makes a preset range a custom one.
        presets->setCurrentIndex(presets->findData(QStringLiteral("this week")));
        child<QDateEdit>(&dialog, "dateEditFrom")->setDate(QDate(2026, 11, 18));
        QCOMPARE(presets->currentData().toString(), QStringLiteral("custom"));
        QDate from;
        QDate to;
        dialog.getData(&from, &to);
        QCOMPARE(QList<QDate>({from, to}), QList<QDate>({QDate(2026, 11, 18), QDate(2026, 11, 22)}));
    }

    void ruleFromEntryIsStored()
    {
        ProjectsCatalogue::keep(QString::fromLatin1(kCatalogue));
        QWidget window;
        RulesController controller(&store, nullptr, &window, &prompter, &clock);
        controller.setContextProvider([] {
            RuleContext ctx;
            ctx.projectId = 11;
            ctx.taskId = 1003;
            ctx.day = QDate(2026, 11, 20);
            return ctx;
        });
        // The rules list follows; its listing is checked with the list itself.
        onNextRuleDialog(
            [](AddRuleDialog*) { onNextModal([](QWidget* list) { qobject_cast<QDialog*>(list)->reject(); }); });
        controller.onCreateRuleFromEntry(3, QStringLiteral("It's done - Editor"));
        QCOMPARE(brief(store.readDbRule(1)),
                 QStringLiteral("Rule #1|exact It's done - Editor|after 2026-11-20 2026-11-20|11/1003|seq 1|active 1|"
                                "apps 3"));
    }

    // Signed out there is no catalogue, and the rule must keep its task all the same; a date the rule
    // does not use is kept too. What the dialog shows comes back unchanged through OK.
    void editingARuleWithoutApplications_data()
    {
        QTest::addColumn<bool>("withCatalogue");
        QTest::addColumn<QString>("dateRule");
        QTest::newRow("catalogue") << true << "between";
        QTest::newRow("no catalogue") << false << "between";
        QTest::newRow("before") << true << "before";
    }

    void editingARuleWithoutApplications()
    {
        QFETCH(bool, withCatalogue);
        QFETCH(QString, dateRule);
        const QDate from(2026, 4, 1);
        add("Other", {2});
        const int id = store.addDbRule("Orphan", {}, "or", "draft", dateRule, from, from.addDays(9), 11, 1003);
        store.activateDbRule(id, false);
        ProjectsCatalogue::keep(withCatalogue ? QString::fromLatin1(kCatalogue) : QString());
        QWidget window;
        RulesController controller(&store, nullptr, &window, &prompter, &clock);
        onNextRuleDialog([&](AddRuleDialog* dialog) {
            // OK is refused while no application is chosen.
            dialog->accept();
            QCOMPARE(prompter.calls.value(0).kind + ": " + prompter.calls.value(0).text,
                     "critical: Select at least one application.");
            child<QLineEdit>(dialog, "editName")->setText(QStringLiteral("Adopted"));
            dialog->moveAppItemToSelected(4);
        });
        controller.onEditRuleDialog(id);
        QCOMPARE(brief(store.readDbRule(id)),
                 "Adopted|or draft|" + dateRule + " 2026-04-01 2026-04-10|11/1003|seq 2|active 0|apps 4");
    }
};

QTEST_MAIN(TestRuleDialogs)
#include "TestRuleDialogs.moc"
