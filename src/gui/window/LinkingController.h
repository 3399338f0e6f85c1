#pragma once

#include <QObject>
#include <QStringList>

#include <memory>

class DayViews;
class Linking;
class MainWindowForm;
class Prompter;
class QNetworkAccessManager;
class QDate;
class QProgressBar;
class QTextStream;
class QWidget;
class RuleApplier;
class RuleStore;
class RulesController;
class ServiceTimeEntryApi;

// Moves recorded time between the two day trees and the service: links on request of the views,
// unlinks, and runs the rules. Every outcome ends with the trees showing what the database holds,
// so a refused or failed call never leaves rows missing from both trees.
class LinkingController : public QObject
{
    Q_OBJECT

public:
    LinkingController(DayViews* views, MainWindowForm* form, QProgressBar* progressBar, QNetworkAccessManager* network,
                      Prompter* prompter, QWidget* window);
    ~LinkingController() override;

    Linking* linking() const { return linker.get(); }

    // A run of "--apply-rules" or "--check-links" handed over from the command line, since this
    // window is the data folder's one writer; prints what the command would print, returns its status.
    int runForCommandLine(const QString& command, const QDate& from, const QDate& to, QTextStream& out,
                          QTextStream& err);
    RulesController* rules() const { return rulesController; }

public slots:
    void connectEntriesWithTask(const QStringList& ids, const QString& taskId, const QString& notes);
    void unlinkEntries(const QStringList& ids);
    // Follows the session: link actions only while signed in, and on each sign-in whatever the
    // service's answers can settle of links whose answer was lost.
    void setSignedIn(bool signedIn);
    // Settles pending links, asking the user about what the service cannot tell.
    void resolvePending();
    // The first time per run that the window is signed in and ready: asks about what is still pending.
    void askAboutPendingOnce();
    // Compares the service entries of the shown day's week with the rows and offers the repairs.
    void checkLinks();

signals:
    void statusMessage(const QString& text);
    void calendarMarksStale();
    void sessionExpired();

private:
    void connectRules();
    void showProgress(int done, int total);
    // Settles what the service can tell; true when something is left for the user.
    bool settlePendingQuietly();
    void showPendingCount();

    DayViews* views;
    MainWindowForm* ui;
    QProgressBar* progressBar;
    std::unique_ptr<ServiceTimeEntryApi> api;
    std::unique_ptr<Linking> linker;
    std::unique_ptr<RuleStore> ruleStore;
    RuleApplier* applier = nullptr;
    RulesController* rulesController = nullptr;
    Prompter* prompter;
    bool signedIn = false;
    bool askedAboutPending = false;
    int busyDepth = 0;
};
