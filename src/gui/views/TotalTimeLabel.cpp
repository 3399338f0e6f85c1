#include "views/TotalTimeLabel.h"

#include <QEvent>

TotalTimeLabel::TotalTimeLabel(QWidget* parent) : QLabel(parent) {}

void TotalTimeLabel::setTotal(const QString& text)
{
    if (text.size() > fittedLength) {
        fitWidth(text);
    }
    setText(text);
}

void TotalTimeLabel::fitWidth(const QString& text)
{
    // Totals differ in their digits only; measured with the widest digit, a text of this length
    // always fits, whatever its digits.
    QString widest = text;
    for (QChar& c : widest) {
        if (c.isDigit()) {
            c = QLatin1Char('8');
        }
    }
    QString measured = widest;
    for (const QChar digit : QStringLiteral("0123456789")) {
        const QString candidate = QString(widest).replace(QLatin1Char('8'), digit);
        if (fontMetrics().horizontalAdvance(candidate) > fontMetrics().horizontalAdvance(measured)) {
            measured = candidate;
        }
    }
    const QMargins margins = contentsMargins();
    const int width = fontMetrics().horizontalAdvance(measured) + 2 * margin() + margins.left() + margins.right() + 2;
    const int height =
        std::max(minimumSizeHint().height(), fontMetrics().height() + 2 * margin() + margins.top() + margins.bottom());
    fittedLength = text.size();
    setFixedSize(std::max(width, minimumWidth() == maximumWidth() ? minimumWidth() : 0), height);
}

void TotalTimeLabel::changeEvent(QEvent* event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        fittedLength = -1; // measure again with the new font
        setMinimumSize(0, 0);
        setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        fitWidth(text());
    }
}
