#pragma once

#include <QString>
#include <QStringList>

// How logic classes talk to the user without knowing about message boxes. The GUI shows real
// boxes (MessageBoxPrompter); tests record the calls and answer from a queue.
class Prompter
{
public:
    virtual ~Prompter() = default;

    // A yes/no question; true means yes. No is the default answer (Enter, or a box closed by accident).
    virtual bool ask(const QString& title, const QString& text) = 0;
    // The same question with Yes as the default answer, for confirming an action the user has
    // just chosen from a menu or a button.
    virtual bool askDefaultYes(const QString& title, const QString& text) { return ask(title, text); }
    virtual void inform(const QString& title, const QString& text) = 0;
    virtual void warn(const QString& title, const QString& text) = 0;
    virtual void critical(const QString& title, const QString& text) = 0;
    // A choice between `options`, the first one the default and the last one the harmless one that
    // dismissing the question picks; the index chosen, or -1 when nobody can answer.
    virtual int choose(const QString& title, const QString& text, const QStringList& options)
    {
        Q_UNUSED(title);
        Q_UNUSED(text);
        Q_UNUSED(options);
        return -1;
    }
};
