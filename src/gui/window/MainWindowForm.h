#pragma once

#include <QCoreApplication>

class QAction;
class CalendarWidget;
class DayTimeline;
class QDockWidget;
class EntriesList;
class LineEdit;
class ProjectsTree;
class QCheckBox;
class QComboBox;
class QLabel;
class TotalTimeLabel;
class QLineEdit;
class QMainWindow;
class QMenu;
class QMenuBar;
class QPushButton;
class QStatusBar;
class QToolButton;
class QTreeView;
class QWidget;
class TimeTree;

// The main window's widgets and actions, built in code under the object names the rest of the program
// looks them up by. The three side panels are handed to dock widgets by the window.
class MainWindowForm
{
    Q_DECLARE_TR_FUNCTIONS(MainWindowForm)
public:
    void setupUi(QMainWindow* window);
    void retranslateUi(QMainWindow* window);

    QAction* actionExit = nullptr;
    QAction* action_About_Verrin = nullptr;
    QAction* action_Help_Topics = nullptr;
    QAction* actionLinked_Entries = nullptr;
    QAction* actionCalendar = nullptr;
    QAction* actionProjects_and_Tasks = nullptr;
    QAction* action_Ignored_Applications = nullptr;
    QAction* action_Settings = nullptr;
    QAction* action_Timestamps = nullptr;
    QAction* actionLogin = nullptr;
    QAction* actionLogout = nullptr;
    QAction* action_RefreshProjects = nullptr;
    QAction* actionCheck_for_Updates = nullptr;
    QAction* action_Add_Rule = nullptr;
    QAction* actionView_Rules = nullptr;
    QAction* action_Apply_Rules = nullptr;
    QAction* actionApply_Rules_For_Date_Range = nullptr;
    QAction* actionCheck_Links = nullptr;
    QAction* actionSummary = nullptr;
    QAction* actionPending_Links = nullptr;

    QMenuBar* menubar = nullptr;
    QMenu* menuFile = nullptr;
    QMenu* menuView = nullptr;
    QMenu* menuRules = nullptr;
    QMenu* menuHelp = nullptr;
    QStatusBar* statusBar = nullptr;

    QWidget* centralwidget = nullptr;
    QWidget* headerBar = nullptr;
    QLabel* labelHeaderDate = nullptr;
    QPushButton* btToday = nullptr;
    LineEdit* editFilter = nullptr;
    QCheckBox* checkGroupByHour = nullptr;
    QLabel* labelHideUnder = nullptr;
    QComboBox* cbHideUnder = nullptr;
    DayTimeline* timeline = nullptr;
    TimeTree* appList = nullptr;
    QPushButton* btnRecord = nullptr;
    QPushButton* btnApplyRules = nullptr;
    TotalTimeLabel* labelTotalTime = nullptr;

    QWidget* leftPanel = nullptr;
    CalendarWidget* calendar = nullptr;

    QWidget* projectsPanel = nullptr;
    LineEdit* editFilterProjects = nullptr;
    QToolButton* btnSyncFilters = nullptr;
    ProjectsTree* projects = nullptr;

    QWidget* linkedPanel = nullptr;
    EntriesList* linkedEntries = nullptr;
    TotalTimeLabel* labelTotalLinkedTime = nullptr;
    QDockWidget* leftDock = nullptr;
    QDockWidget* rightDock = nullptr;
    QDockWidget* bottomDock = nullptr;

private:
    void buildActions(QMainWindow* window);
    void buildMenus(QMainWindow* window);
    void buildCentral(QMainWindow* window);
    void buildPanels(QMainWindow* window);
};
