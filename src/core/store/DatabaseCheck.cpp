#include "store/DatabaseCheck.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QTemporaryFile>

namespace {
const QLatin1String kConnection("verrinplus-startup-check");

// Tables every VerrinPlus database has had since the first version; other tables come and go.
const QStringList kCoreTables = {QStringLiteral("entries"), QStringLiteral("applications")};

// Only "not a database" and "malformed" say the file itself is bad; "cannot open", "read-only" or
// "locked" are about this process and this folder, and moving the file aside would not help.
bool damageCode(const QSqlError& error)
{
    const int code = error.nativeErrorCode().toInt();
    const int primary = code & 0xff;
    return primary == 26 /* SQLITE_NOTADB */ || primary == 11 /* SQLITE_CORRUPT */;
}

DatabaseCheck::Result inspect(QSqlDatabase& db, bool tryWrite)
{
    using Verdict = DatabaseCheck::Verdict;
    QSqlQuery query(db);
    // SQLite opens any file without complaint; the first read is where garbage shows.
    if (!query.exec(QStringLiteral("PRAGMA quick_check"))) {
        return {damageCode(query.lastError()) ? Verdict::Damaged : Verdict::Inaccessible,
                query.lastError().databaseText()};
    }
    QStringList problems;
    while (query.next()) {
        const QString line = query.value(0).toString();
        if (line != QLatin1String("ok")) {
            problems << line;
        }
    }
    if (!problems.isEmpty()) {
        return {Verdict::Damaged, QStringLiteral("the integrity check failed: ") + problems.first()};
    }

    QStringList tables;
    if (!query.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table'"))) {
        return {damageCode(query.lastError()) ? Verdict::Damaged : Verdict::Inaccessible,
                query.lastError().databaseText()};
    }
    while (query.next()) {
        tables << query.value(0).toString();
    }
    // An empty database is a fresh one; one with tables but not ours belongs to another program.
    if (!tables.isEmpty()) {
        QStringList missing;
        for (const QString& table : kCoreTables) {
            if (!tables.contains(table)) {
                missing << table;
            }
        }
        if (!missing.isEmpty()) {
            return {Verdict::Damaged, QStringLiteral("it is not a VerrinPlus database (no table ") +
                                          missing.join(QStringLiteral(", ")) + QStringLiteral(")")};
        }
    }

    if (!tryWrite) {
        return {};
    }
    // A write the user never sees: create a table and roll it back. This fails the same way the
    // recorder's writes would (read-only file, folder without room for the journal, read-only medium).
    if (!query.exec(QStringLiteral("BEGIN IMMEDIATE"))) {
        return {Verdict::Inaccessible, query.lastError().databaseText()};
    }
    const bool wrote = query.exec(QStringLiteral("CREATE TABLE verrinplus_write_check (x INTEGER)"));
    const QString writeError = query.lastError().databaseText();
    query.exec(QStringLiteral("ROLLBACK"));
    if (!wrote) {
        return {Verdict::Inaccessible, writeError};
    }
    return {};
}

DatabaseCheck::Result inspectFile(const QString& path, bool readOnly)
{
    DatabaseCheck::Result result;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kConnection);
        db.setDatabaseName(path);
        // No waiting on a lock here: the one-instance guard already ran, so a lock means trouble.
        db.setConnectOptions(readOnly ? QStringLiteral("QSQLITE_BUSY_TIMEOUT=0;QSQLITE_OPEN_READONLY")
                                      : QStringLiteral("QSQLITE_BUSY_TIMEOUT=0"));
        if (!db.open()) {
            result = {DatabaseCheck::Verdict::Inaccessible, db.lastError().databaseText()};
        } else {
            result = inspect(db, !readOnly);
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(kConnection);
    return result;
}
} // namespace

DatabaseCheck::Result DatabaseCheck::check(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        return {};
    }
    // First look without write access: closing a read-write connection may checkpoint or delete the
    // journal files beside the database, and a damaged file and its journals must stay as they are.
    Result result = inspectFile(path, true);
    if (result.verdict != Verdict::Damaged) {
        // Read-only access to a WAL database can fail where read-write works (no shared-memory file
        // yet); the read-write look decides, and adds the write test.
        result = inspectFile(path, false);
    }
    if (result.reason.isEmpty() && result.verdict != Verdict::Usable) {
        result.reason = QStringLiteral("unknown error");
    }
    return result;
}

bool DatabaseCheck::iniWritable(const QString& path, QString* reason)
{
    const QFileInfo info(path);
    if (info.exists()) {
        QFile file(path);
        // ReadWrite neither truncates nor changes the file.
        if (!file.open(QIODevice::ReadWrite)) {
            if (reason) {
                *reason = file.errorString();
            }
            return false;
        }
    }
    QTemporaryFile probe(info.absolutePath() + QStringLiteral("/.verrinplus-write-check-XXXXXX"));
    if (!probe.open()) {
        if (reason) {
            *reason = QStringLiteral("the folder cannot be written: ") + probe.errorString();
        }
        return false;
    }
    return true;
}
