#pragma once

#include <QString>

// How logic classes talk to the user without knowing about message boxes. The GUI shows real
// boxes (MessageBoxPrompter); tests record the calls and answer from a queue.
class Prompter
{
public:
    virtual ~Prompter() = default;

    // A yes/no question; true means yes.
    virtual bool ask(const QString& title, const QString& text) = 0;
    virtual void inform(const QString& title, const QString& text) = 0;
    virtual void warn(const QString& title, const QString& text) = 0;
    virtual void critical(const QString& title, const QString& text) = 0;
};
