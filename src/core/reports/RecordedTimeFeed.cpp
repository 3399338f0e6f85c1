#include "reports/RecordedTimeFeed.h"

#include "reports/TreeModel.h"

#include <utility>

RecordedTimeFeed::RecordedTimeFeed(TreeModel* model, QObject* parent) : QObject(parent), model(model)
{
    placeTimer.setObjectName(QStringLiteral("recordedTimeFeedTimer"));
    placeTimer.setSingleShot(true);
    placeTimer.setInterval(kHoldMs);
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
    if (!holding) {
        model->addTime(start, end, app, appId, entryId);
        return;
    }
    held.append({start, end, app, appId, entryId});
    if (!placeTimer.isActive()) {
        placeTimer.start();
    }
}

void RecordedTimeFeed::placeHeld()
{
    placeTimer.stop();
    const QList<Piece> pieces = std::exchange(held, {});
    for (const Piece& piece : pieces) {
        model->addTime(piece.start, piece.end, piece.app, piece.appId, piece.entryId);
    }
}
