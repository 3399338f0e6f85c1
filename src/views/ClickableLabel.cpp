#include "views/ClickableLabel.h"

void ClickableLabel::mousePressEvent(QMouseEvent* event)
{
    QLabel::mousePressEvent(event);
    emit clicked();
}

void ClickableLabel::mouseDoubleClickEvent(QMouseEvent* event)
{
    QLabel::mouseDoubleClickEvent(event);
    emit doubleClicked();
}
