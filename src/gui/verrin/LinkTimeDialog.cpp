#include "verrin/LinkTimeDialog.h"

#include "verrin/TaskPicker.h"

#include <QComboBox>
#include <QDebug>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPlainTextEdit>

LinkTimeDialog::LinkTimeDialog(QWidget* parent)
    : QDialog(parent), labelTime(new QLabel(QStringLiteral("00:00:00"))), cbProjects(new QComboBox),
      cbTasks(new QComboBox), textNotes(new QPlainTextEdit)
{
    setObjectName(QStringLiteral("LinkTimeDialog"));
    setWindowTitle(QStringLiteral("Link Time"));
    labelTime->setObjectName(QStringLiteral("labelTime"));
    cbProjects->setObjectName(QStringLiteral("cbProjects"));
    cbTasks->setObjectName(QStringLiteral("cbTasks"));
    textNotes->setObjectName(QStringLiteral("textNotes"));
    auto* form = new QFormLayout(this);
    form->addRow(QStringLiteral("Linking worked time:"), labelTime);
    form->addRow(QStringLiteral("Project"), cbProjects);
    form->addRow(QStringLiteral("Task"), cbTasks);
    form->addRow(QStringLiteral("Notes"), textNotes);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->setObjectName(QStringLiteral("buttonBox"));
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(cbProjects, &QComboBox::activated, this, &LinkTimeDialog::on_cbProjects_activated);
    connect(cbTasks, &QComboBox::currentIndexChanged, this, &LinkTimeDialog::on_cbTasks_currentIndexChanged);
    setMinimumWidth(420);
}

void LinkTimeDialog::populateData(const Catalogue& projects)
{
    catalogue = projects;
    TaskPicker::fillProjects(cbProjects, catalogue);
}

void LinkTimeDialog::populateTasks(int project)
{
    TaskPicker::fillTasks(cbTasks, catalogue, project);
    cbTasks->setCurrentIndex(-1);
    cbTasks->setCurrentIndex(0);
}

void LinkTimeDialog::on_cbTasks_currentIndexChanged(int index)
{
    TaskPicker::stepOverCaption(cbTasks, index);
}

void LinkTimeDialog::on_cbProjects_activated(int index)
{
    const int id = cbProjects->itemData(index).toInt();
    qDebug().noquote() << QStringLiteral("on cb projects activated (%1), id = %2").arg(index).arg(id);
    populateTasks(id);
}

void LinkTimeDialog::putData()
{
    labelTime->setText(timeText);
    textNotes->setPlainText(notes);
    const int projectIndex = cbProjects->findData(projectId);
    if (projectIndex >= 0) {
        cbProjects->setCurrentIndex(projectIndex);
        populateTasks(projectId);
    } else {
        qDebug() << "putData error: could not find project id = " << projectId;
        if (cbProjects->count() > 0) {
            populateTasks(cbProjects->itemData(0).toInt());
        }
    }
    const int taskIndex = taskId != 0 ? cbTasks->findData(taskId) : -1;
    if (taskIndex >= 0) {
        cbTasks->setCurrentIndex(taskIndex);
    } else {
        qDebug() << "putData error: could not find task id = " << taskId;
    }
}

void LinkTimeDialog::getData()
{
    notes = textNotes->toPlainText();
    projectId = cbProjects->currentData().toInt();
    taskId = cbTasks->currentData().toInt();
}
