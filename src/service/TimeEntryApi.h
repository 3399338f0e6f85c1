#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

// The four time-entry calls of the Verrin service that linking needs. The real implementation talks
// HTTP through ApiRequest; keeping them behind this interface lets the linking logic stay small.
class TimeEntryApi
{
public:
    virtual ~TimeEntryApi() = default;

    // Creates one service entry. `description` is sent as given. On success `extEntryId` receives
    // the service's id for it.
    virtual bool addBulk(const QDate& date, int seconds, const QString& taskId, const QString& description,
                         QString* extEntryId) = 0;
    // Start and end of a service entry; false (and invalid times) when the service cannot say.
    virtual bool getInfo(int extEntryId, QDateTime* start, QDateTime* end) = 0;
    virtual bool update(int extEntryId, const QDateTime& start, const QDateTime& end) = 0;
    virtual bool remove(int extEntryId) = 0;
};
