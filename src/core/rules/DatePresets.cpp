#include "rules/DatePresets.h"

namespace DatePresets {

const QList<Preset>& presets()
{
    static const QList<Preset> list = {
        {QStringLiteral("Today"), QStringLiteral("today")},
        {QStringLiteral("Yesterday"), QStringLiteral("yesterday")},
        {QStringLiteral("3 Days Back"), QStringLiteral("3 days back")},
        {QStringLiteral("This Week"), QStringLiteral("this week")},
        {QStringLiteral("Previous Week"), QStringLiteral("prev week")},
        {QStringLiteral("This Month"), QStringLiteral("this month")},
        {QStringLiteral("Previous Month"), QStringLiteral("prev month")},
        {QStringLiteral("Custom"), QStringLiteral("custom")},
    };
    return list;
}

bool range(const QString& value, const QDate& today, QDate* from, QDate* to)
{
    QDate first;
    QDate last;
    const QDate firstOfMonth(today.year(), today.month(), 1);
    if (value == QLatin1String("today")) {
        first = last = today;
    } else if (value == QLatin1String("yesterday")) {
        first = last = today.addDays(-1);
    } else if (value == QLatin1String("3 days back")) {
        first = today.addDays(-3);
        last = today;
    } else if (value == QLatin1String("this week")) {
        first = today.addDays(-(today.dayOfWeek() - 1));
        last = first.addDays(6);
    } else if (value == QLatin1String("prev week")) {
        first = today.addDays(-6 - today.dayOfWeek());
        last = first.addDays(6);
    } else if (value == QLatin1String("this month")) {
        first = firstOfMonth;
        last = firstOfMonth.addMonths(1).addDays(-1);
    } else if (value == QLatin1String("prev month")) {
        first = firstOfMonth.addMonths(-1);
        last = firstOfMonth.addDays(-1);
    } else {
        return false;
    }
    if (from) {
        *from = first;
    }
    if (to) {
        *to = last;
    }
    return true;
}

} // namespace DatePresets
