#pragma once

#include "app/Prompter.h"

#include <QList>
#include <QQueue>
#include <QString>

// Records every message a logic class would have shown and answers questions from a queue
// (an empty queue answers no).
class FakePrompter : public Prompter
{
public:
    struct Call
    {
        QString kind; // "ask", "inform", "warn", "critical" or "choose"
        QString title;
        QString text;
        bool defaultYes = false; // for questions: whether Yes was the default answer
    };

    bool ask(const QString& title, const QString& text) override { return question({"ask", title, text}); }
    bool askDefaultYes(const QString& title, const QString& text) override
    {
        return question({"ask", title, text, true});
    }
    void inform(const QString& title, const QString& text) override { calls.append({"inform", title, text}); }
    void warn(const QString& title, const QString& text) override { calls.append({"warn", title, text}); }
    void critical(const QString& title, const QString& text) override { calls.append({"critical", title, text}); }
    // Answers from `choices` (an empty queue dismisses the question).
    int choose(const QString& title, const QString& text, const QStringList& options) override;

    // Every call so far as "kind|title|text" lines, for comparing in one go.
    QString shown() const;

    QQueue<bool> answers;
    QQueue<int> choices;
    QList<Call> calls;

private:
    bool question(const Call& call)
    {
        calls.append(call);
        return answers.isEmpty() ? false : answers.dequeue();
    }
};
