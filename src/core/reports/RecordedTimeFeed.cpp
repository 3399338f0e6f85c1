#include "reports/RecordedTimeFeed.h"

#include "app/Clock.h"
#include "reports/TreeModel.h"

#include <utility>

RecordedTimeFeed::RecordedTimeFeed(TreeModel* model, const Clock* clock, QObject* parent)
    : QObject(parent), model(model), clock(clock)
{
    placeTimer.setObjectName(QStringLiteral("recordedTimeFeedTimer"));
    placeTimer.setSingleShot(true);
    connect(&placeTimer, &QTimer::timeout, this, &RecordedTimeFeed::placeHeld);
    // A rebuilt day is read from the database, which already has every held piece: placing them
    // afterwards would count them twice.
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { held.clear(); });
}

void RecordedTimeFeed::setHolding(bool on)
{
    holding = on;
    if (!holding) {
        placeHeld();
    }
}

void RecordedTimeFeed::add(const QDateTime& start, const QDateTime& end, const AppStruct& app, int appId, int entryId)
{
    const Piece piece{start, end, app, appId, entryId};
    if (!holding) {
        place(piece);
        return;
    }
    held.append(piece);
    // A clock set back counts as a minute gone by.
    const qint64 waited = lastPlaced.isValid() ? lastPlaced.msecsTo(clock->now()) : -1;
    if (waited < 0 || waited >= kHoldMs) {
        placeHeld();
    } else {
        placeTimer.start(int(kHoldMs - waited));
    }
}

void RecordedTimeFeed::placeHeld()
{
    placeTimer.stop();
    const QList<Piece> pieces = std::exchange(held, {});
    for (const Piece& piece : pieces) {
        place(piece);
    }
}

void RecordedTimeFeed::place(const Piece& piece)
{
    model->addTime(piece.start, piece.end, piece.app, piece.appId, piece.entryId);
    lastPlaced = clock->now();
}
