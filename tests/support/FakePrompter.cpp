#include "FakePrompter.h"

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
