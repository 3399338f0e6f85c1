#pragma once

#include <QByteArrayView>
#include <QString>

struct sqlite3;
struct sqlite3_stmt;

// Rows of one statement read straight from the SQLite handle of the default connection. Only for
// the reads of thousands of rows a user waits for (switching the shown day): QSqlQuery turns every
// value of every row into a variant of UTF-16 text before the caller sees it, which costs more than
// SQLite takes to find the rows. Values are always bound, never spliced into the statement.
class SqliteRows
{
public:
    explicit SqliteRows(const QString& statement);
    ~SqliteRows();
    SqliteRows(const SqliteRows&) = delete;
    SqliteRows& operator=(const SqliteRows&) = delete;

    // Binds `value` to the parameter named `name` (":day_start"); a name the statement lacks is ignored.
    void bindValue(const QString& name, const QString& value);
    // The next row; false after the last one or on an error, which `error` then names.
    bool next();
    QString error() const { return failure; }

    qint64 integer(int column) const; // 0 for NULL
    QString text(int column) const;   // empty for NULL
    // The column's UTF-8 bytes, valid until the next call of `next`.
    QByteArrayView bytes(int column) const;

private:
    void fail();

    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    QString failure;
};
