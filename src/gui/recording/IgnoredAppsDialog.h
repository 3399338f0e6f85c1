#pragma once

#include <QDialog>

class Prompter;
class QPushButton;
class QTreeWidget;

// Edits the list of excluded applications. Every change goes to the registry at once, so closing the
// dialog either way keeps it; the owner refreshes the views when wasChanged() says so.
class IgnoredAppsDialog : public QDialog
{
    Q_OBJECT
public:
    // Messages go through `prompter` when given (tests), else to message boxes over the dialog.
    explicit IgnoredAppsDialog(QWidget* parent = nullptr, Prompter* prompter = nullptr);

    bool wasChanged() const { return changed; }
    // Adds a typed path after the checks of the add button; returns whether it was added.
    bool addPath(const QString& answer);

    QTreeWidget* ignoredApps = nullptr;
    QPushButton* btAdd = nullptr;
    QPushButton* btRemove = nullptr;

public slots:
    void on_btAdd_clicked();
    void on_btRemove_clicked();

private:
    void addItem(const QString& path);

    Prompter* prompter;
    bool changed = false;
};
