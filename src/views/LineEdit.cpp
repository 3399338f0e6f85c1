#include "views/LineEdit.h"

#include <QStyle>
#include <QToolButton>

LineEdit::LineEdit(QWidget* parent) : QLineEdit(parent), button(new QToolButton(this))
{
    const QPixmap pixmap(QStringLiteral(":/icons/res/clear.png"));
    button->setObjectName(QStringLiteral("clearButton"));
    button->setIcon(QIcon(pixmap));
    button->setIconSize(pixmap.size());
    button->setCursor(Qt::ArrowCursor);
    button->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 0px; }"));
    button->hide();
    connect(button, &QToolButton::clicked, this, &QLineEdit::clear);
    connect(this, &QLineEdit::textChanged, this, &LineEdit::updateCloseButton);

    const int frame = style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
    setStyleSheet(QStringLiteral("QLineEdit { padding-right: %1px; } ").arg(button->sizeHint().width() + frame + 1));
    const QSize minimum = minimumSizeHint();
    setMinimumSize(qMax(minimum.width(), button->sizeHint().width() + frame * 2 + 2),
                   qMax(minimum.height(), button->sizeHint().height() + frame * 2 + 2));
}

void LineEdit::updateCloseButton(const QString& text)
{
    button->setVisible(!text.isEmpty());
}

void LineEdit::resizeEvent(QResizeEvent* event)
{
    QLineEdit::resizeEvent(event);
    const QSize size = button->sizeHint();
    const int frame = style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
    button->move(rect().right() - frame - size.width(), (rect().bottom() + 1 - size.height()) / 2);
}
