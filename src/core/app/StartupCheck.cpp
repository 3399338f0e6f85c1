#include "app/StartupCheck.h"

#include "app/Prompter.h"
#include "store/DatabaseCheck.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace {
const QString kDatabaseTitle = QStringLiteral("Database error");

bool moveAside(const QString& database, const QString& aside, QString* error)
{
    if (!QFile::rename(database, aside)) {
        *error = QFile(database).errorString();
        return false;
    }
    // Journal files belong to the damaged file; left behind they would be applied to the fresh one.
    for (const QLatin1String suffix : {QLatin1String("-wal"), QLatin1String("-shm"), QLatin1String("-journal")}) {
        if (QFileInfo::exists(database + suffix)) {
            QFile::rename(database + suffix, aside + suffix);
        }
    }
    return true;
}
} // namespace

QString StartupCheck::asideName(const QString& database, const QDate& today)
{
    const QString base = database + QStringLiteral(".damaged-") + today.toString(QStringLiteral("yyyy-MM-dd"));
    if (!QFileInfo::exists(base)) {
        return base;
    }
    for (int n = 2; n < 1000; ++n) {
        const QString candidate = base + QLatin1Char('-') + QString::number(n);
        if (!QFileInfo::exists(candidate)) {
            return candidate;
        }
    }
    return QString();
}

bool StartupCheck::run(const Paths& paths, Prompter* prompter, const QDate& today)
{
    // A first start: the folder is created later, and a folder that cannot be created has its own box.
    if (!QFileInfo::exists(paths.folder)) {
        return true;
    }

    const DatabaseCheck::Result db = DatabaseCheck::check(paths.database);
    const QString where = QDir::toNativeSeparators(paths.database);
    if (db.verdict == DatabaseCheck::Verdict::Damaged) {
        qWarning().noquote() << "The database" << where << "cannot be read:" << db.reason;
        const QString aside = asideName(paths.database, today);
        const bool moveIt =
            !aside.isEmpty() &&
            prompter->ask(
                kDatabaseTitle,
                QStringLiteral("The database %1 cannot be read: %2.\n\nThe file has not been changed. Move it "
                               "aside as %3 and start with an empty database?\n\nNo quits VerrinPlus.")
                    .arg(where, db.reason, QDir::toNativeSeparators(aside)));
        if (!moveIt) {
            return false;
        }
        QString error;
        if (!moveAside(paths.database, aside, &error)) {
            prompter->critical(kDatabaseTitle, QStringLiteral("Could not rename %1 to %2: %3.\n\nVerrinPlus quits.")
                                                   .arg(where, QDir::toNativeSeparators(aside), error));
            return false;
        }
        qWarning().noquote() << "Moved the unreadable database aside as" << aside;
    } else if (db.verdict == DatabaseCheck::Verdict::Inaccessible) {
        qWarning().noquote() << "The database" << where << "cannot be used:" << db.reason;
        prompter->critical(kDatabaseTitle,
                           QStringLiteral("The database %1 cannot be used: %2.\n\nNothing could be recorded, so "
                                          "VerrinPlus quits. The file has not been changed; check that you may "
                                          "read and write it and the folder %3.")
                               .arg(where, db.reason, QDir::toNativeSeparators(paths.folder)));
        return false;
    }

    QString reason;
    if (!DatabaseCheck::iniWritable(paths.ini, &reason)) {
        const QString ini = QDir::toNativeSeparators(paths.ini);
        qWarning().noquote() << "The settings file" << ini << "cannot be written:" << reason;
        prompter->critical(QStringLiteral("Settings error"),
                           QStringLiteral("The settings file %1 cannot be written: %2.\n\nVerrinPlus could not keep "
                                          "its settings or its recording state, so it quits. Check that you may "
                                          "write the folder %3.")
                               .arg(ini, reason, QDir::toNativeSeparators(paths.folder)));
        return false;
    }
    return true;
}

QString StartupCheck::noDisplayMessage(const QString& display, const QString& waylandDisplay,
                                       const QString& qpaPlatform)
{
    // An explicitly chosen plugin other than the two that need a display (offscreen, vnc, eglfs...)
    // is the user's decision; Qt reports for itself if it does not work.
    const QStringList plugins = qpaPlatform.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString& entry : plugins) {
        const QString plugin = entry.section(QLatin1Char(':'), 0, 0).trimmed();
        if (plugin != QLatin1String("xcb") && !plugin.startsWith(QLatin1String("wayland"))) {
            return QString();
        }
    }
    if (!display.isEmpty() || !waylandDisplay.isEmpty()) {
        return QString();
    }
    return QStringLiteral("verrinplus: needs a graphical session; use --report or --apply-rules without one");
}
