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
        const bool shown = modal && modal->isVisible();
        if (!shown && !deadline.hasExpired())
            return;
        poll->stop();
        poll->deleteLater();
        if (shown)
            handler(modal);
    });
    poll->start(10);
}

void cancelModalHandlers()
{
    for (const QPointer<QTimer>& timer : pending)
        delete timer.data();
    pending.clear();
}
