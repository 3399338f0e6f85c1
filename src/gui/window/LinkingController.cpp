#include "window/LinkingController.h"

#include "app/HeadlessRuleRun.h"
#include "app/Prompter.h"
#include "app/SingleInstance.h"
#include "recording/AppIcons.h"
#include "reports/TreeModel.h"
#include "rules/RuleApplier.h"
#include "rules/RuleStore.h"
#include "rules/RulesController.h"
#include "store/util.h"
#include "verrin/LinkCheck.h"
#include "verrin/LinkJournal.h"
#include "verrin/LinkRecovery.h"
#include "verrin/Linking.h"
#include "verrin/ProjectsTree.h"
#include "verrin/ServiceTimeEntryApi.h"
#include "views/LineEdit.h"
#include "views/TimeTree.h"
#include "window/DayViews.h"
#include "window/MainWindowForm.h"

#include <QAction>
#include <QItemSelectionModel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

LinkingController::LinkingController(DayViews* views, MainWindowForm* form, QProgressBar* progressBar,
                                     QNetworkAccessManager* network, Prompter* prompter, QWidget* window)
    : QObject(window), views(views), ui(form), progressBar(progressBar),
      api(std::make_unique<ServiceTimeEntryApi>(network)), linker(std::make_unique<Linking>(api.get(), prompter)),
      ruleStore(std::make_unique<RuleStore>()), prompter(prompter)
{
    connect(linker.get(), &Linking::sessionExpired, this, &LinkingController::sessionExpired);
    connect(linker.get(), &Linking::pendingChanged, this, &LinkingController::showPendingCount);
    connect(form->actionCheck_Links, &QAction::triggered, this, &LinkingController::checkLinks);
    connect(form->actionPending_Links, &QAction::triggered, this, &LinkingController::resolvePending);
    setSignedIn(false);
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

namespace {
// Counts the window's own linking work while it runs, so a run handed over from the command line
// waits for it instead of running beside it in a nested event loop.
class BusyWhile
{
public:
    explicit BusyWhile(int& depth) : depth(depth) { ++depth; }
    ~BusyWhile() { --depth; }
    BusyWhile(const BusyWhile&) = delete;
    BusyWhile& operator=(const BusyWhile&) = delete;

private:
    int& depth;
};
} // namespace

void LinkingController::connectEntriesWithTask(const QStringList& ids, const QString& taskId, const QString& notes)
{
    const BusyWhile busy(busyDepth);
    const EntryLinker::LinkResult result = linker->link(ids, taskId, notes);
    if (result.linked && result.problems.isEmpty() && result.skippedIds.isEmpty()) {
        return;
    }
    // The view drops the rows once this returns; some were not linked (or wait as pending), so the
    // tree is read back after that.
    QTimer::singleShot(0, views, &DayViews::refreshUnlinked);
}

void LinkingController::unlinkEntries(const QStringList& ids)
{
    const BusyWhile busy(busyDepth);
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
        ++busyDepth;
        progressBar->setRange(0, maximum);
        progressBar->setValue(0);
        progressBar->show();
    });
    connect(applier, &RuleApplier::progressChanged, progressBar, &QProgressBar::setValue);
    connect(applier, &RuleApplier::viewsNeedRefresh, views, &DayViews::refreshBoth);
    connect(applier, &RuleApplier::progressFinished, this, [this] {
        --busyDepth;
        progressBar->hide();
    });
    connect(rulesController, &RulesController::rulesApplied, this, [this](const ApplyRulesSummary& summary) {
        emit statusMessage(summaryText(summary));
        emit calendarMarksStale();
        // One box for the whole run, not one per task.
        const QStringList problems = linker->takeRunProblems();
        if (!problems.isEmpty() && prompter) {
            prompter->warn(QStringLiteral("Verrin API Error"),
                           summaryText(summary) + QStringLiteral("\n\n") + problems.join(QLatin1Char('\n')));
        }
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

void LinkingController::setSignedIn(bool signedInNow)
{
    signedIn = signedInNow;
    ui->appList->setLinkingEnabled(signedIn);
    ui->actionCheck_Links->setEnabled(signedIn);
    ui->actionPending_Links->setEnabled(signedIn);
    if (!signedIn) {
        return;
    }
    // The service answers again: finish what its answers prove; the rest is asked about once the
    // window is ready (askAboutPendingOnce).
    settlePendingQuietly();
}

void LinkingController::askAboutPendingOnce()
{
    if (!signedIn || askedAboutPending || LinkJournal::openIntents().isEmpty()) {
        return;
    }
    askedAboutPending = true;
    resolvePending();
}

bool LinkingController::settlePendingQuietly()
{
    const BusyWhile busy(busyDepth);
    const LinkRecovery::Report report = LinkRecovery(api.get()).settle();
    if (report.settled > 0) {
        views->refreshBoth();
        emit calendarMarksStale();
    }
    showPendingCount();
    return !report.unsettled.isEmpty();
}

void LinkingController::showPendingCount()
{
    const qsizetype open = LinkJournal::openIntents().size();
    ui->actionPending_Links->setText(open > 0 ? QStringLiteral("&Pending Links (%1)...").arg(open)
                                              : QStringLiteral("&Pending Links..."));
    if (open > 0) {
        emit statusMessage(QStringLiteral("%1 pending: the service's answer was lost. File \u2192 Pending Links... "
                                          "settles them.")
                               .arg(open == 1 ? QStringLiteral("1 link") : QStringLiteral("%1 links").arg(open)));
    }
}

void LinkingController::resolvePending()
{
    if (!signedIn) {
        return;
    }
    const BusyWhile busy(busyDepth);
    const LinkRecovery::Report report = LinkRecovery(api.get()).resolveWithUser(prompter);
    if (LinkJournal::openIntents().isEmpty() && report.settled == 0 && prompter) {
        prompter->inform(QStringLiteral("Information"), QStringLiteral("No links are pending."));
    }
    views->refreshBoth();
    emit calendarMarksStale();
    showPendingCount();
}

void LinkingController::checkLinks()
{
    if (!signedIn) {
        return;
    }
    const BusyWhile busy(busyDepth);
    const QDate day = views->shownDate();
    const QDate from = day.addDays(1 - day.dayOfWeek());
    const QDate to = from.addDays(6);
    LinkCheck check(api.get());
    const QList<LinkCheck::Line> lines = check.check(from, to);
    QStringList text;
    for (const LinkCheck::Line& line : lines) {
        text << LinkCheck::lineText(line);
    }
    const QString heading =
        QStringLiteral("Links from %1 to %2").arg(from.toString(Qt::ISODate), to.toString(Qt::ISODate));
    if (LinkCheck::allAgree(lines)) {
        prompter->inform(QStringLiteral("Check Links"),
                         heading + QStringLiteral(": all %1 agree with the service.").arg(lines.size()));
        return;
    }
    prompter->inform(QStringLiteral("Check Links"), heading + QStringLiteral(":\n") + text.join(QLatin1Char('\n')));
    bool pending = false;
    for (const LinkCheck::Line& line : lines) {
        QString error;
        if (line.verdict == LinkCheck::Verdict::Pending) {
            pending = true;
        } else if (line.verdict == LinkCheck::Verdict::Missing &&
                   prompter->askDefaultYes(
                       QStringLiteral("Confirm unlink"),
                       QStringLiteral("The service no longer has entry %1. Unlink its %2 entries here?")
                           .arg(line.extEntryId)
                           .arg(line.entryIds.size())) &&
                   !EntryLinker::unlinkGoneEntry(line.extEntryId, line.entryIds, &error)) {
            prompter->warn(QStringLiteral("Database error"), error);
        } else if ((line.verdict == LinkCheck::Verdict::Longer || line.verdict == LinkCheck::Verdict::Shorter) &&
                   prompter->ask(QStringLiteral("Check Links"),
                                 QStringLiteral("Set service entry %1 to the recorded %2?")
                                     .arg(line.extEntryId)
                                     .arg(util::format_time(line.localSeconds))) &&
                   !check.adjust(line, &error)) {
            prompter->warn(QStringLiteral("Verrin API Error"), error);
        }
    }
    if (pending) {
        resolvePending();
    } else {
        views->refreshBoth();
    }
}

int LinkingController::runForCommandLine(const QString& command, const QDate& from, const QDate& to, QTextStream& out,
                                         QTextStream& err)
{
    if (busyDepth > 0) {
        return SingleInstance::kBusy;
    }
    const BusyWhile busy(busyDepth);
    if (!signedIn) {
        err << "verrinplus: not signed in: VerrinPlus is open on this data folder but not signed in to Verrin; "
               "sign in there and try again"
            << Qt::endl;
        return HeadlessRuleRun::NotSignedIn;
    }
    int status = HeadlessRuleRun::Failed;
    if (command == QLatin1String("check-links")) {
        status = HeadlessRuleRun::checkAndReport(api.get(), from, to, out, err);
    } else if (command == QLatin1String("apply-rules")) {
        HeadlessRuleRun::settlePending(api.get(), out, err);
        status = HeadlessRuleRun::applyAndReport(linker.get(), from, to, out, err);
        emit statusMessage(QStringLiteral("Rules applied from the command line, %1 to %2")
                               .arg(from.toString(Qt::ISODate), to.toString(Qt::ISODate)));
    } else {
        err << "verrinplus: unknown command " << command << Qt::endl;
    }
    views->refreshBoth();
    emit calendarMarksStale();
    showPendingCount();
    return status;
}
