#pragma once

#include "recording/AppStruct.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QTimer>

class Clock;
class TreeModel;

// Hands newly recorded time to the day tree. While the program is in front it goes in at once; while
// the user works in other windows it goes in at most once a minute: at once if nothing went in during
// the last minute, else held until the minute is over, or until the program comes to the front.
// Placing a piece repaints the trees, the timeline and the totals, which cost more than recording it
// when windows switch every few seconds.
class RecordedTimeFeed : public QObject
{
    Q_OBJECT

public:
    static constexpr int kHoldMs = 60 * 1000;

    RecordedTimeFeed(TreeModel* model, const Clock* clock, QObject* parent = nullptr);

    // Turning holding off places what was held.
    void setHolding(bool on);
    void add(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId, int entryId);
    void placeHeld();

private:
    struct Piece
    {
        QDateTime start;
        QDateTime end;
        AppStruct app;
        int appId = 0;
        int entryId = 0;
    };

    void place(const Piece& piece);

    TreeModel* model;
    const Clock* clock;
    bool holding = false;
    QDateTime lastPlaced;
    // In the order they were written; of a later write of the same entry the model adds only the growth.
    QList<Piece> held;
    QTimer placeTimer{this};
};
