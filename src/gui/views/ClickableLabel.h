#pragma once

#include <QLabel>

// A label that tells when it is clicked or double-clicked.
class ClickableLabel : public QLabel
{
    Q_OBJECT

public:
    using QLabel::QLabel;

signals:
    void clicked();
    void doubleClicked();

protected:
    void mousePressEvent(QMouseEvent* event) override
    {
        QLabel::mousePressEvent(event);
        emit clicked();
    }
    void mouseDoubleClickEvent(QMouseEvent* event) override
    {
        QLabel::mouseDoubleClickEvent(event);
        emit doubleClicked();
    }
};
