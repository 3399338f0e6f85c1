#include "app/HeadlessRuleRun.h"

#include "app/DataFolderLock.h"
#include "app/DataPaths.h"
#include "app/HeadlessDataFolder.h"
#include "app/Registry.h"
#include "app/SingleInstance.h"
#include "app/StreamPrompter.h"
#include "rules/RuleApplier.h"
#include "rules/RuleStore.h"
#include "rules/TaskLinker.h"
#include "store/util.h"
#include "verrin/CatalogueFetch.h"
#include "verrin/LinkCheck.h"
#include "verrin/LinkRecovery.h"
#include "verrin/Linking.h"
#include "verrin/LoginPrompt.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ServiceTimeEntryApi.h"
#include "verrin/Session.h"

#include <QStringList>
#include <QTextStream>

namespace {

constexpr int kWaitForOtherRunMs = 60000;

// Stands in for the login form: nobody can type, so it only keeps the reason the service gave for
// refusing the stored credentials.
class NoLoginForm : public LoginPrompt
{
public:
    bool run(QString&, QString&, bool&, const QString& error) override
    {
        lastError = error;
        return false;
    }
    QString lastError;
};

// Passes every link call on and keeps what each task got, for the lines printed at the end.
class ReportingLinker : public TaskLinker
{
public:
    explicit ReportingLinker(TaskLinker* next) : next(next) {}

    bool connectEntriesWithTask(const QList<int>& entryIds, int taskId, const QString& notes) override
    {
        HeadlessRuleRun::TaskResult result;
        result.taskId = taskId;
        result.entries = int(entryIds.size());
        result.groups = RuleStore::groupCount(entryIds);
        result.seconds = RuleStore::secondsOf(entryIds);
        result.linked = next->connectEntriesWithTask(entryIds, taskId, notes);
        results << result;
        return result.linked;
    }

    QList<HeadlessRuleRun::TaskResult> results;

private:
    TaskLinker* next;
};

QString plural(int count, const char* one, const char* many)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

QString range(const QDate& from, const QDate& to)
{
    const QString first = from.toString(Qt::ISODate);
    return from == to ? QStringLiteral("on ") + first
                      : QStringLiteral("from %1 to %2").arg(first, to.toString(Qt::ISODate));
}

} // namespace

HeadlessRuleRun::HeadlessRuleRun(QTextStream& out, QTextStream& err) : out(out), err(err) {}

HeadlessRuleRun::~HeadlessRuleRun() = default;

QString HeadlessRuleRun::taskLabel(int taskId)
{
    const CatalogueMaps& maps = Registry::instance()->catalogueMaps();
    const QString id = QString::number(taskId);
    const QString name = maps.taskNames.value(id).toString();
    if (name.isEmpty()) {
        return QStringLiteral("task %1 (not in the catalogue)").arg(id);
    }
    const QString project = maps.projectNames.value(maps.taskParentProjects.value(id).toString()).toString();
    const QString list = maps.tasklistNames.value(maps.taskParentTasklists.value(id).toString()).toString();
    return QStringLiteral("%1 (%2 / %3, task %4)").arg(name, project, list, id);
}

int HeadlessRuleRun::fail(int status, const QString& message)
{
    err << "verrinplus: " << message << Qt::endl;
    return status;
}

int HeadlessRuleRun::signIn(Prompter* prompter)
{
    Session::applyProxy();
    Session session(&manager, prompter, nullptr);
    if (!session.networkTest()) {
        return fail(Offline, QStringLiteral("cannot reach the Verrin service at %1; nothing was linked")
                                 .arg(Registry::instance()->apiBaseUrl()));
    }
    NoLoginForm form;
    session.initLogin(&form);
    if (!session.isLoggedIn()) {
        QString reason = QStringLiteral("the stored session is no longer valid");
        if (!form.lastError.isEmpty()) {
            reason = QStringLiteral("the service refused the stored user name and password (%1)").arg(form.lastError);
        }
        return fail(NotSignedIn, QStringLiteral("not signed in: %1; sign in with VerrinPlus and choose \"Remember my "
                                                "password\", then try again")
                                     .arg(reason));
    }
    QString error;
    if (!CatalogueFetch::loadIntoRegistry(&manager, prompter, &error)) {
        return fail(Offline, error + QStringLiteral("; nothing was linked"));
    }
    return Done;
}

int HeadlessRuleRun::prepare(Prompter* prompter, bool* noRules, const QString& command, const QDate& from,
                             const QDate& to, bool* handedOff)
{
    // One writer per data folder: two runs would each link the same unlinked rows. An open window is
    // that writer, so the run is handed to it.
    lock = std::make_unique<DataFolderLock>(DataPaths::dataFolder());
    if (!lock->tryLock(0)) {
        int status = Failed;
        if (SingleInstance::runInWindow(DataPaths::dataFolder(), command, from, to, out, err, &status)) {
            *handedOff = true;
            return status;
        }
        err << "verrinplus: another VerrinPlus run is working on this data folder; waiting for it to finish"
            << Qt::endl;
        if (!lock->tryLock(kWaitForOtherRunMs)) {
            return fail(Busy, QStringLiteral("another VerrinPlus run is working on this data folder; nothing was "
                                             "done. Try again when it has finished"));
        }
    }
    folder = std::make_unique<HeadlessDataFolder>();
    QString error;
    if (!folder->readSettings(&error)) {
        return fail(NotSignedIn, QStringLiteral("not signed in: ") + error);
    }
    const QString keyringProblem = folder->readCredentials();
    const Registry& registry = *Registry::instance();
    const bool storedToken = !registry.authToken().isEmpty();
    const bool storedLogin = !registry.username().isEmpty() && !registry.password().isEmpty();
    if (!storedToken && !storedLogin) {
        if (!keyringProblem.isEmpty()) {
            return fail(NotSignedIn, QStringLiteral("not signed in: ") + keyringProblem);
        }
        return fail(NotSignedIn, QStringLiteral("not signed in: no stored session; sign in with VerrinPlus and "
                                                "choose \"Remember my password\", then try again"));
    }
    if (!folder->openDatabase(&error)) {
        return fail(Failed, error);
    }
    if (noRules) {
        // Without rules there is nothing to sign in for.
        *noRules = RuleStore().readDbRules().isEmpty();
        if (*noRules) {
            return Done;
        }
    }
    return signIn(prompter);
}

void HeadlessRuleRun::settlePending(TimeEntryApi* api, QTextStream& out, QTextStream& err)
{
    const LinkRecovery::Report report = LinkRecovery(api).settle();
    if (report.settled > 0) {
        out << "Settled " << plural(report.settled, "pending link", "pending links") << " from the service's answers"
            << Qt::endl;
    }
    for (const LinkRecovery::Unsettled& item : report.unsettled) {
        err << "verrinplus: pending: " << LinkRecovery::describe(item.intent) << " (" << item.why
            << "); open VerrinPlus to settle it" << Qt::endl;
    }
}

int HeadlessRuleRun::checkLinks(const QDate& from, const QDate& to)
{
    StreamPrompter prompter(err);
    bool handedOff = false;
    const int status = prepare(&prompter, nullptr, QStringLiteral("check-links"), from, to, &handedOff);
    if (handedOff || status != Done) {
        return status;
    }
    ServiceTimeEntryApi api(&manager);
    return checkAndReport(&api, from, to, out, err);
}

int HeadlessRuleRun::checkAndReport(TimeEntryApi* api, const QDate& from, const QDate& to, QTextStream& out,
                                    QTextStream& err)
{
    settlePending(api, out, err);
    const QList<LinkCheck::Line> lines = LinkCheck(api).check(from, to);
    QMap<LinkCheck::Verdict, int> counts;
    for (const LinkCheck::Line& line : lines) {
        out << LinkCheck::lineText(line) << Qt::endl;
        ++counts[line.verdict];
    }
    QStringList summary;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        summary << QStringLiteral("%1 %2").arg(it.value()).arg(LinkCheck::verdictName(it.key()));
    }
    out << "Checked " << plural(int(lines.size()), "link", "links") << " " << range(from, to)
        << (summary.isEmpty() ? QString() : QStringLiteral(": ") + summary.join(QStringLiteral(", "))) << Qt::endl;
    return LinkCheck::allAgree(lines) ? Done : Failed;
}

int HeadlessRuleRun::run(const QDate& from, const QDate& to)
{
    StreamPrompter prompter(err);
    bool noRules = false;
    bool handedOff = false;
    const int status = prepare(&prompter, &noRules, QStringLiteral("apply-rules"), from, to, &handedOff);
    if (handedOff || status != Done) {
        return status;
    }
    if (noRules) {
        out << "No rules to apply" << Qt::endl;
        return Done;
    }
    ServiceTimeEntryApi api(&manager);
    settlePending(&api, out, err);
    Linking linking(&api, &prompter);
    return applyAndReport(&linking, from, to, out, err);
}

int HeadlessRuleRun::applyAndReport(Linking* linking, const QDate& from, const QDate& to, QTextStream& out,
                                    QTextStream& err)
{
    RuleStore store;
    ReportingLinker reporter(linking);
    RuleApplier applier(&store, &reporter, nullptr);
    const ApplyRulesSummary summary = applier.applyRules(from, to);
    if (summary.noRules) {
        out << "No rules to apply" << Qt::endl;
        return Done;
    }
    if (summary.signedOut) {
        err << "verrinplus: not signed in: " << summaryText(summary) << Qt::endl;
        return NotSignedIn;
    }
    if (summary.tasks == 0) {
        out << "Nothing to link " << range(from, to) << ": "
            << (summary.groups == 0 ? QStringLiteral("no unlinked entries")
                                    : QStringLiteral("no rule matched the %1 of unlinked entries")
                                          .arg(plural(summary.groups, "group", "groups")))
            << Qt::endl;
        return Done;
    }

    int entries = 0;
    int groups = 0;
    int failed = 0;
    for (const TaskResult& task : reporter.results) {
        out << taskLabel(task.taskId) << ": ";
        if (task.linked) {
            entries += task.entries;
            groups += task.groups;
            out << plural(task.entries, "entry", "entries") << " in " << plural(task.groups, "group", "groups") << ", "
                << util::clock_time(task.seconds) << Qt::endl;
        } else {
            ++failed;
            out << "NOT LINKED, " << plural(task.entries, "entry", "entries") << ", " << util::clock_time(task.seconds)
                << Qt::endl;
        }
    }
    out << "Total " << range(from, to) << ": " << plural(entries, "entry", "entries") << " in "
        << plural(groups, "group", "groups") << " linked to " << plural(summary.linkedTasks, "task", "tasks") << ", "
        << util::clock_time(summary.seconds) << Qt::endl;
    for (const QString& problem : linking->takeRunProblems()) {
        err << "verrinplus: " << problem << Qt::endl;
    }
    if (failed > 0) {
        err << "verrinplus: "
            << QStringLiteral("%1 could not be linked in full; what was not linked stays unlinked and is offered "
                              "again next time, what is pending waits for VerrinPlus")
                   .arg(plural(failed, "task", "tasks"))
            << Qt::endl;
        return Failed;
    }
    return Done;
}
