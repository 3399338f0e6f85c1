#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

// How a call that reads or changes a service entry ended. Linking must tell "the service said no"
// (nothing happened there) apart from "no usable answer" (it may or may not have happened): only the
// first lets the rows go back as they were; the second leaves them pending until it is known.
struct CallOutcome
{
    enum class Kind
    {
        Ok,      // the service answered "ok"
        Refused, // the service answered status "error": the call changed nothing
        Unknown, // time-out, dropped connection, HTTP failure or a reply that is not understood
    };

    Kind kind = Kind::Unknown;
    QString code;    // the service's error code when refused
    QString message; // what went wrong, in words for the user
    // The request never left this machine (connection refused, host not found): proof that it did
    // not land, even though no answer came.
    bool notSent = false;

    bool ok() const { return kind == Kind::Ok; }
    bool refused() const { return kind == Kind::Refused; }
    // The service does not know the entry (deleted on the web, or never made).
    bool unknownEntry() const { return kind == Kind::Refused && code == QLatin1String("114"); }
    // The stored session ran out while the program was running.
    bool tokenExpired() const { return kind == Kind::Refused && code == QLatin1String("103"); }
};

// A service entry as getInfo tells it.
struct ServiceEntryInfo
{
    QDateTime start;
    QDateTime end;
    QString taskId;
    QString date;
    QString duration;
    QString description;
};

// The four time-entry calls of the Verrin service that linking needs. The real implementation talks
// HTTP through ApiRequest; keeping them behind this interface lets the linking logic stay small.
class TimeEntryApi
{
public:
    virtual ~TimeEntryApi() = default;

    // Creates one service entry. `description` is sent as given. On success `extEntryId` receives
    // the service's id for it.
    virtual CallOutcome addBulk(const QDate& date, int seconds, const QString& taskId, const QString& description,
                                QString* extEntryId) = 0;
    virtual CallOutcome getInfo(qint64 extEntryId, ServiceEntryInfo* info) = 0;
    virtual CallOutcome update(qint64 extEntryId, const QDateTime& start, const QDateTime& end) = 0;
    virtual CallOutcome remove(qint64 extEntryId) = 0;
};
