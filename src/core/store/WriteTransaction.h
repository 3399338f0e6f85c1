#pragma once

#include <QString>

// A write transaction on the default connection that takes SQLite's write lock at once ("BEGIN
// IMMEDIATE"), so what it reads before writing cannot change under it, even from another process.
// Rolled back unless committed.
class WriteTransaction
{
public:
    WriteTransaction();
    ~WriteTransaction();
    WriteTransaction(const WriteTransaction&) = delete;
    WriteTransaction& operator=(const WriteTransaction&) = delete;

    bool begun() const { return active; }
    // On failure `error` receives the driver's text and everything is rolled back.
    bool commit(QString* error = nullptr);
    void rollback();
    // The text of the failure that kept the transaction from starting.
    QString error() const { return startError; }

private:
    bool active = false;
    QString startError;
};
