#include "recording/SampleScheduler.h"

#include "platform/Platform.h"
#include "recording/Recorder.h"

SampleScheduler::SampleScheduler(Recorder* recorder, Platform* platform, QObject* parent)
    : QObject(parent), recorder(recorder), platform(platform), timer(this)
{
    timer.setObjectName(QStringLiteral("samplingTimer"));
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &SampleScheduler::sample);
}

void SampleScheduler::start()
{
    if (active) {
        return;
    }
    active = true;
    announced = platform->announceChanges([this] { sampleSoon(); });
    // Without announcements the timer repeats and keeps its phase; with them each sample plans the next.
    timer.setSingleShot(announced);
    sinceSample.invalidate();
    timer.start(kSecondMs);
}

void SampleScheduler::stop()
{
    if (!active) {
        return;
    }
    active = false;
    timer.stop();
    if (announced) {
        platform->announceChanges({});
        announced = false;
    }
}

void SampleScheduler::sample()
{
    sinceSample.start();
    recorder->updateApps();
    if (!announced || !active) {
        return; // asked every second, or the sample stopped recording (a write failed)
    }
    const int seconds = platform->answerMayHaveChanged() ? 1 : recorder->secondsUntilSampleDue();
    timer.start(int(qMax<qint64>(0, qint64(seconds) * kSecondMs - sinceSample.elapsed())));
}

void SampleScheduler::sampleSoon()
{
    if (!active || !announced) {
        return; // asked every second, the next sample is less than a second away
    }
    // Never two samples within a second: a title that changes all the time costs what asking every second costs.
    const qint64 wait = sinceSample.isValid() ? kSecondMs - sinceSample.elapsed() : 0;
    if (wait <= 0) {
        timer.stop();
        sample();
    } else if (!timer.isActive() || timer.remainingTime() > wait) {
        timer.start(int(wait));
    }
}
