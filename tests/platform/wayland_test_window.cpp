// A Wayland client window whose app id and title the test chooses, in a process of its own.
// Usage: wayland_test_window APP_ID TITLE; each line "title TEXT" on stdin retitles it, end of input
// closes it. Prints "mapped" once the compositor has shown the window.
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

class Window : public QRasterWindow
{
protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(QRect(QPoint(0, 0), size()), Qt::darkCyan); }
    void exposeEvent(QExposeEvent* event) override
    {
        QRasterWindow::exposeEvent(event);
        if (isExposed() && !announced) {
            announced = true;
            std::printf("mapped\n");
            std::fflush(stdout);
        }
    }

private:
    bool announced = false;
};

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s APP_ID TITLE\n", argv[0]);
        return 2;
    }
    QGuiApplication app(argc, argv);
    // Qt sends the desktop file name as the window's app id.
    QGuiApplication::setDesktopFileName(QString::fromUtf8(argv[1]));
    Window window;
    window.setTitle(QString::fromUtf8(argv[2]));
    window.resize(320, 200);
    window.show();

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray buffer;
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char chunk[4096];
        const ssize_t n = ::read(STDIN_FILENO, chunk, sizeof(chunk));
        if (n <= 0) {
            QGuiApplication::quit();
            return;
        }
        buffer.append(chunk, n);
        for (qsizetype end = buffer.indexOf('\n'); end >= 0; end = buffer.indexOf('\n')) {
            const QByteArray line = buffer.left(end);
            buffer.remove(0, end + 1);
            if (line.startsWith("title ")) {
                window.setTitle(QString::fromUtf8(line.mid(6)));
            }
        }
    });
    return app.exec();
}
