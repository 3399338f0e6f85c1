#pragma once

#include "updates/UpdateChecker.h"

#include <QObject>

class QProgressDialog;
class QWidget;

// Shows what an update check found: always after a check the user asked for (with its progress
// while it runs), and after the quiet check at start only when a newer version exists.
class UpdatePresenter : public QObject
{
    Q_OBJECT
public:
    UpdatePresenter(UpdateChecker* checker, QWidget* parentWindow);

    // The text of the box for a result; empty when nothing should be shown.
    static QString message(const UpdateInfo& info, bool interactive, const QString& currentVersion);

    // Where boxes appear (the About box while it is open, else the main window).
    void setParentWindow(QWidget* window) { parentWindow = window; }

private:
    void showProgress();
    void show(const UpdateInfo& info, bool interactive);

    UpdateChecker* checker;
    QWidget* parentWindow;
    QProgressDialog* progress = nullptr;
};
