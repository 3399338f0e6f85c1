#pragma once

#include <QCache>
#include <QFont>
#include <QList>
#include <QStaticText>
#include <QStyledItemDelegate>

// Draws a cell's text from a laid-out copy kept across paints. Qt's own delegate shapes every text
// afresh on each paint, which is most of what a day tree costs when a recorded stretch repaints its
// rows once a window switch; titles and times repeat, so their shaping is done once.
class CachedTextDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    const QStaticText& shaped(const QString& text, const QFont& font, int width, Qt::TextElideMode mode) const;

    static constexpr qsizetype kMaxFonts = 8;
    mutable QList<QFont> fonts;
    mutable QCache<QString, QStaticText> texts{512};
};
