#pragma once

#include <QCalendarWidget>
#include <QColor>
#include <QDate>

// The day picker: today is framed (in red by default), and the frame follows midnight.
class CalendarWidget : public QCalendarWidget
{
    Q_OBJECT
public:
    explicit CalendarWidget(QWidget* parent = nullptr);

    QDate getCurrentDate() const { return currentDate; }
    void setCurrentDate(const QDate& date);
    void setColor(const QColor& color);
    QColor getColor() const { return pen; }

    // Shows the dates in `dates` in a heavy, underlined font; every other date plainly.
    void markDates(const QList<QDate>& dates);

protected:
    void paintCell(QPainter* painter, const QRect& rect, QDate date) const override;

private:
    QDate currentDate;
    QColor pen = Qt::red;
    QColor brush = Qt::transparent;
};
