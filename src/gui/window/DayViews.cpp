#include "window/DayViews.h"

#include "app/Clock.h"
#include "app/LocalZone.h"
#include "app/Registry.h"
#include "recording/AppIcons.h"
#include "recording/AwayEditDialog.h"
#include "reports/TreeModel.h"
#include "store/util.h"
#include "verrin/LinkTimeDialog.h"
#include "views/CalendarWidget.h"
#include "views/DayTimeline.h"
#include "views/EntriesList.h"
#include "views/LineEdit.h"
#include "views/ListItemDelegate.h"
#include "views/TimeTree.h"
#include "views/TimestampsDialog.h"
#include "views/TotalTimeLabel.h"
#include "window/MainWindowForm.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDebug>
#include <QFileSystemWatcher>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QTimer>
#include <QToolButton>

namespace {
Registry& registry()
{
    return *Registry::instance();
}

QIcon fileIcon(const QString& path)
{
    return util::get_file_icon(path);
}
} // namespace

DayViews::DayViews(MainWindowForm* form, Prompter* prompter, QWidget* dialogParent)
    : QObject(dialogParent), ui(form), prompter(prompter), dialogParent(dialogParent),
      unlinked(new TreeModel(false, this)), linked(new TreeModel(true, this)), filterDelay(new QTimer(this)),
      dayCheck(new QTimer(this)), zoneWatch(new QFileSystemWatcher(this)), clock(SystemClock::shared())
{
    filterDelay->setObjectName(QStringLiteral("filterTimer"));
    filterDelay->setSingleShot(true);
    filterDelay->setInterval(kFilterPauseMs);
    connect(filterDelay, &QTimer::timeout, this, &DayViews::onFilterTimer);
    dayCheck->setObjectName(QStringLiteral("dayCheckTimer"));
    dayCheck->setSingleShot(true);
    connect(dayCheck, &QTimer::timeout, this, &DayViews::checkDayChange);
    // A new system time zone replaces the link /etc/localtime; the folder says so without being asked.
    connect(zoneWatch, &QFileSystemWatcher::directoryChanged, this, &DayViews::checkDayChange);
    zoneWatch->addPath(QStringLiteral("/etc"));
    dayCheck->start(kDayCheckMs);

    unlinked->setIconProvider(&fileIcon);
    linked->setIconProvider(&fileIcon);

    initHideUnder();
    initGroupByHour();
    connectViews();
}

void DayViews::connectViews()
{
    ui->appList->setModel(unlinked);
    ui->linkedEntries->setModel(linked);
    ui->timeline->setModels(unlinked, linked);
    connect(ui->timeline, &DayTimeline::entriesPicked, this,
            [this](const QSet<int>& unlinkedIds, const QSet<int>& linkedIds) {
                ui->appList->selectEntries(unlinkedIds);
                ui->linkedEntries->selectEntries(linkedIds);
                (unlinkedIds.isEmpty() ? static_cast<QWidget*>(ui->linkedEntries) : ui->appList)->setFocus();
            });
    ui->appList->setItemDelegateForColumn(2, new ListItemDelegate(ui->appList));
    ui->linkedEntries->setItemDelegateForColumn(2, new ListItemDelegate(ui->linkedEntries));
    ui->appList->setPrompter(prompter);
    ui->linkedEntries->setPrompter(prompter);
    ui->appList->setLinkChooser(
        [this](int seconds, QString* taskId, QString* notes) { return chooseTask(seconds, taskId, notes); });
    ui->appList->setAwayEditor([this](const QStringList& ids, QString* title) { return describeAwayTime(ids, title); });

    connect(unlinked, &TreeModel::setTotalTimeText, ui->labelTotalTime, &TotalTimeLabel::setTotal);
    connect(linked, &TreeModel::setTotalTimeText, ui->labelTotalLinkedTime, &TotalTimeLabel::setTotal);
    connect(unlinked, &TreeModel::datesWithZeroTimeChanged, this, &DayViews::calendarMarksStale);
    connect(ui->appList, &TimeTree::datesWithZeroTimeChanged, this, [this] {
        // The unlinked view has already rebuilt itself without the excluded application, keeping
        // the user's open and closed nodes; the linked view hides it too, and the marks may change.
        refreshLinkedKeepingOpenNodes();
        emit calendarMarksStale();
    });
    connect(ui->appList, &TimeTree::signalConnectEntriesWithTask, this, &DayViews::linkRequested);
    connect(ui->appList, &TimeTree::signalCreateRuleFromEntry, this, &DayViews::createRuleFromEntry);
    connect(ui->appList, &TimeTree::signalCreateRuleFromApp, this, &DayViews::createRuleFromApp);
    connect(ui->appList, &TimeTree::signalShowTimestamps, this, &DayViews::showTimestamps);
    connect(ui->linkedEntries, &EntriesList::signalUnlinkEntries, this, &DayViews::unlinkRequested);

    connect(ui->calendar, &QCalendarWidget::selectionChanged, this,
            [this] { onCalendarDateChanged(ui->calendar->selectedDate()); });
    connect(ui->btToday, &QPushButton::clicked, this, [this] { ui->calendar->setSelectedDate(today()); });
    connect(ui->cbHideUnder, &QComboBox::activated, this, &DayViews::on_cbHideUnder_activated);
    connect(ui->checkGroupByHour, &QCheckBox::clicked, this, &DayViews::on_checkGroupByHour_clicked);
    connect(ui->editFilter, &QLineEdit::textChanged, this, &DayViews::on_editFilter_textChanged);
    connect(ui->btnSyncFilters, &QToolButton::toggled, this, &DayViews::on_btnSyncFilters_toggled);
    // Typing in the projects filter while both are in step carries the text over; the projects
    // tree applies its own filter.
    connect(ui->editFilterProjects, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (ui->btnSyncFilters->isChecked() && ui->editFilter->text() != text) {
            // The user is looking at the projects; the day tree keeps the nodes they had open.
            const QScopedValueRollback<bool> fromProjects(typingInProjects, true);
            ui->editFilter->setText(text);
        }
    });
    connect(ui->action_Timestamps, &QAction::triggered, this, &DayViews::on_action_Timestamps_triggered);
}

void DayViews::initHideUnder()
{
    const QList<QPair<QString, int>> choices = {
        {QStringLiteral("none"), 0},      {QStringLiteral("10 seconds"), 10}, {QStringLiteral("30 seconds"), 30},
        {QStringLiteral("1 minute"), 60}, {QStringLiteral("5 minutes"), 300}, {QStringLiteral("10 minutes"), 600}};
    ui->cbHideUnder->clear();
    for (const auto& [text, seconds] : choices) {
        ui->cbHideUnder->addItem(text, seconds);
    }
    const int seconds = registry().hideUnder();
    const int index = ui->cbHideUnder->findData(seconds);
    ui->cbHideUnder->setCurrentIndex(index >= 0 ? index : 0);
    unlinked->setHideUnder(seconds);
    linked->setHideUnder(seconds);
}

void DayViews::initGroupByHour()
{
    const bool on = registry().groupByHour();
    ui->checkGroupByHour->setChecked(on);
    unlinked->setGroupByHour(on);
}

QDate DayViews::shownDate() const
{
    return ui->calendar->selectedDate();
}

void DayViews::initTrees()
{
    const QDate date = shownDate();
    setHeaderDate(date);
    unlinked->initTree(date, unlinked->getHideUnder());
    ui->appList->expandAll();
    ui->appList->adjustColumnWidth();
    linked->initTree(date, linked->getHideUnder());
    ui->linkedEntries->expandToDepth(2);
    ui->linkedEntries->adjustColumnWidth();
}

void DayViews::onCalendarDateChanged(const QDate& date)
{
    setHeaderDate(date);
    unlinked->setDisplayedDate(date);
    linked->setDisplayedDate(date);
    refreshBoth();
}

void DayViews::setHeaderDate(const QDate& date)
{
    ui->labelHeaderDate->setText(QLocale::system().toString(date, QLocale::LongFormat));
    ui->btToday->setVisible(date != today());
}

void DayViews::setClock(const Clock* newClock)
{
    clock = newClock ? newClock : SystemClock::shared();
    checkDayChange();
}

QDate DayViews::today() const
{
    return clock->today();
}

void DayViews::checkDayChange()
{
    LocalZone::followChanges();
    const QDateTime clockNow = clock->now();
    const qint64 untilMidnight = clockNow.msecsTo(clockNow.date().addDays(1).startOfDay());
    dayCheck->start(int(qBound(qint64(1000), untilMidnight + 1000, qint64(kDayCheckMs))));
    const QDate now = clockNow.date();
    if (ui->calendar->getCurrentDate() == now) {
        return;
    }
    // The selected day stays as it is: the user may be in the middle of something. Only the frame
    // moves, and the header offers the way back to the new today.
    ui->calendar->setCurrentDate(now);
    setHeaderDate(shownDate());
}

void DayViews::refreshUnlinked()
{
    unlinked->refreshTree();
    ui->appList->expandAll();
}

void DayViews::refreshLinked()
{
    linked->refreshTree();
    ui->linkedEntries->collapseAll();
    // Projects, task lists and tasks open; applications closed.
    ui->linkedEntries->expandToDepth(2);
}

void DayViews::refreshLinkedKeepingOpenNodes()
{
    ui->linkedEntries->saveExpandedNodes();
    linked->refreshTree();
    ui->linkedEntries->restoreExpandedNodes();
}

void DayViews::refreshAfterUnlink()
{
    refreshUnlinked();
    refreshLinkedKeepingOpenNodes();
}

void DayViews::refreshBoth()
{
    refreshUnlinked();
    refreshLinked();
}

void DayViews::on_cbHideUnder_activated(int index)
{
    const int seconds = ui->cbHideUnder->itemData(index).toInt();
    registry().setHideUnder(seconds);
    unlinked->setHideUnder(seconds);
    linked->setHideUnder(seconds);
    refreshBoth();
}

void DayViews::on_checkGroupByHour_clicked(bool checked)
{
    unlinked->setGroupByHour(checked);
    registry().setGroupByHour(checked);
    refreshUnlinked();
}

void DayViews::on_editFilter_textChanged(const QString& text)
{
    qDebug() << "on filter changed";
    keepOpenNodes = typingInProjects;
    if (filtersInStep() && ui->editFilterProjects->text() != text) {
        ui->editFilterProjects->setText(text);
    }
    filterDelay->start();
}

void DayViews::onFilterTimer()
{
    qDebug() << "filter apply";
    filterApply();
}

void DayViews::filterApply()
{
    const QString text = ui->editFilter->text();
    unlinked->setFilter(text);
    registry().setFilter(text);
    if (keepOpenNodes) {
        keepOpenNodes = false;
        ui->appList->saveExpandedNodes();
        unlinked->refreshTree();
        ui->appList->restoreExpandedNodes();
        return;
    }
    refreshUnlinked();
}

void DayViews::on_btnSyncFilters_toggled(bool on)
{
    if (on && ui->editFilter->text() != ui->editFilterProjects->text()) {
        ui->editFilter->setText(ui->editFilterProjects->text());
        filterDelay->stop();
        filterApply();
    }
}

bool DayViews::filtersInStep() const
{
    return ui->btnSyncFilters->isChecked();
}

void DayViews::on_action_Timestamps_triggered()
{
    showTimestamps(shownDate(), QString(), QString());
}

void DayViews::showTimestamps(const QDate& date, const QString& title, const QString& appPath)
{
    TimestampsDialog dialog(dialogParent);
    dialog.setDate(date);
    dialog.setTitle(title);
    dialog.setAppPath(appPath);
    dialog.setIconProvider(&fileIcon);
    dialog.PopulateData();
    dialog.exec();
}

bool DayViews::chooseTask(int seconds, QString* taskId, QString* notes)
{
    LinkTimeDialog dialog(dialogParent);
    dialog.populateData(registry().catalogue());
    dialog.timeText = util::format_time(seconds);
    dialog.putData();
    if (dialog.exec() != QDialog::Accepted) {
        return false;
    }
    dialog.getData();
    *taskId = QString::number(dialog.taskId);
    *notes = dialog.notes;
    return dialog.taskId != 0;
}

bool DayViews::describeAwayTime(const QStringList& ids, QString* title)
{
    QList<int> entryIds;
    for (const QString& id : ids) {
        entryIds << id.toInt();
    }
    AwayEditDialog dialog(dialogParent);
    dialog.putData(entryIds);
    if (dialog.exec() != QDialog::Accepted) {
        return false;
    }
    *title = dialog.getData();
    return !title->isEmpty();
}

void DayViews::addLinkedGroups(const QList<QList<QMap<QString, QString>>>& groups, const QString& taskId)
{
    for (const auto& group : groups) {
        QList<QVariantMap> rows;
        for (const auto& record : group) {
            QVariantMap row;
            for (auto it = record.begin(); it != record.end(); ++it) {
                row.insert(it.key(), it.value());
            }
            rows << row;
        }
        linked->addLinkedTimeBatch(rows, taskId);
    }
}
