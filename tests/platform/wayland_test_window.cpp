// wayland_test_window APP_ID TITLE: prints "mapped" once shown; "title TEXT" on stdin retitles, end of input quits.
#include <QFile>
#include <QGuiApplication>
#include <QRasterWindow>
#include <QSocketNotifier>

#include <cstdio>

class Window : public QRasterWindow
{
protected:
    void exposeEvent(QExposeEvent* event) override
    {
        QRasterWindow::exposeEvent(event);
        if (isExposed() && !std::exchange(announced, true)) {
            std::printf("mapped\n");
            std::fflush(stdout);
        }
    }

private:
    bool announced = false;
};

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(QString::fromUtf8(argv[1])); // Qt sends it as the app id
    Window window;
    window.setTitle(QString::fromUtf8(argv[2]));
    window.resize(320, 200);
    window.show();

    // Unbuffered, so each line read leaves the rest in the pipe for the next notice; the test writes whole lines.
    QFile input;
    input.open(stdin, QIODevice::ReadOnly | QIODevice::Unbuffered);
    QSocketNotifier notifier(input.handle(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
        const QByteArray line = input.readLine();
        if (line.isEmpty()) {
            QGuiApplication::quit();
        } else if (line.startsWith("title ")) {
            window.setTitle(QString::fromUtf8(line.mid(6).trimmed()));
        }
    });
    return app.exec();
}
