#pragma once

#include "ServiceStore.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// One decoded method call as it arrived: the method name taken from the path, the HTTP verb and
// the parameters in the order they were sent (a name may repeat, as in addBulk).
struct ServiceCall
{
    QString method;
    QString verb; // "GET" or "POST"
    QList<QPair<QString, QString>> params;

    QString value(const QString& name) const;
    bool has(const QString& name) const;
    QStringList values(const QString& name) const;
};

// The twelve methods of the protocol. Each turns a call into the XML reply document; refusals are
// replies too (status "error" with an "error" element), so the HTTP layer only ever sends 200 here.
class MethodHandlers
{
public:
    enum ErrorCode
    {
        MissingParameter = 100,
        InvalidApiKey = 101,
        InvalidToken = 102,
        ExpiredToken = 103,
        BadCredentials = 104,
        WrongVerb = 105,
        UnknownMethod = 106,
        UnknownUser = 110,
        UnknownProject = 111,
        UnknownTaskList = 112,
        UnknownTask = 113,
        UnknownEntry = 114,
        InvalidValue = 120,
    };

    MethodHandlers(ServiceStore& store, int tokenLifetimeSeconds);

    QByteArray handle(const ServiceCall& call);
    static bool isKnownMethod(const QString& method);

    static QByteArray errorReply(const QString& code, const QString& message);
    static QByteArray bareErrorReply();

    // The methods themselves; public so the dispatch table can name them.
    QByteArray testNull(const ServiceCall& call);
    QByteArray login(const ServiceCall& call);
    QByteArray checkToken(const ServiceCall& call);
    QByteArray logout(const ServiceCall& call);
    QByteArray findProjects(const ServiceCall& call);
    QByteArray addTask(const ServiceCall& call);
    QByteArray addTaskList(const ServiceCall& call);
    QByteArray updateTask(const ServiceCall& call);
    QByteArray addEntries(const ServiceCall& call);
    QByteArray entryInfo(const ServiceCall& call);
    QByteArray updateEntry(const ServiceCall& call);
    QByteArray deleteEntry(const ServiceCall& call);

private:
    // A valid token and API key, then every parameter in `required`; otherwise the refusal to send.
    bool authenticate(const ServiceCall& call, std::initializer_list<const char*> required, ServiceStore::User* user,
                      QByteArray* refusal);
    bool findOwnedEntry(const ServiceCall& call, const ServiceStore::User& user, qint64* entryId,
                        ServiceStore::Entry* entry, QByteArray* refusal);

    ServiceStore& store;
    int tokenLifetime;
};
