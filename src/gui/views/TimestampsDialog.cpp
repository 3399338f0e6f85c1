#include "views/TimestampsDialog.h"

#include "reports/ItemRoles.h"
#include "reports/TreeModel.h"
#include "store/util.h"
#include "views/WholeTextTip.h"

#include <QAbstractTableModel>
#include <QDebug>
#include <QDialogButtonBox>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QTreeView>
#include <QVBoxLayout>

// The intervals as a plain table model: a busy day has thousands, and one item object per cell (or
// sizing the columns by reading every row) made the dialog slow to open.
class TimestampsModel : public QAbstractTableModel
{
public:
    using QAbstractTableModel::QAbstractTableModel;
    std::function<QIcon(const QString&)> iconProvider;

    void setIntervals(QList<Interval> list)
    {
        beginResetModel();
        intervals = std::move(list);
        icons.clear();
        endResetModel();
    }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : int(intervals.size());
    }
    int columnCount(const QModelIndex& parent = QModelIndex()) const override { return parent.isValid() ? 0 : 4; }

    QVariant data(const QModelIndex& index, int role) const override
    {
        if (!index.isValid() || index.row() >= intervals.size()) {
            return QVariant();
        }
        const Interval& interval = intervals.at(index.row());
        switch (role) {
        case Qt::DisplayRole:
            switch (index.column()) {
            case 0:
                return util::one_line(interval.title);
            case 1:
                return interval.start.toString(QStringLiteral("hh:mm:ss"));
            case 2:
                return interval.end.toString(QStringLiteral("hh:mm:ss"));
            default:
                return util::format_time(interval.seconds);
            }
        case kWholeTextRole:
            return index.column() == 0 ? QVariant(interval.title) : QVariant();
        case Qt::DecorationRole:
            return index.column() == 0 ? QVariant(iconFor(interval.appPath)) : QVariant();
        default:
            return QVariant();
        }
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        static const QStringList kTitles{QStringLiteral("Application"), QStringLiteral("From"), QStringLiteral("To"),
                                         QStringLiteral("Duration")};
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= kTitles.size()) {
            return QVariant();
        }
        return kTitles.at(section);
    }

private:
    QIcon iconFor(const QString& path) const
    {
        auto cached = icons.constFind(path);
        if (cached != icons.cend()) {
            return *cached;
        }
        QIcon icon = iconProvider ? iconProvider(path) : QIcon();
        if (icon.isNull()) {
            icon = TreeModel::defaultAppIcon(path);
        }
        icons.insert(path, icon);
        return icon;
    }

    QList<Interval> intervals;
    mutable QHash<QString, QIcon> icons;
};

namespace {
// The list view, answering a tool-tip request on a cut title with the whole of it.
class TimestampsView : public QTreeView
{
public:
    using QTreeView::QTreeView;

protected:
    bool viewportEvent(QEvent* event) override
    {
        return showWholeTextTip(this, event, [this](QStyleOptionViewItem* option) { initViewItemOption(option); }) ||
               QTreeView::viewportEvent(event);
    }
};
} // namespace

TimestampsDialog::TimestampsDialog(QWidget* parent)
    : QDialog(parent), labelDate(new QLabel(this)), view(new TimestampsView(this)), model(new TimestampsModel(this))
{
    setWindowTitle(QStringLiteral("Timestamps"));
    labelDate->setObjectName(QStringLiteral("labelDate"));
    view->setObjectName(QStringLiteral("treeWidget"));
    view->setModel(model);
    view->setRootIsDecorated(false);
    view->setUniformRowHeights(true);
    view->setTextElideMode(Qt::ElideRight);
    // Times and durations have a fixed shape, so their columns are sized from a sample text rather
    // than by measuring every row; the title takes the rest.
    QHeaderView* header = view->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(0, QHeaderView::Stretch);
    const QFontMetrics metrics(view->font());
    const int padding = 4 * view->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, view) + 16;
    const int clockWidth = metrics.horizontalAdvance(QStringLiteral("88:88:88")) + padding;
    for (int column = 1; column < 3; ++column) {
        header->setSectionResizeMode(column, QHeaderView::Fixed);
        header->resizeSection(column, qMax(clockWidth, header->sectionSizeHint(column)));
    }
    header->setSectionResizeMode(3, QHeaderView::Fixed);
    header->resizeSection(3, metrics.horizontalAdvance(QStringLiteral("88 h 88 m 88 s")) + padding);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(labelDate);
    layout->addWidget(view);
    layout->addWidget(buttons);
    resize(600, 400);
}

void TimestampsDialog::PopulateData()
{
    qDebug() << "init with: date: " << date << ", apppath: " << appPath << ", apptitle: " << title;
    labelDate->setText(QLocale::system().toString(date, QLocale::LongFormat));
    model->iconProvider = iconProvider;
    bool ok = false;
    model->setIntervals(DayQueries::timestamps(date, appPath, title, &ok));
}
