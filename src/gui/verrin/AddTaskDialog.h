#pragma once

#include "verrin/NameCheckedDialog.h"
#include "verrin/ProjectsCatalogue.h"

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLineEdit;
class QPlainTextEdit;

// Asks for a new task: project and task list from the catalogue, name, description, billable.
class AddTaskDialog : public NameCheckedDialog
{
    Q_OBJECT
public:
    explicit AddTaskDialog(QWidget* parent = nullptr);

    // Lists the catalogue's projects and the first one's task lists.
    void populateData(const Catalogue& projects);
    void populateTaskLists(int projectId);
    void putData();
    void getData();

    int projectId = 0;
    int tasklistId = 0;
    QString name;
    QString description;
    bool billable = false;

public slots:
    void on_cbProjects_activated(int index);

private:
    Catalogue catalogue;
    QComboBox* cbProjects = nullptr;
    QComboBox* cbTaskLists = nullptr;
    QLineEdit* editTaskName = nullptr;
    QPlainTextEdit* textTaskDescription = nullptr;
    QCheckBox* checkBillable = nullptr;
};
