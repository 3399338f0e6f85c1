#include "ModalDialogHelper.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QPointer>
#include <QTimer>

namespace {
QList<QPointer<QTimer>> pending;
} // namespace

void onNextModal(std::function<void(QWidget*)> handler, int timeoutMs)
{
    auto* poll = new QTimer;
    pending.append(poll);
    const QDeadlineTimer deadline(timeoutMs);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, handler = std::move(handler), deadline] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal && modal->isVisible()) {
            poll->stop();
            poll->deleteLater();
            handler(modal);
        } else if (deadline.hasExpired()) {
            poll->stop();
            poll->deleteLater();
        }
    });
    poll->start(10);
}

void cancelModalHandlers()
{
    for (const QPointer<QTimer>& timer : pending)
        delete timer.data();
    pending.clear();
}
