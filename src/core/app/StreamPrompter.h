#pragma once

#include "app/Prompter.h"

class QTextStream;

// Messages of logic classes as lines on a text stream (standard error for the command line), for
// runs without a window. Nobody is there to answer, so every question is answered no.
class StreamPrompter : public Prompter
{
public:
    explicit StreamPrompter(QTextStream& stream) : stream(stream) {}

    bool ask(const QString& title, const QString& text) override;
    void inform(const QString& title, const QString& text) override;
    void warn(const QString& title, const QString& text) override;
    void critical(const QString& title, const QString& text) override;
    int choose(const QString& title, const QString& text, const QStringList& options) override;

private:
    void line(const QString& title, const QString& text);

    QTextStream& stream;
};
