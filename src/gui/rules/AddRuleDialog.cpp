#include "rules/AddRuleDialog.h"

#include "app/Clock.h"
#include "rules/RuleStore.h"
#include "verrin/TaskPicker.h"
#include "window/MessageBoxPrompter.h"

#include <QColor>
#include <QComboBox>
#include <QDateEdit>
#include <QDebug>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

constexpr int kIdRole = Qt::UserRole;

QDateEdit* makeDateEdit(QWidget* parent, const char* name)
{
    auto* edit = new QDateEdit(parent);
    edit->setObjectName(QLatin1String(name));
    edit->setCalendarPopup(true);
    return edit;
}

} // namespace

AddRuleDialog::AddRuleDialog(QWidget* parent, const Catalogue& projects, Prompter* prompter, const Clock* clock,
                             IconForPath iconForPath)
    : QDialog(parent), prompter(prompter), clock(clock ? clock : SystemClock::shared()),
      iconForPath(std::move(iconForPath))
{
    if (!this->prompter) {
        ownPrompter = new MessageBoxPrompter(this);
        this->prompter = ownPrompter;
    }
    buildForm();
    populateTitleRules();
    populateData(projects);
    populateApplications();
}

AddRuleDialog::~AddRuleDialog()
{
    delete ownPrompter;
}

void AddRuleDialog::buildForm()
{
    editName = new QLineEdit(this);
    editName->setObjectName(QStringLiteral("editName"));
    listAppsAll = new QListWidget(this);
    listAppsAll->setObjectName(QStringLiteral("listAppsAll"));
    listAppsAll->setSelectionMode(QAbstractItemView::ExtendedSelection);
    listAppsSelected = new QListWidget(this);
    listAppsSelected->setObjectName(QStringLiteral("listAppsSelected"));
    listAppsSelected->setSelectionMode(QAbstractItemView::ExtendedSelection);
    btnMoveToSelected = new QPushButton(QIcon(QStringLiteral(":/icons/res/arrow_right.png")), QString(), this);
    btnMoveToSelected->setObjectName(QStringLiteral("btnMoveToSelected"));
    btnMoveToSelected->setAutoDefault(false);
    btnRemoveFromSelected = new QPushButton(QIcon(QStringLiteral(":/icons/res/arrow_left.png")), QString(), this);
    btnRemoveFromSelected->setObjectName(QStringLiteral("btnRemoveFromSelected"));
    btnRemoveFromSelected->setAutoDefault(false);
    cbTitleRule = new QComboBox(this);
    cbTitleRule->setObjectName(QStringLiteral("cbTitleRule"));
    editTitle = new QLineEdit(this);
    editTitle->setObjectName(QStringLiteral("editTitle"));

    radioAnyDate = new QRadioButton(tr("Any date"), this);
    radioAnyDate->setObjectName(QStringLiteral("radioAnyDate"));
    radioFromDate = new QRadioButton(tr("On or after"), this);
    radioFromDate->setObjectName(QStringLiteral("radioFromDate"));
    dateFromEdit = makeDateEdit(this, "dateFrom");
    radioDateInterval = new QRadioButton(tr("Between"), this);
    radioDateInterval->setObjectName(QStringLiteral("radioDateInterval"));
    dateIntervalFrom = makeDateEdit(this, "dateIntervalFrom");
    dateIntervalTo = makeDateEdit(this, "dateIntervalTo");
    radioUntilDate = new QRadioButton(tr("On or before"), this);
    radioUntilDate->setObjectName(QStringLiteral("radioUntilDate"));
    dateToEdit = makeDateEdit(this, "dateTo");

    cbProjects = new QComboBox(this);
    cbProjects->setObjectName(QStringLiteral("cbProjects"));
    cbTasks = new QComboBox(this);
    cbTasks->setObjectName(QStringLiteral("cbTasks"));
    buttonBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttonBox->setObjectName(QStringLiteral("buttonBox"));

    auto* layout = new QVBoxLayout(this);
    auto* nameForm = new QFormLayout;
    nameForm->addRow(tr("Rule Name:"), editName);
    layout->addLayout(nameForm);

    auto* apps = new QGridLayout;
    apps->addWidget(new QLabel(tr("Available Applications:"), this), 0, 0);
    apps->addWidget(new QLabel(tr("Selected Applications:"), this), 0, 2);
    apps->addWidget(listAppsAll, 1, 0);
    auto* arrows = new QVBoxLayout;
    arrows->addStretch();
    arrows->addWidget(btnMoveToSelected);
    arrows->addWidget(btnRemoveFromSelected);
    arrows->addStretch();
    apps->addLayout(arrows, 1, 1);
    apps->addWidget(listAppsSelected, 1, 2);
    layout->addLayout(apps, 1);

    auto* titleRow = new QHBoxLayout;
    titleRow->addWidget(new QLabel(tr("Window title:"), this));
    titleRow->addWidget(cbTitleRule);
    titleRow->addWidget(editTitle, 1);
    layout->addLayout(titleRow);

    auto* dates = new QGridLayout;
    dates->addWidget(radioAnyDate, 0, 0);
    dates->addWidget(radioFromDate, 1, 0);
    dates->addWidget(dateFromEdit, 1, 1);
    dates->addWidget(radioDateInterval, 2, 0);
    dates->addWidget(dateIntervalFrom, 2, 1);
    dates->addWidget(new QLabel(tr("and"), this), 2, 2);
    dates->addWidget(dateIntervalTo, 2, 3);
    dates->addWidget(radioUntilDate, 3, 0);
    dates->addWidget(dateToEdit, 3, 1);
    layout->addLayout(dates);

    auto* linkBox = new QGroupBox(tr("Link with"), this);
    auto* linkForm = new QFormLayout(linkBox);
    linkForm->addRow(tr("Project:"), cbProjects);
    linkForm->addRow(tr("Task:"), cbTasks);
    layout->addWidget(linkBox);
    layout->addWidget(buttonBox);
    resize(560, 560);

    connect(btnMoveToSelected, &QPushButton::clicked, this,
            [this] { moveSelectedItems(listAppsAll, listAppsSelected); });
    connect(btnRemoveFromSelected, &QPushButton::clicked, this,
            [this] { moveSelectedItems(listAppsSelected, listAppsAll); });
    connect(listAppsAll, &QListWidget::itemDoubleClicked, this,
            [this] { moveSelectedItems(listAppsAll, listAppsSelected); });
    connect(listAppsSelected, &QListWidget::itemDoubleClicked, this,
            [this] { moveSelectedItems(listAppsSelected, listAppsAll); });
    connect(cbProjects, &QComboBox::activated, this, &AddRuleDialog::onProjectActivated);
    connect(cbTasks, &QComboBox::currentIndexChanged, this, &AddRuleDialog::onTaskIndexChanged);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void AddRuleDialog::populateTitleRules()
{
    cbTitleRule->clear();
    cbTitleRule->addItem(tr("match all words"), QStringLiteral("and"));
    cbTitleRule->addItem(tr("match any word"), QStringLiteral("or"));
    cbTitleRule->addItem(tr("match exact phrase"), QStringLiteral("exact"));
    cbTitleRule->addItem(tr("match regexp"), QStringLiteral("regexp"));
}

void AddRuleDialog::populateApplications()
{
    listAppsAll->clear();
    for (const RuleStore::ListedApplication& app : RuleStore().listApplications()) {
        QIcon icon = iconForPath ? iconForPath(app.path) : QIcon();
        if (icon.isNull()) {
            icon = QIcon(QStringLiteral(":/icons/res/app.png"));
        }
        auto* item = new QListWidgetItem(icon, app.name);
        item->setData(kIdRole, app.id);
        listAppsAll->addItem(item);
    }
}

void AddRuleDialog::populateData(const Catalogue& projects)
{
    catalogue = projects;
    TaskPicker::fillProjects(cbProjects, catalogue);
}

void AddRuleDialog::populateTasks(int forProjectId)
{
    TaskPicker::fillTasks(cbTasks, catalogue, forProjectId);
}

void AddRuleDialog::onProjectActivated(int index)
{
    const int id = cbProjects->itemData(index).toInt();
    qDebug() << "proj activated: " << index << ", id = " << id;
    populateTasks(id);
}

void AddRuleDialog::onTaskIndexChanged(int index)
{
    TaskPicker::stepOverCaption(cbTasks, index);
}

void AddRuleDialog::moveAppItemToSelected(int appId)
{
    for (int row = 0; row < listAppsAll->count(); ++row) {
        if (listAppsAll->item(row)->data(kIdRole).toInt() == appId) {
            listAppsSelected->addItem(listAppsAll->takeItem(row));
            listAppsSelected->sortItems(Qt::AscendingOrder);
            return;
        }
    }
}

void AddRuleDialog::moveSelectedItems(QListWidget* from, QListWidget* to)
{
    const QList<QListWidgetItem*> chosen = from->selectedItems();
    for (QListWidgetItem* item : chosen) {
        to->addItem(from->takeItem(from->row(item)));
    }
    to->sortItems(Qt::AscendingOrder);
}

void AddRuleDialog::uncheckDateRadios()
{
    // Auto-exclusive buttons refuse to uncheck the checked one, so lift that for a moment.
    for (QRadioButton* radio : {radioAnyDate, radioFromDate, radioDateInterval, radioUntilDate}) {
        radio->setAutoExclusive(false);
        radio->setChecked(false);
        radio->setAutoExclusive(true);
    }
}

void AddRuleDialog::putData()
{
    editName->setText(name);
    editTitle->setText(title);
    const int titleIndex = cbTitleRule->findData(titleRule);
    if (titleIndex >= 0) {
        cbTitleRule->setCurrentIndex(titleIndex);
    }

    const int projectIndex = cbProjects->findData(projectId);
    if (projectIndex >= 0) {
        cbProjects->setCurrentIndex(projectIndex);
    } else {
        qDebug() << "putData error: could not find project id = " << projectId;
    }
    populateTasks(cbProjects->currentData().toInt());
    const int taskIndex = cbTasks->findData(taskId);
    if (taskId != 0 && taskIndex >= 0) {
        cbTasks->setCurrentIndex(taskIndex);
    } else {
        qDebug() << "putData error: could not find task id = " << taskId;
    }

    for (int appId : appIds) {
        moveAppItemToSelected(appId);
    }

    uncheckDateRadios();
    const QDate today = clock->today();
    for (QDateEdit* edit : {dateFromEdit, dateIntervalFrom, dateIntervalTo, dateToEdit}) {
        edit->setDate(today);
    }
    if (dateRule == QLatin1String("always")) {
        radioAnyDate->setChecked(true);
    } else if (dateRule == QLatin1String("after")) {
        radioFromDate->setChecked(true);
        dateFromEdit->setDate(dateFrom);
    } else if (dateRule == QLatin1String("before")) {
        radioUntilDate->setChecked(true);
        dateToEdit->setDate(dateTo);
    } else if (dateRule == QLatin1String("between")) {
        radioDateInterval->setChecked(true);
        dateIntervalFrom->setDate(dateFrom);
        dateIntervalTo->setDate(dateTo);
    }

    setWindowTitle(editing ? tr("Update Rule") : tr("New Rule"));
    if (!editing) {
        editName->selectAll();
        editName->setFocus();
    }
}

void AddRuleDialog::getData()
{
    name = editName->text();
    title = editTitle->text();
    titleRule = cbTitleRule->currentData().toString();
    if (radioAnyDate->isChecked()) {
        dateRule = QStringLiteral("always");
    } else if (radioFromDate->isChecked()) {
        dateRule = QStringLiteral("after");
        dateFrom = dateFromEdit->date();
    } else if (radioDateInterval->isChecked()) {
        dateRule = QStringLiteral("between");
        dateFrom = dateIntervalFrom->date();
        dateTo = dateIntervalTo->date();
    } else if (radioUntilDate->isChecked()) {
        dateRule = QStringLiteral("before");
        dateTo = dateToEdit->date();
    }
    // Signed out there is no catalogue to choose from; the rule keeps the task it had rather than losing it.
    if (cbProjects->count() > 0) {
        projectId = cbProjects->currentData().toInt();
        taskId = cbTasks->currentData().toInt();
    }
    appIds.clear();
    for (int row = 0; row < listAppsSelected->count(); ++row) {
        appIds << listAppsSelected->item(row)->data(kIdRole).toInt();
    }
}

void AddRuleDialog::done(int result)
{
    if (result == QDialog::Accepted && listAppsSelected->count() == 0) {
        prompter->critical(tr("Validation Error"), tr("Select at least one application."));
        return;
    }
    QDialog::done(result);
}
