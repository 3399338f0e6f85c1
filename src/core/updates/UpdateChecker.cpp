#include "updates/UpdateChecker.h"

#include "app/SettingsFile.h"
#include "verrin/ServiceXml.h"

#include <QDebug>
#include <QDomDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {
const QString kSparkleNs = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

QString sparkleText(const QDomElement& parent, const QString& localName)
{
    const QDomNodeList nodes = parent.elementsByTagNameNS(kSparkleNs, localName);
    return nodes.isEmpty() ? QString() : nodes.at(0).toElement().text().trimmed();
}

// An item's version: the enclosure's attribute, else a sparkle:version element, else the short
// version string.
QString itemVersion(const QDomElement& item)
{
    const QDomElement enclosure = item.firstChildElement(QStringLiteral("enclosure"));
    for (const QString& name : {QStringLiteral("version"), QStringLiteral("shortVersionString")}) {
        const QString attribute = enclosure.attributeNS(kSparkleNs, name);
        if (!attribute.isEmpty()) {
            return attribute.trimmed();
        }
        const QString element = sparkleText(item, name);
        if (!element.isEmpty()) {
            return element;
        }
    }
    return QString();
}

QUrl httpUrl(const QString& text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))) {
        return QUrl();
    }
    return url;
}
} // namespace

UpdateChecker::UpdateChecker(QNetworkAccessManager* network, const QUrl& feedUrl, const QString& currentVersion,
                             QObject* parent)
    : QObject(parent), network(network), feedUrl(feedUrl), currentVersion(QVersionNumber::fromString(currentVersion))
{
}

void UpdateChecker::check(bool interactive)
{
    if (interactive) {
        interactiveWanted = true;
        emit checkingStarted();
    }
    if (reply) {
        return;
    }
    cancelled = false;
    QNetworkRequest request(feedUrl);
    request.setHeader(QNetworkRequest::UserAgentHeader, SettingsFile::userAgent());
    request.setTransferTimeout(timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    reply = network->get(request);
    connect(reply, &QNetworkReply::finished, this, &UpdateChecker::onReplyFinished);
    // A feed is a few kilobytes; anything past the limit is not read at all.
    connect(reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) {
        if (received > kMaxFeedBytes && reply) {
            tooLarge = true;
            reply->abort();
        }
    });
    tooLarge = false;
}

void UpdateChecker::cancel()
{
    if (reply) {
        cancelled = true;
        reply->abort();
    }
}

void UpdateChecker::onReplyFinished()
{
    QNetworkReply* done = reply;
    reply = nullptr;
    done->deleteLater();
    const bool interactive = interactiveWanted;
    interactiveWanted = false;
    if (cancelled) {
        return;
    }
    UpdateInfo info;
    if (tooLarge) {
        info.error =
            QStringLiteral("The update feed is larger than %1 KiB; it was not read.").arg(kMaxFeedBytes / 1024);
    } else if (done->error() == QNetworkReply::OperationCanceledError) {
        // Qt's own words here would be "Operation canceled", which nobody did.
        info.error =
            QStringLiteral("The update server did not answer within %1 seconds.").arg(qMax(1, timeoutMs / 1000));
    } else if (done->error() != QNetworkReply::NoError) {
        info.error = done->errorString();
    } else {
        info = parseFeed(done->readAll(), currentVersion);
    }
    if (info.status == UpdateInfo::Status::Failed) {
        qWarning() << "Update check failed:" << info.error;
    }
    emit finished(info, interactive);
}

UpdateInfo UpdateChecker::parseFeed(const QByteArray& xml, const QVersionNumber& current)
{
    UpdateInfo info;
    if (xml.size() > kMaxFeedBytes) {
        info.error =
            QStringLiteral("The update feed is larger than %1 KiB; it was not read.").arg(kMaxFeedBytes / 1024);
        return info;
    }
    // Deep nesting and entities would keep the DOM parser busy (and the window frozen) for long.
    QString refusal;
    if (!servicexml::preflight(QString::fromUtf8(xml), &refusal)) {
        info.error = QStringLiteral("The update feed could not be read (%1).").arg(refusal);
        return info;
    }
    QDomDocument doc;
    QString parseError;
    int line = 0;
    if (!doc.setContent(xml, true, &parseError, &line)) {
        info.error = QStringLiteral("The update feed could not be read (%1, line %2).").arg(parseError).arg(line);
        return info;
    }
    const QDomNodeList items = doc.elementsByTagName(QStringLiteral("item"));
    QVersionNumber newest;
    for (int i = 0; i < items.size(); ++i) {
        const QDomElement item = items.at(i).toElement();
        const QVersionNumber version = QVersionNumber::fromString(itemVersion(item));
        if (version.isNull() || (!newest.isNull() && version <= newest)) {
            continue;
        }
        newest = version;
        info.version = version.toString();
        info.releaseNotes = httpUrl(sparkleText(item, QStringLiteral("releaseNotesLink")));
        info.download = httpUrl(item.firstChildElement(QStringLiteral("enclosure")).attribute(QStringLiteral("url")));
        if (info.download.isEmpty()) {
            info.download = httpUrl(item.firstChildElement(QStringLiteral("link")).text());
        }
    }
    if (newest.isNull()) {
        info.error = QStringLiteral("The update feed names no version.");
        return info;
    }
    info.status = newest > current ? UpdateInfo::Status::UpdateAvailable : UpdateInfo::Status::UpToDate;
    return info;
}
