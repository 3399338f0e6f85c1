#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the event loop, so a logout, `kill` or Ctrl+C
// ends the program the same orderly way as Exit (settings written, the running stretch saved).
class UnixSignalWatcher : public QObject
{
    Q_OBJECT
public:
    explicit UnixSignalWatcher(QObject* parent = nullptr);
    ~UnixSignalWatcher() override;

    // True once a signal came in, even if nothing was connected yet to hear it.
    bool terminationPending() const { return pending; }

signals:
    void terminationRequested(int signalNumber);

private:
    static void handle(int signalNumber);
    void readSignal();

    QSocketNotifier* notifier = nullptr;
    bool pending = false;
};
