#pragma once

#include "rules/AddRuleDialog.h"
#include "rules/RuleApplier.h"

#include <QDate>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class Clock;
class Prompter;
class RuleStore;

// What the main window knows when a rule is made or rules are applied: the selected task of the
// projects tree, the calendar's day, the filter text and the applications selected in the
// unlinked-entries view.
struct RuleContext
{
    int projectId = 0;
    int taskId = 0;
    QDate day;
    QString filterText;
    QList<int> selectedAppIds;
};

// The rule commands of the main window: opens the rule dialogs, prefills new rules from the
// selection, an entry or an application, and stores what the dialogs report. The main window's
// slots forward here; the applier's signals drive its progress bar and tree refreshes.
class RulesController : public QObject
{
    Q_OBJECT
public:
    // `window` is the parent of the dialogs.
    RulesController(RuleStore* store, RuleApplier* applier, QWidget* window, Prompter* prompter = nullptr,
                    const Clock* clock = nullptr);

    void setContextProvider(std::function<RuleContext()> provider) { contextProvider = std::move(provider); }
    void setIconProvider(AddRuleDialog::IconForPath provider) { iconForPath = std::move(provider); }

public slots:
    // Opens the rules list, with `ruleId` current when it is not 0.
    void showRulesDialog(int ruleId = 0);
    // A new rule from the current selection; returns through the store, nothing else.
    void onAddRuleDialog();
    void onEditRuleDialog(int ruleId);
    // A rule for exactly this window title of this application; shows the rules list afterwards.
    void onCreateRuleFromEntry(int appId, const QString& title);
    // A rule for every title of this application; shows the rules list afterwards.
    void onCreateRuleFromApp(int appId);

    void onRemoveRule(int ruleId);
    void onActivateRule(int ruleId, bool active);
    void onMoveRule(int ruleId, int direction);
    void onDuplicateRule(int ruleId);

    // Applies the rules to the context's day.
    void onApplyRules();
    // Asks for a range of days and applies the rules to it.
    void onApplyRulesForDateRange();

signals:
    void rulesApplied(const ApplyRulesSummary& summary);

private:
    RuleContext context() const;
    // Runs a new-rule dialog with these fields; the new rule's id, 0 when cancelled.
    int runNewRuleDialog(const RuleContext& ctx, const QString& title, const QString& titleRule,
                         const QList<int>& appIds);
    AddRuleDialog* makeRuleDialog();
    // Tells the user when a change of the rules did not reach the database.
    void reportStoreFailure(bool ok, const QString& what);

    RuleStore* store;
    RuleApplier* applier;
    QWidget* window;
    Prompter* prompter;
    const Clock* clock;
    std::function<RuleContext()> contextProvider;
    AddRuleDialog::IconForPath iconForPath;
};
