#pragma once

#include <QIcon>
#include <QMetaType>
#include <QString>

// One probed application: what was in front and what its front window was called. The path is the
// application's key everywhere (applications table, exclusions, rules); name and icon are for display.
struct AppStruct
{
    QString productName; // always empty; kept so the record reads like the others
    QString path;
    QString name;
    QString title;
    QIcon icon;

    // An empty record means nothing has been sampled yet.
    bool isEmpty() const { return path.isEmpty() && name.isEmpty() && title.isEmpty(); }
    // Two samples continue the same stretch when path and title are equal (name and icon may differ).
    bool sameStretchAs(const AppStruct& other) const { return path == other.path && title == other.title; }
};

Q_DECLARE_METATYPE(AppStruct)
