#pragma once

#include "reports/ShownRows.h"

#include <QList>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QWidget>

class TreeModel;
struct DayRow;

// The shown day as a strip of coloured stretches on a time axis, from its first to its last recorded
// minute: one colour per application, away time grey, linked time hatched with a dark band. It draws
// what the two trees show (so it follows their filters and the hide-under threshold) and keeps up as
// they change. Hovering names a stretch; a click picks it, a drag picks every stretch it crosses.
//
// Recording adds a row every few seconds, mostly while nobody looks: a change only marks the strip
// stale, and the models are read again when it is painted or asked for its segments, so a hidden or
// minimised window costs nothing here. A row the recorder adds or lengthens goes in by itself.
class DayTimeline : public QWidget
{
    Q_OBJECT

public:
    struct Segment
    {
        int id = 0;
        int start = 0; // seconds into the day
        int end = 0;
        bool linked = false;
        // Shared with the tree's row: a day holds thousands of segments and a few dozen texts.
        std::shared_ptr<const ShownRows::Texts> texts;
    };

    explicit DayTimeline(QWidget* parent = nullptr);

    void setModels(TreeModel* unlinked, TreeModel* linked);
    // Reads the models again now (normally it happens when the strip is next painted or asked).
    void rebuild();
    bool isStale() const { return stale; }

    const QList<Segment>& segments() const
    {
        refresh();
        return shownSegments;
    }
    // Where a stretch is drawn; empty when it is not (or is narrower than a pixel's fraction).
    QRect segmentRect(const Segment& segment) const;
    static QColor colourFor(const Segment& segment);
    // The first and last second the axis shows.
    int firstSecond() const
    {
        refresh();
        return first;
    }
    int lastSecond() const
    {
        refresh();
        return last;
    }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    // The entries the user picked, unlinked and linked apart, to be selected in their trees.
    void entriesPicked(const QSet<int>& unlinked, const QSet<int>& linked);

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void refresh() const;
    void build() const;
    void markStale();
    void takeRow(const TreeModel* model, const DayRow& row);
    void fitAxis() const;
    QRect barRect() const;
    int xOf(int second) const;
    const Segment* segmentAtX(int x) const;
    void pickSpan(int fromX, int toX);

    QPointer<TreeModel> unlinkedModel;
    QPointer<TreeModel> linkedModel;
    // Built on demand from const accessors, hence mutable.
    mutable QList<Segment> shownSegments; // by start, then id
    mutable int first = 0;
    mutable int last = 3600;
    mutable bool stale = true;
    int pressX = -1;
    int dragX = -1;
};
