#include "rules/RulesController.h"

#include "app/Clock.h"
#include "app/Prompter.h"
#include "app/Registry.h"
#include "rules/ApplyRulesForDateRangeDialog.h"
#include "rules/RuleStore.h"
#include "rules/RulesDialog.h"

#include <QPointer>

RulesController::RulesController(RuleStore* store, RuleApplier* applier, QWidget* window, Prompter* prompter,
                                 const Clock* clock)
    : QObject(window), store(store), applier(applier), window(window), prompter(prompter),
      clock(clock ? clock : SystemClock::shared())
{
}

RuleContext RulesController::context() const
{
    RuleContext result;
    if (contextProvider) {
        result = contextProvider();
    }
    if (!result.day.isValid()) {
        result.day = clock->today();
    }
    return result;
}

AddRuleDialog* RulesController::makeRuleDialog()
{
    return new AddRuleDialog(window, Registry::instance()->catalogue(), prompter, clock, iconForPath);
}

void RulesController::showRulesDialog(int ruleId)
{
    QPointer<RulesDialog> dialog = new RulesDialog(window, prompter);
    // Direct connections: each signal returns after the store has changed, then the dialog refreshes.
    connect(dialog, &RulesDialog::signalAddRuleDialog, this, &RulesController::onAddRuleDialog, Qt::DirectConnection);
    connect(dialog, &RulesDialog::signalEditRuleDialog, this, &RulesController::onEditRuleDialog, Qt::DirectConnection);
    connect(dialog, &RulesDialog::signalRemoveRule, this, &RulesController::onRemoveRule, Qt::DirectConnection);
    connect(dialog, &RulesDialog::signalActivateRule, this, &RulesController::onActivateRule, Qt::DirectConnection);
    connect(dialog, &RulesDialog::signalMoveRule, this, &RulesController::onMoveRule, Qt::DirectConnection);
    connect(dialog, &RulesDialog::signalApplyRules, this, &RulesController::onApplyRules, Qt::DirectConnection);
    connect(dialog, &RulesDialog::signalDuplicateRule, this, &RulesController::onDuplicateRule, Qt::DirectConnection);
    if (ruleId != 0) {
        dialog->selectRule(ruleId);
    }
    dialog->exec();
    delete dialog;
}

int RulesController::runNewRuleDialog(const RuleContext& ctx, const QString& title, const QString& titleRule,
                                      const QList<int>& appIds)
{
    QPointer<AddRuleDialog> dialog = makeRuleDialog();
    dialog->name = QStringLiteral("Rule #") + QString::number(store->nextRuleNumber());
    dialog->projectId = ctx.projectId;
    dialog->taskId = ctx.taskId;
    dialog->dateRule = QStringLiteral("after");
    dialog->dateFrom = ctx.day;
    dialog->dateTo = ctx.day;
    dialog->title = title;
    dialog->titleRule = titleRule;
    dialog->appIds = appIds;
    dialog->putData();
    int id = 0;
    if (dialog->exec() == QDialog::Accepted && dialog) {
        dialog->getData();
        id = store->addDbRule(dialog->name, dialog->appIds, dialog->titleRule, dialog->title, dialog->dateRule,
                              dialog->dateFrom, dialog->dateTo, dialog->projectId, dialog->taskId);
        reportStoreFailure(id != 0, QStringLiteral("The rule could not be saved"));
    }
    delete dialog;
    return id;
}

void RulesController::onAddRuleDialog()
{
    const RuleContext ctx = context();
    runNewRuleDialog(ctx, ctx.filterText, QStringLiteral("and"), ctx.selectedAppIds);
}

void RulesController::onCreateRuleFromEntry(int appId, const QString& title)
{
    const int id = runNewRuleDialog(context(), title, QStringLiteral("exact"), {appId});
    if (id != 0) {
        showRulesDialog(id);
    }
}

void RulesController::onCreateRuleFromApp(int appId)
{
    const int id = runNewRuleDialog(context(), QString(), QStringLiteral("or"), {appId});
    if (id != 0) {
        showRulesDialog(id);
    }
}

void RulesController::onEditRuleDialog(int ruleId)
{
    // Read even a rule without applications, so it can be given some again.
    const QVariantMap rule = store->readRuleForEditing(ruleId);
    if (rule.isEmpty()) {
        return;
    }
    QPointer<AddRuleDialog> dialog = makeRuleDialog();
    dialog->name = rule.value(QStringLiteral("name")).toString();
    dialog->title = rule.value(QStringLiteral("title")).toString();
    dialog->dateRule = rule.value(QStringLiteral("date_rule")).toString();
    dialog->titleRule = rule.value(QStringLiteral("title_rule")).toString();
    dialog->dateTo = rule.value(QStringLiteral("date_to")).toDate();
    dialog->dateFrom = rule.value(QStringLiteral("date_from")).toDate();
    dialog->projectId = rule.value(QStringLiteral("project_id")).toInt();
    dialog->taskId = rule.value(QStringLiteral("task_id")).toInt();
    for (const QString& appId : rule.value(QStringLiteral("app_ids")).toStringList()) {
        dialog->appIds << appId.toInt();
    }
    dialog->editing = true;
    dialog->putData();
    if (dialog->exec() == QDialog::Accepted && dialog) {
        dialog->getData();
        reportStoreFailure(store->updateDbRule(ruleId, dialog->name, dialog->appIds, dialog->titleRule, dialog->title,
                                               dialog->dateRule, dialog->dateFrom, dialog->dateTo, dialog->projectId,
                                               dialog->taskId),
                           QStringLiteral("The rule could not be saved"));
    }
    delete dialog;
}

void RulesController::onRemoveRule(int ruleId)
{
    reportStoreFailure(store->removeDbRule(ruleId), QStringLiteral("The rule could not be removed"));
}

void RulesController::onActivateRule(int ruleId, bool active)
{
    store->activateDbRule(ruleId, active);
}

void RulesController::onMoveRule(int ruleId, int direction)
{
    reportStoreFailure(store->moveDbRule(ruleId, direction), QStringLiteral("The rule could not be moved"));
}

void RulesController::onDuplicateRule(int ruleId)
{
    reportStoreFailure(store->duplicateDbRule(ruleId) != 0, QStringLiteral("The rule could not be copied"));
}

void RulesController::reportStoreFailure(bool ok, const QString& what)
{
    if (!ok && prompter) {
        prompter->critical(QStringLiteral("Database error"), what + QStringLiteral(": ") + store->lastError());
    }
}

void RulesController::onApplyRules()
{
    if (!applier) {
        return;
    }
    const QDate day = context().day;
    emit rulesApplied(applier->applyRules(day, day));
}

void RulesController::onApplyRulesForDateRange()
{
    if (!applier) {
        return;
    }
    QPointer<ApplyRulesForDateRangeDialog> dialog = new ApplyRulesForDateRangeDialog(window, clock);
    if (dialog->exec() == QDialog::Accepted && dialog) {
        QDate from;
        QDate to;
        dialog->getData(&from, &to);
        delete dialog;
        emit rulesApplied(applier->applyRules(from, to));
        return;
    }
    delete dialog;
}
