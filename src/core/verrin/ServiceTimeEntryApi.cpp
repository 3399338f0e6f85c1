#include "ServiceTimeEntryApi.h"

#include "store/util.h"
#include "verrin/ApiRequest.h"
#include "verrin/ServiceXml.h"

#include <QDebug>
#include <QNetworkReply>

namespace {

CallOutcome unknown(const QString& message)
{
    CallOutcome outcome;
    outcome.kind = CallOutcome::Kind::Unknown;
    outcome.message = message;
    return outcome;
}

} // namespace

ServiceTimeEntryApi::ServiceTimeEntryApi(QNetworkAccessManager* manager) : manager(manager) {}

CallOutcome ServiceTimeEntryApi::call(const QString& method, const QString& verb,
                                      const QList<QPair<QString, QString>>& params, QDomDocument* document)
{
    ApiRequest::Params all = ApiRequest::sessionCredentials();
    all += params;
    ApiRequest request(manager, true);
    QString reply;
    const bool sent = request.call(method, verb, all, reply, true);
    if (!request.apiErrorCode().isEmpty()) {
        CallOutcome outcome;
        outcome.kind = CallOutcome::Kind::Refused;
        outcome.code = request.apiErrorCode();
        outcome.message = QStringLiteral("the service refused it (code %1: %2)")
                              .arg(request.apiErrorCode(), request.apiErrorMessage());
        qDebug().noquote() << method << "refused:" << outcome.message;
        return outcome;
    }
    if (!sent) {
        // A dropped connection ends in "could not send again": this layer refuses to resend on its own.
        const bool dropped = request.networkError() == QNetworkReply::ContentReSendError ||
                             request.networkError() == QNetworkReply::RemoteHostClosedError;
        CallOutcome outcome = unknown(request.timedOut() ? QStringLiteral("the service did not answer in time")
                                      : dropped ? QStringLiteral("the connection broke before the service answered")
                                                : ApiRequest::networkErrorMessage(request.networkError()));
        // These fail before a single byte of the request has left.
        outcome.notSent = request.networkError() == QNetworkReply::ConnectionRefusedError ||
                          request.networkError() == QNetworkReply::HostNotFoundError;
        qDebug().noquote() << method << "no answer:" << outcome.message;
        return outcome;
    }
    QString error;
    if (!servicexml::load(reply, *document, &error)) {
        qWarning().noquote() << method << "reply not understood:" << error;
        return unknown(QStringLiteral("the service's answer could not be read (%1)").arg(error));
    }
    const QString status = document->documentElement().attribute(QStringLiteral("status"));
    if (status == QLatin1String("error")) {
        CallOutcome outcome;
        outcome.kind = CallOutcome::Kind::Refused;
        outcome.message = QStringLiteral("the service refused it without saying why");
        return outcome;
    }
    if (status != QLatin1String("ok")) {
        // No status at all: not a clear refusal.
        qDebug().noquote() << "status: " + status;
        return unknown(QStringLiteral("the service's answer had status \"%1\"").arg(status));
    }
    CallOutcome outcome;
    outcome.kind = CallOutcome::Kind::Ok;
    return outcome;
}

CallOutcome ServiceTimeEntryApi::addBulk(const QDate& date, int seconds, const QString& taskId,
                                         const QString& description, QString* extEntryId)
{
    QDomDocument reply;
    CallOutcome outcome = call(QStringLiteral("verrin.entries.addBulk"), QStringLiteral("post"),
                               {{QStringLiteral("date"), util::date_to_sql(date)},
                                {QStringLiteral("duration"), QString::number(seconds)},
                                {QStringLiteral("task_id"), taskId},
                                {QStringLiteral("description"), description}},
                               &reply);
    if (!outcome.ok())
        return outcome;
    const QDomElement entry = reply.documentElement().firstChildElement(QStringLiteral("entry"));
    const QString id = entry.attribute(QStringLiteral("id"));
    qDebug().noquote() << "API add entry result: ext_entry_id = " + id +
                              ", updated = " + entry.attribute(QStringLiteral("updated"));
    bool numeric = false;
    id.toLongLong(&numeric);
    if (!numeric) {
        // The service said yes but not to what: the entry may exist, so this is no refusal.
        qWarning().noquote() << "verrin.entries.addBulk answered without a usable entry id:" << id;
        return unknown(QStringLiteral("the service's answer named no entry"));
    }
    *extEntryId = id;
    return outcome;
}

CallOutcome ServiceTimeEntryApi::getInfo(qint64 extEntryId, ServiceEntryInfo* info)
{
    qDebug().noquote() << "get ext entry end time, entry id = " + QString::number(extEntryId);
    *info = ServiceEntryInfo();
    QDomDocument reply;
    CallOutcome outcome = call(QStringLiteral("verrin.entries.getInfo"), QStringLiteral("get"),
                               {{QStringLiteral("entry_id"), QString::number(extEntryId)}}, &reply);
    if (!outcome.ok())
        return outcome;
    const QDomElement entry = reply.documentElement().firstChildElement(QStringLiteral("entry"));
    const auto text = [&entry](const char* name) { return entry.firstChildElement(QLatin1String(name)).text(); };
    info->start = util::sql_to_datetime(text("start"));
    info->end = util::sql_to_datetime(text("end"));
    info->taskId = entry.attribute(QStringLiteral("task_id"));
    info->date = text("date");
    info->duration = text("duration");
    info->description = text("description");
    if (!info->start.isValid() || !info->end.isValid())
        return unknown(QStringLiteral("the service's answer had no start and end"));
    return outcome;
}

CallOutcome ServiceTimeEntryApi::update(qint64 extEntryId, const QDateTime& start, const QDateTime& end)
{
    qDebug().noquote() << "update ext entry end time, entry_id = " + QString::number(extEntryId) +
                              ", time: " + util::datetime_to_sql(start) + "-" + util::datetime_to_sql(end);
    QDomDocument reply;
    return call(QStringLiteral("verrin.entries.update"), QStringLiteral("post"),
                {{QStringLiteral("entry_id"), QString::number(extEntryId)},
                 {QStringLiteral("start"), util::datetime_to_sql(start)},
                 {QStringLiteral("end"), util::datetime_to_sql(end)}},
                &reply);
}

CallOutcome ServiceTimeEntryApi::remove(qint64 extEntryId)
{
    qDebug().noquote() << "delete ext entry, entry_id = " + QString::number(extEntryId);
    QDomDocument reply;
    return call(QStringLiteral("verrin.entries.delete"), QStringLiteral("post"),
                {{QStringLiteral("entry_id"), QString::number(extEntryId)}}, &reply);
}
