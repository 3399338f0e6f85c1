#include "views/SummaryWindow.h"

#include "app/Named.h"
#include "store/util.h"
#include "views/StableColour.h"

#include <QComboBox>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <numeric>

namespace {

QString seriesName(const RangeReport::Row& row)
{
    QStringList parts = row.keys;
    parts.removeAll(QString());
    return parts.join(QStringLiteral(" / "));
}

QTableWidgetItem* cell(const QString& text, Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignVCenter)
{
    auto* item = new QTableWidgetItem(text);
    item->setTextAlignment(alignment);
    return item;
}

} // namespace

SummaryChart::SummaryChart(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("summaryChart"));
    setMinimumHeight(160);
}

void SummaryChart::setData(const QList<QDate>& newDays, const QStringList& newSeries,
                           const QList<QList<qint64>>& newSeconds)
{
    days = newDays;
    series = newSeries;
    seconds = newSeconds;
    update();
}

QColor SummaryChart::colourFor(const QString& name)
{
    if (name == QLatin1String("Away Time")) {
        return QColor(170, 170, 170);
    }
    if (name == RangeReport::notLinkedKey()) {
        return QColor(215, 215, 215); // what is left to link stands apart from every task
    }
    return stableColour(name);
}

void SummaryChart::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().base());
    if (days.isEmpty()) {
        return;
    }
    qint64 highest = 1;
    for (const QList<qint64>& day : std::as_const(seconds)) {
        qint64 sum = 0;
        for (qint64 value : day) {
            sum += value;
        }
        highest = qMax(highest, sum);
    }
    const int labelHeight = fontMetrics().height() + 4;
    // Room above the bars for each day's total.
    const QRect area = rect().adjusted(8, 8 + labelHeight, -8, -labelHeight);
    const double slot = double(area.width()) / double(days.size());
    const int barWidth = qMax(2, int(slot * 0.7));
    for (int d = 0; d < days.size(); ++d) {
        const int x = area.left() + int(slot * d + (slot - barWidth) / 2);
        int bottom = area.bottom();
        for (int s = 0; s < series.size() && s < seconds.value(d).size(); ++s) {
            const int height = int(double(seconds.at(d).at(s)) / double(highest) * area.height());
            if (height <= 0) {
                continue;
            }
            painter.fillRect(QRect(x, bottom - height, barWidth, height), colourFor(series.at(s)));
            bottom -= height;
        }
        painter.setPen(palette().text().color());
        const qint64 daySum = std::accumulate(seconds.value(d).cbegin(), seconds.value(d).cend(), qint64(0));
        const QString total = daySum > 0 ? QStringLiteral("%1 h").arg(double(daySum) / 3600.0, 0, 'f', 1) : QString();
        if (fontMetrics().horizontalAdvance(total) <= int(slot)) {
            painter.drawText(QRect(int(area.left() + slot * d), bottom - labelHeight, int(slot), labelHeight),
                             Qt::AlignHCenter | Qt::AlignBottom, total);
        }
        const QString label =
            days.size() > 7 ? QString::number(days.at(d).day()) : days.at(d).toString(QStringLiteral("ddd d"));
        painter.drawText(QRect(int(area.left() + slot * d), area.bottom() + 2, int(slot), labelHeight),
                         Qt::AlignHCenter | Qt::AlignTop, label);
    }
}

SummaryWindow::SummaryWindow(const QDate& day, QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("SummaryWindow"));
    setWindowTitle(QStringLiteral("Summary"));
    auto* layout = new QVBoxLayout(this);
    auto* bar = new QHBoxLayout;
    auto* previous = named(new QPushButton(QStringLiteral("<")), "btnPrevious");
    auto* next = named(new QPushButton(QStringLiteral(">")), "btnNext");
    period = named(new QLabel, "labelPeriod");
    spanChoice = named(new QComboBox, "cbSpan");
    spanChoice->addItems({QStringLiteral("Week"), QStringLiteral("Month")});
    groupChoice = named(new QComboBox, "cbGrouping");
    groupChoice->addItems({QStringLiteral("By Application"), QStringLiteral("By Task")});
    auto* exportButton = named(new QPushButton(QStringLiteral("Export...")), "btnExport");
    bar->addWidget(previous);
    bar->addWidget(period, 1, Qt::AlignCenter);
    bar->addWidget(next);
    bar->addWidget(spanChoice);
    bar->addWidget(groupChoice);
    bar->addWidget(exportButton);
    layout->addLayout(bar);
    chart = new SummaryChart;
    layout->addWidget(chart, 1);
    table = named(new QTableWidget(0, 5), "tableTotals");
    table->setHorizontalHeaderLabels({QStringLiteral("Name"), QStringLiteral("Total"), QStringLiteral("Linked"),
                                      QStringLiteral("Unlinked"), QStringLiteral("Linked %")});
    table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    for (int column = 1; column < 5; ++column) {
        table->horizontalHeader()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    }
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    layout->addWidget(table, 1);
    resize(760, 560);

    connect(previous, &QPushButton::clicked, this, &SummaryWindow::showPrevious);
    connect(next, &QPushButton::clicked, this, &SummaryWindow::showNext);
    connect(spanChoice, &QComboBox::activated, this,
            [this](int index) { setSpan(index == 0 ? Span::Week : Span::Month); });
    connect(groupChoice, &QComboBox::activated, this,
            [this](int index) { setGrouping(index == 0 ? RangeReport::By::Application : RangeReport::By::Task); });
    connect(exportButton, &QPushButton::clicked, this, &SummaryWindow::onExport);
    place(day);
    refresh();
}

void SummaryWindow::place(const QDate& day)
{
    if (span == Span::Week) {
        from = day.addDays(1 - day.dayOfWeek());
        to = from.addDays(6);
    } else {
        from = QDate(day.year(), day.month(), 1);
        to = from.addMonths(1).addDays(-1);
    }
}

void SummaryWindow::setSpan(Span newSpan)
{
    span = newSpan;
    spanChoice->setCurrentIndex(span == Span::Week ? 0 : 1);
    place(from);
    refresh();
}

void SummaryWindow::setGrouping(RangeReport::By by)
{
    grouping = by;
    groupChoice->setCurrentIndex(by == RangeReport::By::Task ? 1 : 0);
    refresh();
}

void SummaryWindow::showPrevious()
{
    place(span == Span::Week ? from.addDays(-7) : from.addMonths(-1));
    refresh();
}

void SummaryWindow::showNext()
{
    place(span == Span::Week ? from.addDays(7) : from.addMonths(1));
    refresh();
}

void SummaryWindow::refresh()
{
    period->setText(span == Span::Week
                        ? QStringLiteral("%1 \u2013 %2")
                              .arg(from.toString(QStringLiteral("d MMM")), to.toString(QStringLiteral("d MMM yyyy")))
                        : from.toString(QStringLiteral("MMMM yyyy")));
    QString error;
    const QList<RangeReport::Row> totals = RangeReport::rows(from, to, grouping, &error);
    QStringList series;
    for (const RangeReport::Row& row : totals) {
        if (series.size() == kMaxSeries) {
            series << QStringLiteral("Other");
            break;
        }
        series << seriesName(row);
    }
    QList<QDate> days;
    QList<QList<qint64>> seconds;
    for (QDate day = from; day <= to; day = day.addDays(1)) {
        QList<qint64> values(series.size(), 0);
        for (const RangeReport::Row& row : RangeReport::rows(day, day, grouping, &error)) {
            const qsizetype index = series.indexOf(seriesName(row));
            values[index >= 0 && index < kMaxSeries ? index : series.size() - 1] += row.total();
        }
        days << day;
        seconds << values;
    }
    chart->setData(days, series, seconds);

    table->setRowCount(0);
    RangeReport::Row sum;
    const auto addRow = [this](const QString& name, const RangeReport::Row& row) {
        const int r = table->rowCount();
        table->insertRow(r);
        const Qt::Alignment right = Qt::AlignRight | Qt::AlignVCenter;
        table->setItem(r, 0, cell(name));
        table->setItem(r, 1, cell(util::format_time(int(row.total())), right));
        table->setItem(r, 2, cell(util::format_time(int(row.linked)), right));
        table->setItem(r, 3, cell(util::format_time(int(row.unlinked)), right));
        table->setItem(
            r, 4,
            cell(row.total() > 0 ? QStringLiteral("%1 %").arg(row.linked * 100 / row.total()) : QString(), right));
        table->item(r, 0)->setData(Qt::DecorationRole, SummaryChart::colourFor(name));
    };
    for (const RangeReport::Row& row : totals) {
        addRow(seriesName(row), row);
        sum.linked += row.linked;
        sum.unlinked += row.unlinked;
    }
    addRow(QStringLiteral("Total"), sum);
    QFont bold = table->font();
    bold.setBold(true);
    for (int column = 0; column < 5; ++column) {
        table->item(table->rowCount() - 1, column)->setFont(bold);
    }
    table->item(table->rowCount() - 1, 0)->setData(Qt::DecorationRole, QVariant());
}

bool SummaryWindow::exportTo(const QString& path, QString* error) const
{
    const DayReport::Format format =
        path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive) ? DayReport::Format::Json : DayReport::Format::Csv;
    QString failure;
    const QString text = RangeReport::render(from, to, grouping, format, &failure);
    if (!failure.isEmpty()) {
        *error = failure;
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0) {
        *error = file.errorString();
        return false;
    }
    return true;
}

void SummaryWindow::onExport()
{
    const QString suggested =
        QStringLiteral("verrinplus-%1-%2.csv").arg(from.toString(Qt::ISODate), to.toString(Qt::ISODate));
    const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Export Summary"), suggested,
                                                      QStringLiteral("CSV (*.csv);;JSON (*.json)"));
    if (path.isEmpty()) {
        return;
    }
    QString error;
    if (!exportTo(path, &error)) {
        QMessageBox::warning(this, QStringLiteral("Error"),
                             QStringLiteral("Could not export to %1: %2").arg(path, error));
    }
}
