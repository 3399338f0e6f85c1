#include "app/LinkingController.h"

#include "app/DayViews.h"
#include "app/MainWindowForm.h"
#include "recording/AppIcons.h"
#include "rules/RuleApplier.h"
#include "rules/RuleStore.h"
#include "rules/RulesController.h"
#include "service/Linking.h"
#include "service/ProjectsTree.h"
#include "service/ServiceTimeEntryApi.h"
#include "views/LineEdit.h"
#include "views/TimeTree.h"
#include "views/TreeModel.h"

#include <QAction>
#include <QItemSelectionModel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

LinkingController::LinkingController(DayViews* views, MainWindowForm* form, QProgressBar* progressBar,
                                     QNetworkAccessManager* network, Prompter* prompter, QWidget* window)
    : QObject(window), views(views), ui(form), progressBar(progressBar),
      api(std::make_unique<ServiceTimeEntryApi>(network, prompter)),
      linker(std::make_unique<Linking>(api.get(), prompter)), ruleStore(std::make_unique<RuleStore>())
{
    connect(views, &DayViews::linkRequested, this, &LinkingController::connectEntriesWithTask);
    // Direct: the link is made inside the drop, before the drag ends and the rows leave the view.
    connect(form->projects, &ProjectsTree::signalConnectEntriesWithTask, this,
            &LinkingController::connectEntriesWithTask);
    connect(views, &DayViews::unlinkRequested, this, &LinkingController::unlinkEntries);
    connect(linker.get(), &Linking::linked, views, &DayViews::addLinkedGroups);
    connect(linker.get(), &Linking::progress, this, &LinkingController::showProgress);

    applier = new RuleApplier(ruleStore.get(), linker.get(), prompter, this);
    rulesController = new RulesController(ruleStore.get(), applier, window, prompter);
    rulesController->setParent(this);
    connectRules();
}

LinkingController::~LinkingController() = default;

void LinkingController::connectEntriesWithTask(const QStringList& ids, const QString& taskId, const QString& notes)
{
    if (linker->link(ids, taskId, notes).linked) {
        return;
    }
    // The view drops the rows once this returns; nothing was linked, so they are read back after that.
    QTimer::singleShot(0, views, &DayViews::refreshUnlinked);
}

void LinkingController::unlinkEntries(const QStringList& ids)
{
    linker->unlink(ids);
    // The linked view drops the rows once this returns; both trees are then read back, so unlinked
    // rows return to the unlinked tree and rows whose service entry could not be changed stay linked.
    QTimer::singleShot(0, views, &DayViews::refreshAfterUnlink);
    emit calendarMarksStale();
}

void LinkingController::connectRules()
{
    rulesController->setIconProvider([](const QString& path) { return util::get_file_icon(path); });
    rulesController->setContextProvider([this] {
        RuleContext context;
        context.projectId = ui->projects->getSelectedProjectId();
        context.taskId = ui->projects->getSelectedTaskId();
        context.day = views->shownDate();
        context.filterText = ui->editFilter->text();
        if (QItemSelectionModel* selection = ui->appList->selectionModel()) {
            context.selectedAppIds = views->unlinkedModel()->extractAppIdsFromSelection(selection->selectedRows());
        }
        return context;
    });
    connect(views, &DayViews::createRuleFromEntry, rulesController, &RulesController::onCreateRuleFromEntry);
    connect(views, &DayViews::createRuleFromApp, rulesController, &RulesController::onCreateRuleFromApp);
    connect(ui->action_Add_Rule, &QAction::triggered, rulesController, &RulesController::onAddRuleDialog);
    connect(ui->actionView_Rules, &QAction::triggered, rulesController, [this] { rulesController->showRulesDialog(); });
    connect(ui->action_Apply_Rules, &QAction::triggered, rulesController, &RulesController::onApplyRules);
    connect(ui->btnApplyRules, &QPushButton::clicked, rulesController, &RulesController::onApplyRules);
    connect(ui->actionApply_Rules_For_Date_Range, &QAction::triggered, rulesController,
            &RulesController::onApplyRulesForDateRange);

    connect(applier, &RuleApplier::progressStarted, this, [this](int maximum) {
        progressBar->setRange(0, maximum);
        progressBar->setValue(0);
        progressBar->show();
    });
    connect(applier, &RuleApplier::progressChanged, progressBar, &QProgressBar::setValue);
    connect(applier, &RuleApplier::viewsNeedRefresh, views, &DayViews::refreshBoth);
    connect(applier, &RuleApplier::progressFinished, progressBar, &QProgressBar::hide);
    connect(rulesController, &RulesController::rulesApplied, this, [this](const ApplyRulesSummary& summary) {
        emit statusMessage(summaryText(summary));
        emit calendarMarksStale();
    });
}

void LinkingController::showProgress(int done, int total)
{
    if (done >= total) {
        progressBar->hide();
        return;
    }
    progressBar->setRange(0, total);
    progressBar->setValue(done);
    progressBar->show();
}
