#pragma once

#include "reports/RangeReport.h"

#include <QDate>
#include <QDialog>
#include <QList>
#include <QStringList>
#include <QWidget>

class QComboBox;
class QLabel;
class QTableWidget;

// Stacked bars, one per day, of the time of a week or a month, each bar split by application or task.
class SummaryChart : public QWidget
{
    Q_OBJECT
public:
    explicit SummaryChart(QWidget* parent = nullptr);

    // `seconds[day][series]`; series beyond the largest few are summed as "Other" by the caller.
    void setData(const QList<QDate>& days, const QStringList& series, const QList<QList<qint64>>& seconds);

    // The same colour for the same name everywhere.
    static QColor colourFor(const QString& name);

protected:
    void paintEvent(QPaintEvent* event) override;
    QSize sizeHint() const override { return {640, 220}; }

private:
    QList<QDate> days;
    QStringList series;
    QList<QList<qint64>> seconds;
};

// A week or a month at a glance: the chart of the days, the totals with their linked and unlinked
// shares, navigation by week and month, and an export of what is shown as CSV or JSON.
class SummaryWindow : public QDialog
{
    Q_OBJECT
public:
    enum class Span
    {
        Week,
        Month,
    };

    SummaryWindow(const QDate& day, QWidget* parent = nullptr);

    QDate firstDay() const { return from; }
    QDate lastDay() const { return to; }
    void setSpan(Span span);
    void setGrouping(RangeReport::By by);
    // Writes what is shown to `path`: JSON when it ends in ".json", else CSV.
    bool exportTo(const QString& path, QString* error) const;

    // The largest series drawn on their own; the rest are summed as "Other".
    static constexpr int kMaxSeries = 8;

public slots:
    void showPrevious();
    void showNext();
    void refresh();

private:
    void place(const QDate& day);
    void onExport();

    Span span = Span::Week;
    RangeReport::By grouping = RangeReport::By::Application;
    QDate from;
    QDate to;
    QLabel* period = nullptr;
    QComboBox* spanChoice = nullptr;
    QComboBox* groupChoice = nullptr;
    SummaryChart* chart = nullptr;
    QTableWidget* table = nullptr;
};
