#include "views/DayTimeline.h"

#include "reports/TreeModel.h"
#include "store/util.h"
#include "views/StableColour.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTime>
#include <QToolTip>

#include <algorithm>

namespace {
constexpr int kAxisHeight = 14;
constexpr int kBarHeight = 22;
constexpr int kMargin = 4;
constexpr int kDragThreshold = 3;
const QString kAwayPath = QStringLiteral("verrin://idle");

bool bySegmentStart(const DayTimeline::Segment& a, const DayTimeline::Segment& b)
{
    return a.start < b.start || (a.start == b.start && a.id < b.id);
}

QString clock(int second)
{
    return QTime(0, 0).addSecs(qBound(0, second, 86399)).toString(QStringLiteral("hh:mm:ss"));
}
} // namespace

DayTimeline::DayTimeline(QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void DayTimeline::setModels(TreeModel* unlinked, TreeModel* linked)
{
    unlinkedModel = unlinked;
    linkedModel = linked;
    for (TreeModel* model : {unlinked, linked}) {
        if (!model) {
            continue;
        }
        // Many changes come at once (a rebuild removes and inserts every row): they only mark the
        // strip stale. The changes of one placed row are covered by rowPlaced.
        const auto changed = [this, model] {
            if (!model->isPlacingRow()) {
                markStale();
            }
        };
        connect(model, &QAbstractItemModel::modelReset, this, &DayTimeline::markStale);
        connect(model, &QAbstractItemModel::rowsInserted, this, changed);
        connect(model, &QAbstractItemModel::rowsRemoved, this, &DayTimeline::markStale);
        connect(model, &QAbstractItemModel::dataChanged, this, changed);
        connect(model, &QAbstractItemModel::layoutChanged, this, &DayTimeline::markStale);
        connect(model, &TreeModel::rowPlaced, this, [this, model](const DayRow& row) { takeRow(model, row); });
    }
    markStale();
}

void DayTimeline::markStale()
{
    stale = true;
    update(); // nothing happens while the strip is not on screen
}

void DayTimeline::refresh() const
{
    if (stale) {
        build();
    }
}

void DayTimeline::rebuild()
{
    build();
    update();
}

void DayTimeline::build() const
{
    stale = false;
    shownSegments.clear();
    for (TreeModel* model : {unlinkedModel.data(), linkedModel.data()}) {
        if (!model) {
            continue;
        }
        const bool linked = model == linkedModel.data();
        const QHash<int, ShownRows::Row>& rows = model->shownRows().all();
        for (auto row = rows.cbegin(); row != rows.cend(); ++row) {
            // A row of an older database that runs past midnight counts on its start day.
            shownSegments.append(
                {row.key(), row->startSecond, std::min(86400, row->startSecond + row->seconds), linked, row->texts});
        }
    }
    std::sort(shownSegments.begin(), shownSegments.end(), bySegmentStart);
    fitAxis();
}

void DayTimeline::takeRow(const TreeModel* model, const DayRow& row)
{
    if (stale) {
        return; // the next build reads it with the rest
    }
    const Segment segment{row.id, row.startSecond, std::min(86400, row.startSecond + row.seconds),
                          model == linkedModel.data(), model->shownRows().value(row.id).texts};
    // The recorder's rows come in order, so a new one almost always belongs at the end.
    auto same = std::find_if(shownSegments.rbegin(), shownSegments.rend(),
                             [&segment](const Segment& shown) { return shown.id == segment.id; });
    QRect before;
    if (same != shownSegments.rend()) {
        before = segmentRect(*same);
        shownSegments.erase(std::next(same).base());
    }
    shownSegments.insert(std::upper_bound(shownSegments.begin(), shownSegments.end(), segment, bySegmentStart),
                         segment);
    const int oldFirst = first;
    const int oldLast = last;
    fitAxis();
    // While the axis stays, only the stretch itself looks different.
    if (first == oldFirst && last == oldLast) {
        update(segmentRect(segment).united(before));
    } else {
        update();
    }
}

void DayTimeline::fitAxis() const
{
    if (shownSegments.isEmpty()) {
        first = 0;
        last = 3600;
        return;
    }
    first = shownSegments.first().start / 60 * 60;
    int end = 0;
    for (const Segment& segment : std::as_const(shownSegments)) {
        end = std::max(end, segment.end);
    }
    last = std::max(first + 60, (end + 59) / 60 * 60);
}

QSize DayTimeline::sizeHint() const
{
    return {600, minimumSizeHint().height()};
}

QSize DayTimeline::minimumSizeHint() const
{
    return {200, kAxisHeight + kBarHeight + 2 * kMargin};
}

QRect DayTimeline::barRect() const
{
    return QRect(kMargin, kMargin + kAxisHeight, width() - 2 * kMargin, kBarHeight);
}

int DayTimeline::xOf(int second) const
{
    const QRect bar = barRect();
    return bar.left() + int(qint64(second - first) * bar.width() / std::max(1, last - first));
}

QRect DayTimeline::segmentRect(const Segment& segment) const
{
    const QRect bar = barRect();
    const int left = xOf(segment.start);
    // Every stretch gets at least a pixel, so a busy day's short stretches stay visible.
    const int right = std::max(left + 1, xOf(segment.end));
    return QRect(left, bar.top(), right - left, bar.height());
}

QColor DayTimeline::colourFor(const Segment& segment)
{
    const QString path = segment.texts ? segment.texts->appPath : QString();
    if (path == kAwayPath) {
        return QColor(170, 170, 170);
    }
    return stableColour(path);
}

void DayTimeline::paintEvent(QPaintEvent*)
{
    refresh();
    QPainter painter(this);
    const QRect bar = barRect();
    painter.fillRect(bar, palette().color(QPalette::Base));

    // Hour marks, as many as fit without their labels touching.
    const QFontMetrics metrics(font());
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("00:00")) + 8;
    const int span = std::max(1, last - first);
    int step = 3600;
    for (const int candidate : {900, 1800, 3600, 7200, 10800, 21600, 43200}) {
        step = candidate;
        if (qint64(candidate) * bar.width() / span >= labelWidth) {
            break;
        }
    }
    painter.setPen(palette().color(QPalette::Mid));
    for (int second = (first + step - 1) / step * step; second <= last; second += step) {
        const int x = xOf(second);
        painter.drawLine(x, bar.top() - 3, x, bar.bottom());
        // A label at either end stays whole inside the widget rather than centred on its mark.
        const int left = std::clamp(x - labelWidth / 2, 0, std::max(0, width() - labelWidth));
        painter.drawText(QRect(left, kMargin, labelWidth, kAxisHeight), Qt::AlignCenter,
                         QTime(0, 0).addSecs(second % 86400).toString(QStringLiteral("hh:mm")));
    }

    // On a busy day many stretches share a pixel column: paint each column once.
    int paintedUpTo = -1;
    for (const Segment& segment : std::as_const(shownSegments)) {
        const QRect rect = segmentRect(segment);
        if (rect.right() <= paintedUpTo) {
            continue;
        }
        paintedUpTo = rect.right();
        const QColor colour = colourFor(segment);
        painter.fillRect(rect, colour);
        if (segment.linked) {
            painter.fillRect(rect, QBrush(colour.darker(170), Qt::BDiagPattern));
            painter.fillRect(QRect(rect.left(), rect.bottom() - 3, rect.width(), 4), colour.darker(200));
        }
    }
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(bar.adjusted(0, 0, -1, -1));

    if (pressX >= 0 && dragX >= 0 && std::abs(dragX - pressX) >= kDragThreshold) {
        QColor band = palette().color(QPalette::Highlight);
        band.setAlpha(90);
        painter.fillRect(
            QRect(QPoint(std::min(pressX, dragX), bar.top()), QPoint(std::max(pressX, dragX), bar.bottom())), band);
    }
}

const DayTimeline::Segment* DayTimeline::segmentAtX(int x) const
{
    refresh();
    const Segment* found = nullptr;
    for (const Segment& segment : shownSegments) {
        const QRect rect = segmentRect(segment);
        if (rect.left() > x) {
            break;
        }
        if (x <= rect.right()) {
            found = &segment; // the latest stretch drawn there, as it is the one on top
        }
    }
    return found;
}

bool DayTimeline::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const Segment* segment = barRect().contains(help->pos()) ? segmentAtX(help->pos().x()) : nullptr;
        if (!segment) {
            QToolTip::hideText();
            event->ignore();
            return true;
        }
        const ShownRows::Texts texts = segment->texts ? *segment->texts : ShownRows::Texts();
        const QString text =
            QStringLiteral("<b>%1</b><br>%2<br>%3 \u2013 %4 (%5)%6")
                .arg(texts.appName.toHtmlEscaped(), util::one_line(texts.title).left(200).toHtmlEscaped(),
                     clock(segment->start), clock(segment->end), util::format_time(segment->end - segment->start),
                     segment->linked ? QStringLiteral("<br>linked") : QString());
        QToolTip::showText(help->globalPos(), text, this, segmentRect(*segment));
        return true;
    }
    return QWidget::event(event);
}

void DayTimeline::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        pressX = dragX = int(event->position().x());
    }
}

void DayTimeline::mouseMoveEvent(QMouseEvent* event)
{
    if (pressX >= 0 && (event->buttons() & Qt::LeftButton)) {
        dragX = int(event->position().x());
        update();
    }
}

void DayTimeline::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || pressX < 0) {
        return;
    }
    const int x = int(event->position().x());
    if (std::abs(x - pressX) < kDragThreshold) {
        if (const Segment* segment = segmentAtX(x)) {
            QSet<int> picked{segment->id};
            emit entriesPicked(segment->linked ? QSet<int>() : picked, segment->linked ? picked : QSet<int>());
        }
    } else {
        pickSpan(std::min(pressX, x), std::max(pressX, x));
    }
    pressX = dragX = -1;
    update();
}

void DayTimeline::pickSpan(int fromX, int toX)
{
    QSet<int> unlinked;
    QSet<int> linked;
    for (const Segment& segment : segments()) {
        const QRect rect = segmentRect(segment);
        if (rect.right() >= fromX && rect.left() <= toX) {
            (segment.linked ? linked : unlinked).insert(segment.id);
        }
    }
    if (!unlinked.isEmpty() || !linked.isEmpty()) {
        emit entriesPicked(unlinked, linked);
    }
}
