#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class Platform;
class Recorder;

// Wakes the recorder for its samples while recording is on.
//
// A desktop that can only be asked is sampled every second. On one that announces its changes (X11
// with a window manager), a second in which nothing was announced would see the same window as the
// second before, so it is not sampled: the recorder is woken when the desktop says the front window or
// its title may have changed (at once, but never twice within a second), when the stretch in progress
// is due to be stored or the idle time due to be read, and every second while the user is away. A
// quiet desktop then costs a wake-up a minute instead of one a second; the stored rows are the same,
// but for a wall clock set back: the stretch then ends at the last sample, up to a minute before.
class SampleScheduler : public QObject
{
    Q_OBJECT
public:
    static constexpr int kSecondMs = 1000;

    SampleScheduler(Recorder* recorder, Platform* platform, QObject* parent = nullptr);

    // The first sample comes a second after starting.
    void start();
    void stop();
    bool isActive() const { return active; }
    // Something a sample would see may have changed (the desktop said so, or a setting): a sample now,
    // or a second after the last one.
    void sampleSoon();

private:
    void sample();

    Recorder* recorder;
    Platform* platform;
    QTimer timer;
    QElapsedTimer sinceSample;
    bool active = false;
    bool announced = false;
};
