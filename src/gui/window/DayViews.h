#pragma once

#include <QDate>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

class Clock;
class MainWindowForm;
class Prompter;
class QFileSystemWatcher;
class QTimer;
class TreeModel;
class QWidget;

// The day shown in the main window: both day trees with their models, the header date, the
// hide-under and group-by-hour choices, the title filter with its typing pause and its link to the
// projects filter, and the dialogs the unlinked view asks for. Linking itself is not done here: the
// requests go out as signals and the results come back through the slots.
class DayViews : public QObject
{
    Q_OBJECT

public:
    DayViews(MainWindowForm* form, Prompter* prompter, QWidget* dialogParent);

    TreeModel* unlinkedModel() const { return unlinked; }
    TreeModel* linkedModel() const { return linked; }
    QTimer* filterTimer() const { return filterDelay; }
    QDate shownDate() const;

    // Builds both trees for the calendar's day; run once the window is up.
    void initTrees();
    // Where "today" comes from (the system clock unless a test sets its own).
    void setClock(const Clock* clock);
    QTimer* dayCheckTimer() const { return dayCheck; }

    // Each keystroke in the title filter waits this long for the next before the tree is rebuilt.
    static constexpr int kFilterPauseMs = 500;
    // The views look again just after midnight, and at least this often: a laptop that slept through
    // midnight wakes with the timer still running, as it does not count the time asleep.
    static constexpr int kDayCheckMs = 10 * 60 * 1000;

public slots:
    void onCalendarDateChanged(const QDate& date);
    void setHeaderDate(const QDate& date);
    void refreshUnlinked();
    void refreshLinked();
    void refreshBoth();
    // After unlinking: the unlinked tree opens fully, the linked tree keeps the nodes the user had open.
    void refreshAfterUnlink();
    // Moves "today" (the calendar's frame, the header's button) to the clock's date when the day changed.
    void checkDayChange();
    void on_cbHideUnder_activated(int index);
    void on_checkGroupByHour_clicked(bool checked);
    void on_editFilter_textChanged(const QString& text);
    void onFilterTimer();
    void filterApply();
    void on_btnSyncFilters_toggled(bool on);
    void on_action_Timestamps_triggered();
    void showTimestamps(const QDate& date, const QString& title, const QString& appPath);
    // Rows now linked to a task (grouped by application and title, each row as text fields).
    void addLinkedGroups(const QList<QList<QMap<QString, QString>>>& groups, const QString& taskId);

signals:
    void linkRequested(const QStringList& ids, const QString& taskId, const QString& notes);
    void unlinkRequested(const QStringList& ids);
    void calendarMarksStale();
    void createRuleFromEntry(int appId, const QString& title);
    void createRuleFromApp(int appId);

private:
    void initHideUnder();
    void initGroupByHour();
    void connectViews();
    bool chooseTask(int seconds, QString* taskId, QString* notes);
    bool describeAwayTime(const QStringList& ids, QString* title);
    bool filtersInStep() const;
    void refreshLinkedKeepingOpenNodes();
    QDate today() const;

    MainWindowForm* ui;
    Prompter* prompter;
    QWidget* dialogParent;
    TreeModel* unlinked;
    TreeModel* linked;
    QTimer* filterDelay;
    QTimer* dayCheck;
    QFileSystemWatcher* zoneWatch;
    const Clock* clock;
    bool typingInProjects = false;
    bool keepOpenNodes = false;
};
