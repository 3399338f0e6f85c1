#pragma once

#include <QDate>
#include <QList>
#include <QString>

// The date ranges offered when applying rules to several days. Weeks start on Monday.
namespace DatePresets {

struct Preset
{
    QString text;  // shown
    QString value; // kept as the item's data
};

// "Today", "Yesterday", "3 Days Back", "This Week", "Previous Week", "This Month", "Previous Month",
// "Custom", in this order.
const QList<Preset>& presets();

// The range of a preset value for the given day; false for "custom" and unknown values, which leave
// the dates as they are.
bool range(const QString& value, const QDate& today, QDate* from, QDate* to);

} // namespace DatePresets
