#pragma once

#include <QLineEdit>

class QToolButton;

// A line edit with a clear button at its right end, shown while there is text.
class LineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit LineEdit(QWidget* parent = nullptr);
    QToolButton* clearButton() const { return clearButtonWidget; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private slots:
    void updateCloseButton(const QString& text);

private:
    QToolButton* clearButtonWidget;
};
