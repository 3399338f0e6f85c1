#include "window/MainWindowForm.h"

#include "app/Named.h"
#include "verrin/ProjectsTree.h"
#include "views/CalendarWidget.h"
#include "views/DayTimeline.h"
#include "views/EntriesList.h"
#include "views/LineEdit.h"
#include "views/TimeTree.h"
#include "views/TotalTimeLabel.h"

#include <QAction>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

QAction* action(QMainWindow* window, const char* name)
{
    return named(new QAction(window), name);
}

template <typename View>
View* treeView(const char* name)
{
    auto* view = named(new View, name);
    view->setAlternatingRowColors(true);
    view->setUniformRowHeights(true);
    view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view->header()->setStretchLastSection(false);
    return view;
}
} // namespace

void MainWindowForm::setupUi(QMainWindow* window)
{
    window->setObjectName(QStringLiteral("MainWindow"));
    window->resize(1180, 740);
    buildActions(window);
    buildMenus(window);
    buildCentral(window);
    buildPanels(window);
    statusBar = named(new QStatusBar(window), "statusBar");
    window->setStatusBar(statusBar);
    retranslateUi(window);
}

void MainWindowForm::buildActions(QMainWindow* window)
{
    actionExit = action(window, "actionExit");
    action_About_Verrin = action(window, "action_About_Verrin");
    action_Help_Topics = action(window, "action_Help_Topics");
    actionLinked_Entries = action(window, "actionLinked_Entries");
    actionCalendar = action(window, "actionCalendar");
    actionProjects_and_Tasks = action(window, "actionProjects_and_Tasks");
    action_Ignored_Applications = action(window, "action_Ignored_Applications");
    action_Settings = action(window, "action_Settings");
    action_Timestamps = action(window, "action_Timestamps");
    actionLogin = action(window, "actionLogin");
    actionLogout = action(window, "actionLogout");
    action_RefreshProjects = action(window, "action_RefreshProjects");
    actionCheck_for_Updates = action(window, "actionCheck_for_Updates");
    action_Add_Rule = action(window, "action_Add_Rule");
    actionView_Rules = action(window, "actionView_Rules");
    action_Apply_Rules = action(window, "action_Apply_Rules");
    actionApply_Rules_For_Date_Range = action(window, "actionApply_Rules_For_Date_Range");
    actionCheck_Links = action(window, "actionCheck_Links");
    actionSummary = action(window, "actionSummary");
    actionPending_Links = action(window, "actionPending_Links");
    for (QAction* toggle : {actionLinked_Entries, actionCalendar, actionProjects_and_Tasks}) {
        toggle->setCheckable(true);
        toggle->setChecked(true);
    }
    action_Apply_Rules->setIcon(QIcon(QStringLiteral(":/icons/res/execute.png")));
    action_RefreshProjects->setShortcut(QKeySequence::Refresh);
}

void MainWindowForm::buildMenus(QMainWindow* window)
{
    menubar = named(new QMenuBar(window), "menubar");
    window->setMenuBar(menubar);
    menuFile = named(menubar->addMenu(QString()), "menuFile");
    menuFile->addAction(actionLogin);
    menuFile->addAction(actionLogout);
    menuFile->addAction(action_RefreshProjects);
    menuFile->addAction(actionCheck_Links);
    menuFile->addAction(actionPending_Links);
    menuFile->addSeparator();
    menuFile->addAction(action_Timestamps);
    menuFile->addAction(action_Ignored_Applications);
    menuFile->addAction(action_Settings);
    menuFile->addSeparator();
    menuFile->addAction(actionExit);

    menuView = named(menubar->addMenu(QString()), "menuView");
    menuView->addAction(actionCalendar);
    menuView->addAction(actionProjects_and_Tasks);
    menuView->addAction(actionLinked_Entries);
    menuView->addSeparator();
    menuView->addAction(actionSummary);

    menuRules = named(menubar->addMenu(QString()), "menuRules");
    menuRules->addAction(action_Add_Rule);
    menuRules->addAction(actionView_Rules);
    menuRules->addSeparator();
    menuRules->addAction(action_Apply_Rules);
    menuRules->addAction(actionApply_Rules_For_Date_Range);

    menuHelp = named(menubar->addMenu(QString()), "menuHelp");
    menuHelp->addAction(action_Help_Topics);
    menuHelp->addAction(actionCheck_for_Updates);
    menuHelp->addSeparator();
    menuHelp->addAction(action_About_Verrin);
}

void MainWindowForm::buildCentral(QMainWindow* window)
{
    centralwidget = named(new QWidget(window), "centralwidget");
    auto* layout = new QVBoxLayout(centralwidget);
    layout->setContentsMargins(6, 6, 6, 6);

    headerBar = named(new QWidget, "headerBar");
    auto* header = new QHBoxLayout(headerBar);
    header->setContentsMargins(0, 0, 0, 0);
    labelHeaderDate = named(new QLabel, "labelHeaderDate");
    QFont headerFont = labelHeaderDate->font();
    headerFont.setPointSizeF(headerFont.pointSizeF() * 1.3);
    headerFont.setBold(true);
    labelHeaderDate->setFont(headerFont);
    btToday = named(new QPushButton, "btToday");
    editFilter = named(new LineEdit, "editFilter");
    editFilter->setMinimumWidth(120);
    checkGroupByHour = named(new QCheckBox, "checkGroupByHour");
    labelHideUnder = named(new QLabel, "labelHideUnder");
    cbHideUnder = named(new QComboBox, "cbHideUnder");
    header->addWidget(labelHeaderDate);
    header->addWidget(btToday);
    header->addStretch();
    header->addWidget(editFilter);
    header->addWidget(checkGroupByHour);
    header->addWidget(labelHideUnder);
    header->addWidget(cbHideUnder);
    layout->addWidget(headerBar);

    timeline = named(new DayTimeline, "timeline");
    layout->addWidget(timeline);

    appList = treeView<TimeTree>("appList");
    appList->setDragEnabled(true);
    layout->addWidget(appList, 1);

    auto* footer = new QHBoxLayout;
    btnRecord = named(new QPushButton, "btnRecord");
    btnRecord->setCheckable(true);
    btnRecord->setIconSize(QSize(24, 24));
    btnRecord->setMinimumWidth(120);
    btnApplyRules = named(new QPushButton, "btnApplyRules");
    btnApplyRules->setIcon(QIcon(QStringLiteral(":/icons/res/execute.png")));
    labelTotalTime = named(new TotalTimeLabel, "labelTotalTime");
    footer->addWidget(btnRecord);
    footer->addWidget(btnApplyRules);
    footer->addStretch();
    footer->addWidget(new QLabel(QStringLiteral("Total:")));
    footer->addWidget(labelTotalTime);
    layout->addLayout(footer);
    window->setCentralWidget(centralwidget);
}

namespace {
// The side and bottom panels sit in docks from the start, so the window owns them even where a test
// builds the form without the rest of the main window.
QDockWidget* makeDock(QMainWindow* window, const char* name, Qt::DockWidgetArea area, QWidget* content)
{
    auto* dock = new QDockWidget(QLatin1String(name), window);
    dock->setObjectName(QLatin1String(name));
    dock->setAllowedAreas(area);
    dock->setFeatures(QDockWidget::DockWidgetClosable);
    dock->setTitleBarWidget(new QWidget(dock));
    dock->setWidget(content);
    window->addDockWidget(area, dock);
    return dock;
}
} // namespace

void MainWindowForm::buildPanels(QMainWindow* window)
{
    leftPanel = named(new QWidget, "leftPanel");
    auto* left = new QVBoxLayout(leftPanel);
    left->setContentsMargins(6, 6, 0, 6);
    calendar = named(new CalendarWidget, "calendar");
    calendar->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
    calendar->setGridVisible(false);
    left->addWidget(calendar);
    left->addStretch();

    projectsPanel = named(new QWidget, "projectsPanel");
    projectsPanel->setMinimumWidth(200);
    auto* right = new QVBoxLayout(projectsPanel);
    right->setContentsMargins(0, 6, 6, 6);
    auto* filterRow = new QHBoxLayout;
    editFilterProjects = named(new LineEdit, "editFilterProjects");
    btnSyncFilters = named(new QToolButton, "btnSyncFilters");
    btnSyncFilters->setCheckable(true);
    btnSyncFilters->setIcon(QIcon(QStringLiteral(":/icons/res/link.png")));
    filterRow->addWidget(editFilterProjects);
    filterRow->addWidget(btnSyncFilters);
    right->addLayout(filterRow);
    projects = named(new ProjectsTree, "projects");
    projects->setAcceptDrops(true);
    projects->setHeaderHidden(true);
    right->addWidget(projects, 1);

    linkedPanel = named(new QWidget, "linkedPanel");
    auto* bottom = new QVBoxLayout(linkedPanel);
    bottom->setContentsMargins(6, 0, 6, 0);
    linkedEntries = treeView<EntriesList>("linkedEntries");
    bottom->addWidget(linkedEntries, 1);
    auto* totals = new QHBoxLayout;
    totals->addStretch();
    totals->addWidget(new QLabel(QStringLiteral("Linked total:")));
    labelTotalLinkedTime = named(new TotalTimeLabel, "labelTotalLinkedTime");
    totals->addWidget(labelTotalLinkedTime);
    bottom->addLayout(totals);

    leftDock = makeDock(window, "Left", Qt::LeftDockWidgetArea, leftPanel);
    rightDock = makeDock(window, "Right", Qt::RightDockWidgetArea, projectsPanel);
    bottomDock = makeDock(window, "Bottom", Qt::BottomDockWidgetArea, linkedPanel);
}

void MainWindowForm::retranslateUi(QMainWindow* window)
{
    window->setWindowTitle(tr("Verrin Plus"));
    menuFile->setTitle(tr("&File"));
    menuView->setTitle(tr("&View"));
    menuRules->setTitle(tr("&Rules"));
    menuHelp->setTitle(tr("&Help"));
    actionExit->setText(tr("E&xit"));
    actionExit->setShortcut(QKeySequence(tr("Alt+X")));
    action_About_Verrin->setText(tr("&About Verrin..."));
    action_Help_Topics->setText(tr("&Help Topics"));
    action_Help_Topics->setShortcut(QKeySequence::HelpContents);
    actionLinked_Entries->setText(tr("Linked &Entries"));
    actionCalendar->setText(tr("&Calendar"));
    actionProjects_and_Tasks->setText(tr("&Projects and Tasks"));
    action_Ignored_Applications->setText(tr("E&xcluded Applications..."));
    action_Settings->setText(tr("S&ettings..."));
    action_Timestamps->setText(tr("&Timestamps..."));
    actionLogin->setText(tr("Log In..."));
    actionLogout->setText(tr("Log Out"));
    action_RefreshProjects->setText(tr("&Refresh Projects"));
    actionCheck_for_Updates->setText(tr("Check for &Updates.."));
    action_Add_Rule->setText(tr("&New Rule..."));
    actionView_Rules->setText(tr("&View Rules..."));
    action_Apply_Rules->setText(tr("&Apply Rules"));
    actionApply_Rules_For_Date_Range->setText(tr("Apply Rules for &Date Range..."));
    actionCheck_Links->setText(tr("&Check Links of the Week..."));
    actionSummary->setText(tr("&Summary..."));
    actionPending_Links->setText(tr("&Pending Links..."));
    btToday->setText(tr("Show Today"));
    editFilter->setPlaceholderText(tr("Filter titles"));
    editFilterProjects->setPlaceholderText(tr("Filter tasks"));
    btnSyncFilters->setToolTip(tr("Keep both filters in step"));
    checkGroupByHour->setText(tr("Group By Hour"));
    labelHideUnder->setText(tr("Hide entries under"));
    btnRecord->setText(tr("Paused"));
    btnApplyRules->setText(tr("Apply Rules"));
    labelTotalTime->setTotal(tr("0:00:00"));
    labelTotalLinkedTime->setTotal(tr("0:00:00"));
}
