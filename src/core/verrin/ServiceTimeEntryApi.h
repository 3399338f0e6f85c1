#pragma once

#include "verrin/TimeEntryApi.h"

#include <QList>
#include <QPair>

class QDomDocument;
class QNetworkAccessManager;

// The time-entry calls over HTTP with the signed-in session's credentials (Registry::apiKey() and
// "AuthToken"). Quiet: what went wrong travels back in the outcome, and the linking that made the
// calls tells the user once for a whole run instead of a box per call.
class ServiceTimeEntryApi : public TimeEntryApi
{
public:
    explicit ServiceTimeEntryApi(QNetworkAccessManager* manager);

    CallOutcome addBulk(const QDate& date, int seconds, const QString& taskId, const QString& description,
                        QString* extEntryId) override;
    CallOutcome getInfo(qint64 extEntryId, ServiceEntryInfo* info) override;
    CallOutcome update(qint64 extEntryId, const QDateTime& start, const QDateTime& end) override;
    CallOutcome remove(qint64 extEntryId) override;

private:
    // Calls the method with the credentials in front of `params`; an "ok" reply is left in `document`.
    CallOutcome call(const QString& method, const QString& verb, const QList<QPair<QString, QString>>& params,
                     QDomDocument* document);

    QNetworkAccessManager* manager;
};
