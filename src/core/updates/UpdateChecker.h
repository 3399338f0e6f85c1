#pragma once

#include <QObject>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

class QNetworkAccessManager;
class QNetworkReply;

// What an update feed says about the newest release.
struct UpdateInfo
{
    enum class Status
    {
        UpToDate,
        UpdateAvailable,
        Failed
    };
    Status status = Status::Failed;
    QString version;   // newest version the feed offers
    QUrl releaseNotes; // page describing it (may be empty)
    QUrl download;     // where to get it (may be empty)
    QString error;     // why the check failed, for the log and the interactive box
};

// Reads an appcast feed (RSS items carrying a version, a release-notes link and a download link)
// and compares its newest item with the running version. One check at a time.
class UpdateChecker : public QObject
{
    Q_OBJECT
public:
    UpdateChecker(QNetworkAccessManager* network, const QUrl& feedUrl, const QString& currentVersion,
                  QObject* parent = nullptr);

    // `interactive` is handed back with the result so the caller knows whether to speak up when
    // nothing new was found. A check the user asks for while the quiet one is still waiting joins it:
    // its result is then shown as the user's.
    void check(bool interactive);
    bool isChecking() const { return reply != nullptr; }
    // Stops the check under way; nothing is reported.
    void cancel();

    void setTimeoutMs(int ms) { timeoutMs = ms; }

    static constexpr qint64 kMaxFeedBytes = 1024 * 1024;

    // Parses a feed document; exposed for tests of odd feeds.
    static UpdateInfo parseFeed(const QByteArray& xml, const QVersionNumber& current);

signals:
    // A check the user asked for is under way, for showing its progress.
    void checkingStarted();
    void finished(const UpdateInfo& info, bool interactive);

private:
    void onReplyFinished();

    QNetworkAccessManager* network;
    QUrl feedUrl;
    QVersionNumber currentVersion;
    QNetworkReply* reply = nullptr;
    int timeoutMs = 15000;
    bool interactiveWanted = false;
    bool cancelled = false;
    bool tooLarge = false;
};
