#pragma once

#include "service/TimeEntryApi.h"

class Prompter;
class QDomDocument;
class QNetworkAccessManager;

// The time-entry calls over HTTP with the signed-in session's credentials (Registry "ApiKey" and
// "AuthToken"). Transport failures and refusals are shown through the prompter, as for every
// call that changes data.
class ServiceTimeEntryApi : public TimeEntryApi
{
public:
    ServiceTimeEntryApi(QNetworkAccessManager* manager, Prompter* prompter);

    bool addBulk(const QDate& date, int seconds, const QString& taskId, const QString& description,
                 QString* extEntryId) override;
    bool getInfo(int extEntryId, QDateTime* start, QDateTime* end) override;
    bool update(int extEntryId, const QDateTime& start, const QDateTime& end) override;
    bool remove(int extEntryId) override;

private:
    // Calls the method with the credentials in front of `params`; true when the reply is "ok" (it is
    // left in `document`). Otherwise logs "status: " and the status.
    bool callOk(const QString& method, const QString& verb, const QList<QPair<QString, QString>>& params,
                QDomDocument* document);

    QNetworkAccessManager* manager;
    Prompter* prompter;
};
