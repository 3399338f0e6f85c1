#include "views/CalendarWidget.h"

#include <QPainter>
#include <QTextCharFormat>

CalendarWidget::CalendarWidget(QWidget* parent)
    : QCalendarWidget(parent), currentDate(QDate::currentDate()), pen(QColor(Qt::red)), brush(Qt::transparent)
{
}

void CalendarWidget::setCurrentDate(const QDate& date)
{
    currentDate = date;
    updateCells();
}

void CalendarWidget::setColor(const QColor& color)
{
    pen.setColor(color);
    updateCells();
}

void CalendarWidget::markDays(const QList<QDate>& days)
{
    setDateTextFormat(QDate(), QTextCharFormat());
    QTextCharFormat marked;
    marked.setFontWeight(QFont::Black);
    marked.setFontUnderline(true);
    for (const QDate& day : days) {
        setDateTextFormat(day, marked);
    }
}

bool CalendarWidget::isMarked(const QDate& date) const
{
    return dateTextFormat(date).fontUnderline();
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
