#include "views/TimestampsDialog.h"

#include "store/util.h"
#include "views/DayQueries.h"
#include "views/TreeModel.h"

#include <QDebug>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QTreeWidget>
#include <QVBoxLayout>

TimestampsDialog::TimestampsDialog(QWidget* parent)
    : QDialog(parent), labelDate(new QLabel(this)), treeWidget(new QTreeWidget(this))
{
    setWindowTitle(QStringLiteral("Timestamps"));
    labelDate->setObjectName(QStringLiteral("labelDate"));
    treeWidget->setObjectName(QStringLiteral("treeWidget"));
    treeWidget->setColumnCount(4);
    treeWidget->setHeaderLabels(
        {QStringLiteral("Application"), QStringLiteral("From"), QStringLiteral("To"), QStringLiteral("Duration")});
    treeWidget->setRootIsDecorated(false);
    treeWidget->header()->setStretchLastSection(false);
    treeWidget->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    for (int column = 1; column < 4; ++column) {
        treeWidget->header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(labelDate);
    layout->addWidget(treeWidget);
    layout->addWidget(buttons);
    resize(600, 400);
}

void TimestampsDialog::PopulateData()
{
    qDebug() << "init with: date: " << date << ", apppath: " << appPath << ", apptitle: " << title;
    treeWidget->clear();
    labelDate->setText(QLocale::system().toString(date, QLocale::LongFormat));
    bool ok = false;
    const QList<Interval> intervals = DayQueries::timestamps(date, appPath, title, &ok);
    for (const Interval& interval : intervals) {
        auto* item = new QTreeWidgetItem(treeWidget);
        item->setText(0, interval.title);
        item->setText(1, interval.start.toString(QStringLiteral("hh:mm:ss")));
        item->setText(2, interval.end.toString(QStringLiteral("hh:mm:ss")));
        item->setText(3, util::format_time(interval.seconds));
        QIcon icon = iconProvider ? iconProvider(interval.appPath) : QIcon();
        item->setIcon(0, icon.isNull() ? TreeModel::defaultAppIcon(interval.appPath) : icon);
    }
}
