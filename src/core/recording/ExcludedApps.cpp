#include "recording/ExcludedApps.h"

#include "app/Registry.h"

#include <QFileInfo>

namespace ExcludedApps {

QStringList list()
{
    return Registry::instance()->ignoredApps();
}

void setList(const QStringList& paths)
{
    Registry::instance()->setIgnoredApps(paths);
}

AddCheck checkDialogAdd(const QString& path, const QStringList& listed)
{
    const QString trimmed = path.trimmed();
    if (trimmed.isEmpty()) {
        return AddCheck::Empty;
    }
    if (!QFileInfo::exists(trimmed)) {
        return AddCheck::Missing;
    }
    if (listed.contains(trimmed, Qt::CaseSensitive)) {
        return AddCheck::AlreadyListed;
    }
    return AddCheck::Ok;
}

QString missingPathMessage(const QString& path)
{
    return QStringLiteral("Application \"") + path + QStringLiteral("\" does not exist.");
}

bool addFromView(QStringList& paths, const QString& path)
{
    if (path.isEmpty() || paths.contains(path, Qt::CaseInsensitive)) {
        return false;
    }
    paths.append(path);
    return true;
}

} // namespace ExcludedApps
