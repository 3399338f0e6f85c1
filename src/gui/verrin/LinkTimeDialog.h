#pragma once

#include "verrin/ProjectsCatalogue.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QPlainTextEdit;

// Chooses the task (and notes) before recorded time is sent to the service.
class LinkTimeDialog : public QDialog
{
    Q_OBJECT
public:
    explicit LinkTimeDialog(QWidget* parent = nullptr);

    void populateData(const Catalogue& projects);
    void populateTasks(int projectId);
    void putData();
    void getData();

    QString timeText = QStringLiteral("00:00:00");
    QString notes;
    int projectId = 0;
    int taskId = 0;

public slots:
    void on_cbProjects_activated(int index);
    void on_cbTasks_currentIndexChanged(int index);

private:
    Catalogue catalogue;
    QLabel* labelTime;
    QComboBox* cbProjects;
    QComboBox* cbTasks;
    QPlainTextEdit* textNotes;
};
