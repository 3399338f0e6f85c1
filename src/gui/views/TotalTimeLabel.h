#pragma once

#include <QLabel>

// A running total ("1:23:45") that changes with every recorded stretch. A plain label asks the whole
// window to lay itself out again at each new text, measuring every widget's text on the way; this one
// keeps a fixed size that only grows when a longer text needs it, so a new total repaints the label
// and nothing else.
class TotalTimeLabel : public QLabel
{
    Q_OBJECT

public:
    explicit TotalTimeLabel(QWidget* parent = nullptr);

public slots:
    void setTotal(const QString& text);

protected:
    void changeEvent(QEvent* event) override;

private:
    void fitWidth(const QString& text);

    qsizetype fittedLength = -1; // the longest text the width was measured for
};
