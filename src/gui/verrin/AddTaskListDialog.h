#pragma once

#include "verrin/NameCheckedDialog.h"
#include "verrin/ProjectsCatalogue.h"

class QComboBox;
class QDialogButtonBox;
class QLineEdit;

// Asks for a new task list: its project from the catalogue and its name.
class AddTaskListDialog : public NameCheckedDialog
{
    Q_OBJECT
public:
    explicit AddTaskListDialog(QWidget* parent = nullptr);

    void populateData(const Catalogue& catalogue);
    void putData();
    void getData();

    int projectId = 0;
    QString name;

private:
    QComboBox* cbProjects = nullptr;
    QLineEdit* editTaskListName = nullptr;
};
