#include "verrin/AddTaskDialog.h"

#include "app/Named.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDebug>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QVBoxLayout>

AddTaskDialog::AddTaskDialog(QWidget* parent) : NameCheckedDialog(parent)
{
    setObjectName(QStringLiteral("AddTaskDialog"));
    setWindowTitle(QStringLiteral("Add Task"));
    QFormLayout* form = addForm();
    cbProjects = named(new QComboBox, "cbProjects");
    cbTaskLists = named(new QComboBox, "cbTaskLists");
    editTaskName = named(new QLineEdit, "editTaskName");
    textTaskDescription = named(new QPlainTextEdit, "textTaskDescription");
    checkBillable = named(new QCheckBox(QStringLiteral("Billable")), "checkBillable");
    form->addRow(QStringLiteral("Project"), cbProjects);
    form->addRow(QStringLiteral("Task List"), cbTaskLists);
    form->addRow(QStringLiteral("Task Name"), editTaskName);
    form->addRow(QStringLiteral("Task Description"), textTaskDescription);
    form->addRow(QString(), checkBillable);
    connect(cbProjects, &QComboBox::activated, this, &AddTaskDialog::on_cbProjects_activated);
    setNameField(editTaskName, QStringLiteral("Task Name"));
    setMinimumWidth(380);
}

void AddTaskDialog::populateData(const Catalogue& projects)
{
    cbProjects->clear();
    cbTaskLists->clear();
    catalogue = projects;
    for (const CatalogueProject& project : catalogue.projects) {
        cbProjects->addItem(project.name, project.id);
    }
    if (cbProjects->count() > 0) {
        populateTaskLists(cbProjects->itemData(0).toInt());
    }
}

void AddTaskDialog::populateTaskLists(int projectId)
{
    cbTaskLists->clear();
    if (const CatalogueProject* project = catalogue.project(projectId)) {
        for (const CatalogueTaskList& list : project->taskLists) {
            cbTaskLists->addItem(list.name, list.id);
        }
    }
}

void AddTaskDialog::on_cbProjects_activated(int index)
{
    populateTaskLists(cbProjects->itemData(index).toInt());
}

void AddTaskDialog::putData()
{
    const int projectIndex = cbProjects->findData(projectId);
    if (projectIndex < 0) {
        qDebug().noquote() << "putData error: could not find project id: " + QString::number(projectId);
    } else {
        cbProjects->setCurrentIndex(projectIndex);
        populateTaskLists(projectId);
        const int listIndex = cbTaskLists->findData(tasklistId);
        if (listIndex < 0) {
            qDebug().noquote() << "putData error: could not find tasklist id: " + QString::number(tasklistId);
        } else {
            cbTaskLists->setCurrentIndex(listIndex);
        }
    }
    editTaskName->setText(name);
    textTaskDescription->setPlainText(description);
    checkBillable->setChecked(billable);
}

void AddTaskDialog::getData()
{
    projectId = cbProjects->currentData().toInt();
    tasklistId = cbTaskLists->currentData().toInt();
    name = editTaskName->text().trimmed();
    description = textTaskDescription->toPlainText();
    billable = checkBillable->isChecked();
}
