// The floor the program benchmark is read against: a Qt widgets program on the same display whose
// only work is a 1 s timer, as the recorder's tick. What a wake-up costs differs from machine to
// machine (and with how busy it is), so the figures of the real program mean most beside this one.
#include <QApplication>
#include <QTimer>
#include <QWidget>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QWidget window;
    window.setWindowTitle(QStringLiteral("Timer floor"));
    window.showMinimized();
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    int ticks = 0;
    QObject::connect(&tick, &QTimer::timeout, [&ticks] { ++ticks; });
    tick.start(1000);
    return app.exec();
}
