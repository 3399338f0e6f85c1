#include "verrin/AddTaskListDialog.h"

#include "app/Named.h"

#include <QComboBox>
#include <QDebug>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QVBoxLayout>

AddTaskListDialog::AddTaskListDialog(QWidget* parent) : NameCheckedDialog(parent)
{
    setObjectName(QStringLiteral("AddTaskListDialog"));
    setWindowTitle(QStringLiteral("Add Task List"));
    QFormLayout* form = addForm();
    cbProjects = named(new QComboBox, "cbProjects");
    editTaskListName = named(new QLineEdit, "editTaskListName");
    form->addRow(QStringLiteral("Project"), cbProjects);
    form->addRow(QStringLiteral("Task List Name"), editTaskListName);
    setNameField(editTaskListName, QStringLiteral("Task List Name"));
    setMinimumWidth(340);
}

void AddTaskListDialog::populateData(const Catalogue& catalogue)
{
    cbProjects->clear();
    for (const CatalogueProject& project : catalogue.projects) {
        cbProjects->addItem(project.name, project.id);
    }
}

void AddTaskListDialog::putData()
{
    const int index = cbProjects->findData(projectId);
    if (index < 0) {
        qDebug().noquote() << "putdata error: could not find project id: " + QString::number(projectId);
    } else {
        cbProjects->setCurrentIndex(index);
    }
    editTaskListName->setText(name);
}

void AddTaskListDialog::getData()
{
    projectId = cbProjects->currentData().toInt();
    name = editTaskListName->text().trimmed();
}
