#include "views/CachedTextDelegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>
#include <QStyle>
#include <QtMath>

void CachedTextDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    // What the cache cannot draw the way the style would goes to the style: wrapped or multi-line
    // text, right-to-left layouts, a cell being edited.
    const bool plain = !opt.text.isEmpty() && !(opt.features & QStyleOptionViewItem::WrapText) &&
                       opt.direction == Qt::LeftToRight && !(opt.state & QStyle::State_Editing) &&
                       !opt.text.contains(QLatin1Char('\n')) && !opt.text.contains(QChar::LineSeparator);
    const QWidget* widget = opt.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    if (!plain) {
        style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);
        return;
    }
    // The same text area and colours as the style's own item drawing. The area is what the icon and
    // check box leave of the cell, whatever the text; a one-letter stand-in spares shaping the real one.
    const QString text = opt.text;
    opt.text = QStringLiteral(" ");
    const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
    const QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, widget).adjusted(margin, 0, -margin, 0);
    QPalette::ColorGroup group = opt.state & QStyle::State_Enabled ? QPalette::Normal : QPalette::Disabled;
    if (group == QPalette::Normal && !(opt.state & QStyle::State_Active)) {
        group = QPalette::Inactive;
    }
    const QColor colour =
        opt.palette.color(group, opt.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text);
    opt.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);
    if (area.width() <= 0) {
        return;
    }

    const QStaticText& laidOut = shaped(text, opt.font, area.width(), opt.textElideMode);
    const QSizeF size = laidOut.size();
    qreal x = area.left();
    const Qt::Alignment horizontal = QStyle::visualAlignment(opt.direction, opt.displayAlignment);
    if (horizontal & Qt::AlignRight) {
        x = area.left() + area.width() - size.width();
    } else if (horizontal & Qt::AlignHCenter) {
        x = area.left() + (area.width() - size.width()) / 2;
    }
    // Vertically the style places the text's whole-pixel height in the cell.
    const QSize whole(qCeil(size.width()), qCeil(size.height()));
    const qreal y = QStyle::alignedRect(opt.direction, opt.displayAlignment, whole, area).top();
    painter->save();
    painter->setFont(opt.font);
    painter->setPen(colour);
    painter->setClipRect(area, Qt::IntersectClip);
    painter->drawStaticText(QPointF(x, y), laidOut);
    painter->restore();
}

const QStaticText& CachedTextDelegate::shaped(const QString& text, const QFont& font, int width,
                                              Qt::TextElideMode mode) const
{
    // Fonts are told apart by their place in a short list: a tree uses one or two, and QFont::key()
    // costs more than drawing the text.
    qsizetype fontIndex = fonts.indexOf(font);
    if (fontIndex < 0) {
        if (fonts.size() >= kMaxFonts) {
            fonts.clear();
            texts.clear();
        }
        fonts.append(font);
        fontIndex = fonts.size() - 1;
    }
    const QString key = QString::number(fontIndex) + QLatin1Char('\x1f') + QString::number(width) +
                        QLatin1Char('\x1f') + QString::number(int(mode)) + QLatin1Char('\x1f') + text;
    if (const QStaticText* found = texts.object(key)) {
        return *found;
    }
    auto* laidOut = new QStaticText(text);
    laidOut->setTextFormat(Qt::PlainText);
    laidOut->setPerformanceHint(QStaticText::AggressiveCaching);
    laidOut->prepare(QTransform(), font);
    // Most texts fit: they are shaped once, and only one that is too wide is measured again to be cut.
    if (mode != Qt::ElideNone && laidOut->size().width() > width) {
        laidOut->setText(QFontMetrics(font).elidedText(text, mode, width));
        laidOut->prepare(QTransform(), font);
    }
    texts.insert(key, laidOut);
    return *laidOut;
}
