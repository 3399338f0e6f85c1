#pragma once

#include <QLineEdit>

class QToolButton;

// A filter field with a clear button at its right end that shows only while there is text.
class LineEdit : public QLineEdit
{
    Q_OBJECT
public:
    explicit LineEdit(QWidget* parent = nullptr);

    QToolButton* clearButton() const { return button; }

public slots:
    void updateCloseButton(const QString& text);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QToolButton* button;
};
