#pragma once

#include "verrin/ProjectsCatalogue.h"

#include <QDate>
#include <QDialog>
#include <QIcon>
#include <QList>
#include <QString>

#include <functional>

class Clock;
class Prompter;
class QComboBox;
class QDateEdit;
class QDialogButtonBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;

// Creates or changes one rule. The caller fills the plain fields, calls putData(), runs the dialog and,
// when it was accepted, calls getData() and stores the fields.
class AddRuleDialog : public QDialog
{
    Q_OBJECT
public:
    using IconForPath = std::function<QIcon(const QString& path)>;

    // `catalogue` offers the projects and tasks to link with (copied: a refresh may replace it).
    // Messages go through `prompter` (message boxes when null); dates default to `clock`'s today.
    AddRuleDialog(QWidget* parent, const Catalogue& catalogue, Prompter* prompter = nullptr,
                  const Clock* clock = nullptr, IconForPath iconForPath = {});
    ~AddRuleDialog() override;

    // The rule being edited.
    QString name;
    QString title;
    QString dateRule = QStringLiteral("always");
    QString titleRule = QStringLiteral("or");
    QDate dateTo;
    QDate dateFrom;
    int projectId = 0;
    int taskId = 0;
    QList<int> appIds;
    bool editing = false;

    void putData();
    void getData();
    void populateApplications();
    void populateTitleRules();
    void populateData(const Catalogue& projects);
    void populateTasks(int projectId);
    void moveAppItemToSelected(int appId);

public slots:
    // Refuses to accept while no application is selected, keeping everything as typed.
    void done(int result) override;

private:
    void buildForm();
    void moveSelectedItems(QListWidget* from, QListWidget* to);
    void onProjectActivated(int index);
    void onTaskIndexChanged(int index);
    void uncheckDateRadios();

    Catalogue catalogue;
    Prompter* prompter;
    Prompter* ownPrompter = nullptr;
    const Clock* clock;
    IconForPath iconForPath;

    QLineEdit* editName;
    QListWidget* listAppsAll;
    QPushButton* btnMoveToSelected;
    QPushButton* btnRemoveFromSelected;
    QListWidget* listAppsSelected;
    QComboBox* cbTitleRule;
    QLineEdit* editTitle;
    QRadioButton* radioAnyDate;
    QRadioButton* radioFromDate;
    QDateEdit* dateFromEdit;
    QRadioButton* radioDateInterval;
    QDateEdit* dateIntervalFrom;
    QDateEdit* dateIntervalTo;
    QRadioButton* radioUntilDate;
    QDateEdit* dateToEdit;
    QComboBox* cbProjects;
    QComboBox* cbTasks;
    QDialogButtonBox* buttonBox;
};
