#include "store/Database.h"

#include "verrin/LinkJournal.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

Database::~Database()
{
    close();
}

bool Database::open(const QString& path, QString* error)
{
    db = QSqlDatabase::contains(QLatin1String(QSqlDatabase::defaultConnection))
             ? QSqlDatabase::database(QLatin1String(QSqlDatabase::defaultConnection), false)
             : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
    db.setDatabaseName(path);
    if (!db.open()) {
        if (error) {
            *error = db.lastError().databaseText();
        }
        return false;
    }
    QSqlQuery pragma(db);
    // WAL keeps a crash from tearing a write, and readers never wait for the recorder's writes.
    if (!pragma.exec(QStringLiteral("PRAGMA journal_mode=WAL"))) {
        qWarning() << "Database error:" << pragma.lastError().text();
    }
    pragma.exec(QStringLiteral("PRAGMA synchronous=NORMAL"));
    // Recording only appends, and a day is read in one pass the system's file cache serves as well:
    // a small page cache keeps the program's memory flat instead of growing by 2 MB over a day.
    pragma.exec(QStringLiteral("PRAGMA cache_size=-512"));
    createSchema();
    return true;
}

void Database::close()
{
    if (db.isValid() && db.isOpen()) {
        db.close();
    }
}

bool Database::isOpen() const
{
    return db.isValid() && db.isOpen();
}

const QStringList& Database::schemaStatements()
{
    static const QStringList statements = {
        QStringLiteral("CREATE TABLE IF NOT EXISTS `entries`( `id` INTEGER PRIMARY KEY AUTOINCREMENT, `title` "
                       "VARCHAR(255), `application_id` INTEGER NOT NULL, `start_time` DATETIME, `end_time` DATETIME, "
                       "`ext_task_id` INTEGER, `ext_entry_id` INTEGER, `ext_project_id` INTEGER, `ext_tasklist_id` "
                       "INTEGER, `ext_task_name` VARCHAR, `ext_project_name` VARCHAR, `ext_tasklist_name` VARCHAR ) "),
        QStringLiteral("CREATE INDEX IF NOT EXISTS `start_idx` ON entries (start_time) "),
        QStringLiteral("CREATE INDEX IF NOT EXISTS `end_idx` ON entries (end_time) "),
        QStringLiteral("CREATE TABLE IF NOT EXISTS `applications` ( `id` INTEGER PRIMARY KEY AUTOINCREMENT, `path` "
                       "VARCHAR(255), `name` VARCHAR(255) ) "),
        QStringLiteral("CREATE TABLE IF NOT EXISTS `settings` ( `id` INTEGER PRIMARY KEY AUTOINCREMENT, `name` "
                       "CHAR(50) NOT NULL, `value` TEXT ) "),
        QStringLiteral("CREATE TABLE IF NOT EXISTS `rules`( `id` INTEGER PRIMARY KEY AUTOINCREMENT, `name` "
                       "VARCHAR(255) NOT NULL, `title_rule` VARCHAR(20) NOT NULL DEFAULT \"and\", `title` "
                       "VARCHAR(255), `date_rule` VARCHAR(10) NOT NULL DEFAULT \"after\", `date_from` DATETIME, "
                       "`date_to` DATETIME, `project_id` INTEGER, `task_id` INTEGER, `seq` INTEGER NOT NULL "
                       "DEFAULT 0, `active` INTEGER NOT NULL DEFAULT 1 ) "),
        QStringLiteral("CREATE TABLE IF NOT EXISTS `rules_apps`( `rule_id` INTEGER NOT NULL, `app_id` INTEGER NOT "
                       "NULL ) "),
    };
    return statements;
}

const QStringList& Database::extraIndexStatements()
{
    static const QStringList statements = {
        QStringLiteral("CREATE INDEX IF NOT EXISTS `app_path_name_idx` ON applications (path, name) "),
        QStringLiteral("CREATE INDEX IF NOT EXISTS `task_start_idx` ON entries (ext_task_id, start_time) "),
    };
    return statements;
}

void Database::createSchema()
{
    QSqlQuery query;
    for (const QString& statement : schemaStatements()) {
        if (!query.exec(statement)) {
            qDebug() << "Database error:" << query.lastError().text();
        }
    }
    for (const QString& statement : extraIndexStatements()) {
        if (!query.exec(statement)) {
            qDebug() << "Database error:" << query.lastError().text();
        }
    }
    LinkJournal::createSchema();
}
