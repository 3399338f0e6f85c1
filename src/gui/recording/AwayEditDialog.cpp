#include "recording/AwayEditDialog.h"

#include "recording/AwayEntries.h"
#include "store/util.h"

#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QVBoxLayout>

AwayEditDialog::AwayEditDialog(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Away Time"));

    labelStartTime = new QLabel(this);
    labelStartTime->setObjectName(QStringLiteral("labelStartTime"));
    labelEndTime = new QLabel(this);
    labelEndTime->setObjectName(QStringLiteral("labelEndTime"));
    labelDuration = new QLabel(this);
    labelDuration->setObjectName(QStringLiteral("labelDuration"));

    auto* span = new QHBoxLayout;
    span->addWidget(new QLabel(QStringLiteral("Away time between"), this));
    span->addWidget(labelStartTime);
    span->addWidget(new QLabel(QStringLiteral("-"), this));
    span->addWidget(labelEndTime);
    span->addStretch();

    auto* duration = new QHBoxLayout;
    duration->addWidget(new QLabel(QStringLiteral("Duration:"), this));
    duration->addWidget(labelDuration);
    duration->addStretch();

    auto* group = new QGroupBox(QStringLiteral("Description"), this);
    editDescription = new QLineEdit(group);
    editDescription->setObjectName(QStringLiteral("editDescription"));
    listPresets = new QListWidget(group);
    listPresets->setObjectName(QStringLiteral("listPresets"));
    auto* groupLayout = new QVBoxLayout(group);
    groupLayout->addWidget(editDescription);
    groupLayout->addWidget(new QLabel(QStringLiteral("or use a description from the list"), group));
    groupLayout->addWidget(listPresets);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(span);
    layout->addLayout(duration);
    layout->addWidget(group);
    layout->addWidget(buttons);

    connect(listPresets, &QListWidget::currentRowChanged, this, &AwayEditDialog::on_listPresets_currentRowChanged);
    populateData();
}

void AwayEditDialog::populateData()
{
    listPresets->clear();
    listPresets->addItems({QStringLiteral("On the phone"), QStringLiteral("Meeting"), QStringLiteral("Lunch")});
}

void AwayEditDialog::putData(const QList<int>& entryIds)
{
    const AwayEntries entries = AwayEntries::read(entryIds);
    labelStartTime->setText(entries.firstStart.toString(QStringLiteral("hh:mm:ss")));
    labelEndTime->setText(entries.lastEnd.toString(QStringLiteral("hh:mm:ss")));
    labelDuration->setText(util::format_time(entries.seconds));
    editDescription->setText(entries.title);
    editDescription->selectAll();
    editDescription->setFocus();
}

QString AwayEditDialog::getData() const
{
    return editDescription->text();
}

void AwayEditDialog::on_listPresets_currentRowChanged(int row)
{
    const QListWidgetItem* item = listPresets->item(row);
    if (item) {
        editDescription->setText(item->text());
    }
}
