#include "views/CalendarWidget.h"

#include <QPainter>
#include <QTextCharFormat>

CalendarWidget::CalendarWidget(QWidget* parent) : QCalendarWidget(parent), currentDate(QDate::currentDate()) {}

void CalendarWidget::setCurrentDate(const QDate& date)
{
    if (currentDate != date) {
        currentDate = date;
        updateCells();
    }
}

void CalendarWidget::setColor(const QColor& color)
{
    pen = color;
    updateCells();
}

void CalendarWidget::markDates(const QList<QDate>& dates)
{
    setDateTextFormat(QDate(), QTextCharFormat());
    QTextCharFormat marked;
    marked.setFontWeight(QFont::Black);
    marked.setFontUnderline(true);
    for (const QDate& date : dates) {
        setDateTextFormat(date, marked);
    }
}

void CalendarWidget::paintCell(QPainter* painter, const QRect& rect, QDate date) const
{
    QCalendarWidget::paintCell(painter, rect, date);
    if (date == currentDate) {
        painter->save();
        painter->setPen(pen);
        painter->setBrush(brush);
        painter->drawRect(rect.adjusted(0, 0, -1, -1));
        painter->restore();
    }
}
