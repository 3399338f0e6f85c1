#include "store/SqliteRows.h"

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QVariant>

#include <sqlite3.h>

SqliteRows::SqliteRows(const QString& text)
{
    // Like QSqlQuery: the default connection as it is, never opened again behind its owner's back.
    const QSqlDatabase connection = QSqlDatabase::database(QLatin1String(QSqlDatabase::defaultConnection), false);
    const QVariant handle = connection.isOpen() ? connection.driver()->handle() : QVariant();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0 ||
        !(db = *static_cast<sqlite3* const*>(handle.constData()))) {
        failure = QStringLiteral("the database is not an open SQLite database");
        return;
    }
    const QByteArray utf8 = text.toUtf8();
    if (sqlite3_prepare_v2(db, utf8.constData(), int(utf8.size()), &statement, nullptr) != SQLITE_OK) {
        fail();
    }
}

SqliteRows::~SqliteRows()
{
    sqlite3_finalize(statement);
}

void SqliteRows::fail()
{
    failure = db ? QString::fromUtf8(sqlite3_errmsg(db)) : QStringLiteral("no database");
    sqlite3_finalize(statement);
    statement = nullptr;
}

void SqliteRows::bindValue(const QString& name, const QString& value)
{
    if (!statement) {
        return;
    }
    const int index = sqlite3_bind_parameter_index(statement, name.toUtf8().constData());
    if (index == 0) {
        return;
    }
    const QByteArray utf8 = value.toUtf8();
    if (sqlite3_bind_text(statement, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT) != SQLITE_OK) {
        fail();
    }
}

bool SqliteRows::next()
{
    if (!statement) {
        return false;
    }
    const int result = sqlite3_step(statement);
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        fail();
    }
    return false;
}

qint64 SqliteRows::integer(int column) const
{
    return sqlite3_column_int64(statement, column);
}

QByteArrayView SqliteRows::bytes(int column) const
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text ? QByteArrayView(text, sqlite3_column_bytes(statement, column)) : QByteArrayView();
}

QString SqliteRows::text(int column) const
{
    const QByteArrayView utf8 = bytes(column);
    return QString::fromUtf8(utf8.data(), utf8.size());
}
