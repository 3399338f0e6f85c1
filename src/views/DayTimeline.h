#pragma once

#include <QList>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QWidget>

class QTimer;
class TreeModel;

// The shown day as a strip of coloured stretches on a time axis, from its first to its last recorded
// minute: one colour per application, away time grey, linked time hatched with a dark band. It draws
// what the two trees show (so it follows their filters and the hide-under threshold) and keeps up as
// they change. Hovering names a stretch; a click picks it, a drag picks every stretch it crosses.
class DayTimeline : public QWidget
{
    Q_OBJECT

public:
    struct Segment
    {
        int id = 0;
        int start = 0; // seconds into the day
        int end = 0;
        QString appPath;
        QString appName;
        QString title;
        bool linked = false;
    };

    explicit DayTimeline(QWidget* parent = nullptr);

    void setModels(TreeModel* unlinked, TreeModel* linked);
    // Reads the models again now (normally it happens once the event loop runs after a change).
    void rebuild();

    const QList<Segment>& segments() const { return shownSegments; }
    // Where a stretch is drawn; empty when it is not (or is narrower than a pixel's fraction).
    QRect segmentRect(const Segment& segment) const;
    static QColor colourFor(const Segment& segment);
    // The first and last second the axis shows.
    int firstSecond() const { return first; }
    int lastSecond() const { return last; }

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
    QRect barRect() const;
    int xOf(int second) const;
    const Segment* segmentAtX(int x) const;
    void pickSpan(int fromX, int toX);

    QPointer<TreeModel> unlinkedModel;
    QPointer<TreeModel> linkedModel;
    QTimer* rebuildLater;
    QList<Segment> shownSegments; // by start
    int first = 0;
    int last = 3600;
    int pressX = -1;
    int dragX = -1;
};
