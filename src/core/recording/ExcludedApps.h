#pragma once

#include <QString>
#include <QStringList>

// The list of excluded application paths ("IgnoredApps" in the registry) and the rules for changing
// it. Recording never reads it; only the views hide what it names.
namespace ExcludedApps {

QStringList list();
void setList(const QStringList& paths);

enum class AddCheck
{
    Empty,         // nothing entered (or the box was cancelled)
    Missing,       // no file or folder at the path
    AlreadyListed, // exactly this path is listed already (case-sensitive)
    Ok
};

// The dialog's test for a typed path, in its order: empty, missing, duplicate. `path` is trimmed first.
AddCheck checkDialogAdd(const QString& path, const QStringList& listed);
// The "Error" text for a path that does not exist.
QString missingPathMessage(const QString& path);

// Excluding from the day tree: appends `path` unless the list holds it in any letter case. Returns
// whether it was appended.
bool addFromView(QStringList& paths, const QString& path);

} // namespace ExcludedApps
