#pragma once

#include "verrin/LoginPrompt.h"

class QWidget;

// Asks for credentials with the modal login dialog.
class LoginDialogPrompt : public LoginPrompt
{
public:
    explicit LoginDialogPrompt(QWidget* parent) : parent(parent) {}

    bool run(QString& username, QString& password, bool& remember, const QString& error) override;

private:
    QWidget* parent;
};
