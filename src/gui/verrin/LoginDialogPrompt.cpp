#include "LoginDialogPrompt.h"

#include "verrin/LoginDialog.h"

bool LoginDialogPrompt::run(QString& username, QString& password, bool& remember, const QString& error)
{
    LoginDialog dialog(parent);
    dialog.username = username;
    dialog.password = password;
    // "Remember my password" starts unchecked each time: the form does not guess.
    dialog.error = error;
    dialog.putData();
    if (dialog.exec() != QDialog::Accepted)
        return false;
    dialog.getData();
    username = dialog.username;
    password = dialog.password;
    remember = dialog.remember;
    return true;
}
