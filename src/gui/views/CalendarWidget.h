#pragma once

#include <QCalendarWidget>
#include <QColor>
#include <QDate>
#include <QList>
#include <QPen>

// The day picker: today framed (red by default), days with unlinked time in a heavy underlined font.
class CalendarWidget : public QCalendarWidget
{
    Q_OBJECT

public:
    explicit CalendarWidget(QWidget* parent = nullptr);

    QDate getCurrentDate() const { return currentDate; }
    void setCurrentDate(const QDate& date);
    void setColor(const QColor& color);
    QColor getColor() const { return pen.color(); }

    // Clears every mark, then marks these days.
    void markDays(const QList<QDate>& days);
    bool isMarked(const QDate& date) const;

protected:
    void paintCell(QPainter* painter, const QRect& rect, QDate date) const override;

private:
    QDate currentDate;
    QPen pen;
    QBrush brush;
};
