#include "FakePrompter.h"

bool FakePrompter::ask(const QString& title, const QString& text)
{
    calls.append({QStringLiteral("ask"), title, text});
    return answers.isEmpty() ? false : answers.dequeue();
}

bool FakePrompter::askDefaultYes(const QString& title, const QString& text)
{
    calls.append({QStringLiteral("ask"), title, text, true});
    return answers.isEmpty() ? false : answers.dequeue();
}

void FakePrompter::inform(const QString& title, const QString& text)
{
    calls.append({QStringLiteral("inform"), title, text});
}

void FakePrompter::warn(const QString& title, const QString& text)
{
    calls.append({QStringLiteral("warn"), title, text});
}

void FakePrompter::critical(const QString& title, const QString& text)
{
    calls.append({QStringLiteral("critical"), title, text});
}

int FakePrompter::choose(const QString& title, const QString& text, const QStringList& options)
{
    calls.append({QStringLiteral("choose"), title, text + QStringLiteral(" [") + options.join(QLatin1Char('/')) + ']'});
    return choices.isEmpty() ? -1 : choices.dequeue();
}

QString FakePrompter::shown() const
{
    QStringList lines;
    for (const Call& call : calls)
        lines << call.kind + QLatin1Char('|') + call.title + QLatin1Char('|') + call.text;
    return lines.join(QLatin1Char('\n'));
}
