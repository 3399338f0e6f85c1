#include "ServiceTimeEntryApi.h"

#include "service/ApiRequest.h"
#include "service/ServiceXml.h"
#include "store/util.h"

#include <QDebug>

ServiceTimeEntryApi::ServiceTimeEntryApi(QNetworkAccessManager* manager, Prompter* prompter)
    : manager(manager), prompter(prompter)
{
}

bool ServiceTimeEntryApi::callOk(const QString& method, const QString& verb,
                                 const QList<QPair<QString, QString>>& params, QDomDocument* document)
{
    ApiRequest::Params all = ApiRequest::sessionCredentials();
    all += params;
    ApiRequest request(manager, false, prompter);
    QString reply;
    const bool sent = request.call(method, verb, all, reply, false);
    QString error;
    if (!reply.isEmpty() && !servicexml::load(reply, *document, &error))
        qWarning().noquote() << method << "reply not understood:" << error;
    const QString status = document->documentElement().attribute(QStringLiteral("status"));
    if (!sent || status != QLatin1String("ok")) {
        qDebug().noquote() << "status: " + status;
        return false;
    }
    return true;
}

bool ServiceTimeEntryApi::addBulk(const QDate& date, int seconds, const QString& taskId, const QString& description,
                                  QString* extEntryId)
{
    QDomDocument reply;
    if (!callOk(QStringLiteral("verrin.entries.addBulk"), QStringLiteral("post"),
                {{QStringLiteral("date"), util::date_to_sql(date)},
                 {QStringLiteral("duration"), QString::number(seconds)},
                 {QStringLiteral("task_id"), taskId},
                 {QStringLiteral("description"), description}},
                &reply))
        return false;
    const QDomElement entry = reply.documentElement().firstChildElement(QStringLiteral("entry"));
    const QString id = entry.attribute(QStringLiteral("id"));
    qDebug().noquote() << "API add entry result: ext_entry_id = " + id +
                              ", updated = " + entry.attribute(QStringLiteral("updated"));
    bool numeric = false;
    id.toLongLong(&numeric);
    if (!numeric) {
        // Without an id the entry could never be found again to unlink it.
        qWarning().noquote() << "verrin.entries.addBulk answered without a usable entry id:" << id;
        return false;
    }
    *extEntryId = id;
    return true;
}

bool ServiceTimeEntryApi::getInfo(int extEntryId, QDateTime* start, QDateTime* end)
{
    qDebug().noquote() << "get ext entry end time, entry id = " + QString::number(extEntryId);
    *start = QDateTime();
    *end = QDateTime();
    QDomDocument reply;
    if (!callOk(QStringLiteral("verrin.entries.getInfo"), QStringLiteral("get"),
                {{QStringLiteral("entry_id"), QString::number(extEntryId)}}, &reply))
        return false;
    const QDomElement entry = reply.documentElement().firstChildElement(QStringLiteral("entry"));
    *start = util::sql_to_datetime(entry.firstChildElement(QStringLiteral("start")).text());
    *end = util::sql_to_datetime(entry.firstChildElement(QStringLiteral("end")).text());
    return start->isValid() && end->isValid();
}

bool ServiceTimeEntryApi::update(int extEntryId, const QDateTime& start, const QDateTime& end)
{
    qDebug().noquote() << "update ext entry end time, entry_id = " + QString::number(extEntryId) +
                              ", time: " + util::datetime_to_sql(start) + "-" + util::datetime_to_sql(end);
    QDomDocument reply;
    return callOk(QStringLiteral("verrin.entries.update"), QStringLiteral("post"),
                  {{QStringLiteral("entry_id"), QString::number(extEntryId)},
                   {QStringLiteral("start"), util::datetime_to_sql(start)},
                   {QStringLiteral("end"), util::datetime_to_sql(end)}},
                  &reply);
}

bool ServiceTimeEntryApi::remove(int extEntryId)
{
    qDebug().noquote() << "delete ext entry, entry_id = " + QString::number(extEntryId);
    QDomDocument reply;
    return callOk(QStringLiteral("verrin.entries.delete"), QStringLiteral("post"),
                  {{QStringLiteral("entry_id"), QString::number(extEntryId)}}, &reply);
}
