#pragma once

#include <QDialog>
#include <QList>

class QLabel;
class QLineEdit;
class QListWidget;

// Lets the user describe a group of away entries: shows their span and duration and offers a few
// ready descriptions. The caller writes getData() to the entries when the dialog is accepted.
class AwayEditDialog : public QDialog
{
    Q_OBJECT
public:
    explicit AwayEditDialog(QWidget* parent = nullptr);

    // Fills the labels and the description from the entries with these ids.
    void putData(const QList<int>& entryIds);
    void populateData();
    QString getData() const;

    QLabel* labelStartTime = nullptr;
    QLabel* labelEndTime = nullptr;
    QLabel* labelDuration = nullptr;
    QLineEdit* editDescription = nullptr;
    QListWidget* listPresets = nullptr;

public slots:
    void on_listPresets_currentRowChanged(int row);
};
