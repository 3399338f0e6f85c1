#pragma once

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

// Opens the one SQLite file on Qt's default connection and creates the schema. Everything else reads
// and writes through short-lived QSqlQuery objects on that connection.
class Database
{
public:
    Database() = default;
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // On failure `error` receives the driver's database-level error text.
    bool open(const QString& path, QString* error);
    void close();
    bool isOpen() const;

    // The statements that create the schema, exactly as every version of the program runs them,
    // so that database files stay interchangeable.
    static const QStringList& schemaStatements();
    // Extra statements that only add indexes; older versions ignore what they do not know.
    static const QStringList& extraIndexStatements();

    // Runs every schema statement; harmless when the tables exist already.
    static void createSchema();

private:
    QSqlDatabase db;
};
