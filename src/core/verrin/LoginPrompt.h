#pragma once

#include <QString>

// How the session asks the user for credentials without knowing about dialogs. The GUI runs the
// login dialog; tests answer from a queue.
class LoginPrompt
{
public:
    virtual ~LoginPrompt() = default;

    // Shows the form filled with `username`, `password` and the previous attempt's `error` (empty:
    // no error line). Returns false when cancelled; otherwise the three out-values hold what the
    // user entered and whether "Remember my password" was checked.
    virtual bool run(QString& username, QString& password, bool& remember, const QString& error) = 0;
};
