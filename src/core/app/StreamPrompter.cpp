#include "app/StreamPrompter.h"

#include <QTextStream>

bool StreamPrompter::ask(const QString& title, const QString& text)
{
    line(title, text + QStringLiteral(" (answered no: nobody to ask)"));
    return false;
}

void StreamPrompter::inform(const QString& title, const QString& text)
{
    line(title, text);
}

void StreamPrompter::warn(const QString& title, const QString& text)
{
    line(title, text);
}

void StreamPrompter::critical(const QString& title, const QString& text)
{
    line(title, text);
}

int StreamPrompter::choose(const QString& title, const QString& text, const QStringList& options)
{
    Q_UNUSED(options);
    line(title, text + QStringLiteral(" (left for later: nobody to ask)"));
    return -1;
}

void StreamPrompter::line(const QString& title, const QString& text)
{
    // Boxes may hold several lines; on a terminal each message stays one line.
    QString flat = text;
    flat.replace(QLatin1Char('\n'), QLatin1Char(' '));
    stream << "verrinplus: " << title << ": " << flat.trimmed() << Qt::endl;
}
