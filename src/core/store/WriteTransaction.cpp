#include "store/WriteTransaction.h"

#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

WriteTransaction::WriteTransaction()
{
    QSqlQuery begin;
    active = begin.exec(QStringLiteral("BEGIN IMMEDIATE"));
    if (!active) {
        startError = begin.lastError().text();
        qDebug() << "Database error:" << startError;
    }
}

WriteTransaction::~WriteTransaction()
{
    rollback();
}

bool WriteTransaction::commit(QString* error)
{
    if (!active) {
        if (error) {
            *error = startError;
        }
        return false;
    }
    QSqlQuery commit;
    if (!commit.exec(QStringLiteral("COMMIT"))) {
        if (error) {
            *error = commit.lastError().text();
        }
        qDebug() << "Database error:" << commit.lastError().text();
        rollback();
        return false;
    }
    active = false;
    return true;
}

void WriteTransaction::rollback()
{
    if (!active) {
        return;
    }
    active = false;
    QSqlQuery rollback;
    if (!rollback.exec(QStringLiteral("ROLLBACK"))) {
        qDebug() << "Database error:" << rollback.lastError().text();
    }
}
