#include "views/LineEdit.h"

#include <QStyle>
#include <QToolButton>

LineEdit::LineEdit(QWidget* parent) : QLineEdit(parent), clearButtonWidget(new QToolButton(this))
{
    const QPixmap pixmap(QStringLiteral(":/icons/res/clear.png"));
    clearButtonWidget->setIcon(QIcon(pixmap));
    clearButtonWidget->setIconSize(pixmap.size());
    clearButtonWidget->setCursor(Qt::ArrowCursor);
    clearButtonWidget->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 0px; }"));
    clearButtonWidget->hide();
    connect(clearButtonWidget, &QToolButton::clicked, this, &QLineEdit::clear);
    connect(this, &QLineEdit::textChanged, this, &LineEdit::updateCloseButton);
    const int frameWidth = style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
    // Text never runs under the button.
    setStyleSheet(QStringLiteral("QLineEdit { padding-right: %1px; } ")
                      .arg(clearButtonWidget->sizeHint().width() + frameWidth + 1));
    const QSize minimum = minimumSizeHint();
    setMinimumSize(qMax(minimum.width(), clearButtonWidget->sizeHint().width() + frameWidth * 2 + 2),
                   qMax(minimum.height(), clearButtonWidget->sizeHint().height() + frameWidth * 2 + 2));
}

void LineEdit::resizeEvent(QResizeEvent* event)
{
    QLineEdit::resizeEvent(event);
    const QSize size = clearButtonWidget->sizeHint();
    const int frameWidth = style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
    clearButtonWidget->move(rect().right() - frameWidth - size.width(), (rect().bottom() + 1 - size.height()) / 2);
}

void LineEdit::updateCloseButton(const QString& text)
{
    clearButtonWidget->setVisible(!text.isEmpty());
}
