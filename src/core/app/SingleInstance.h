#pragma once

#include <QDate>
#include <QLocalSocket>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class DataFolderLock;
class QLocalServer;
class QLocalSocket;
class QTextStream;

// One running VerrinPlus per data folder: two recorders writing one database would record every
// second twice. The first instance holds a lock and listens; a later start asks it to come forward
// and then ends.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    // One line of the socket's protocol, read: "show", or "run COMMAND FROM TO" with two ISO dates.
    struct Request
    {
        enum Kind
        {
            Nothing,
            Show,
            Run
        } kind = Nothing;
        QString command;
        QDate from;
        QDate to;
    };
    static Request parseLine(const QString& line);

    // `dataFolder` decides which instances count as the same one.
    explicit SingleInstance(const QString& dataFolder, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is now the one instance. False when another instance holds the folder;
    // it has then been asked to show its window. A command-line run working on the folder is waited
    // for (up to `waitForRunMs`), since it ends by itself.
    bool claim(int waitForRunMs = 60000);
    // True when a window of VerrinPlus answers for this folder.
    static bool windowIsRunning(const QString& dataFolder);

    // A command-line run ("apply-rules", "check-links") that the window carries out for it, since the
    // window is the folder's one writer while it is open; returns the run's exit status, or kBusy
    // while the window is linking itself (the run is then tried again shortly).
    static constexpr int kBusy = -1;
    using CommandHandler = std::function<int(const QString& command, const QDate& from, const QDate& to,
                                             QTextStream& out, QTextStream& err)>;
    void setCommandHandler(CommandHandler handler) { commandHandler = std::move(handler); }
    // Hands `command` to the window of this folder and passes on its lines; false when no window
    // took it.
    static bool runInWindow(const QString& dataFolder, const QString& command, const QDate& from, const QDate& to,
                            QTextStream& out, QTextStream& err, int* exitCode);

    QString serverName() const { return name; }

signals:
    // Another start asked this instance to bring its window to the front.
    void activationRequested();

private:
    bool notifyRunningInstance();
    void handleLine(QLocalSocket* socket, const QString& line);
    void runHandedOver(QPointer<QLocalSocket> target, const QString& command, const QDate& from, const QDate& to);
    void listen();

    QString name;
    std::unique_ptr<DataFolderLock> lock;
    QLocalServer* server = nullptr;
    CommandHandler commandHandler;
};
