#pragma once

#include <QColor>
#include <QString>

// The colour of an application or task in the timeline and the summary: the same for the same name in
// every run of the program, so a colour a user has learnt keeps its meaning. (qHash is seeded anew in
// every process, so it cannot be used for this.) Saturation and value keep every hue readable.
inline QColor stableColour(const QString& key)
{
    quint32 hash = 2166136261u; // FNV-1a over the UTF-16 code units
    for (const QChar c : key) {
        hash = (hash ^ c.unicode()) * 16777619u;
    }
    return QColor::fromHsv(int(hash % 360), 150, 215);
}
