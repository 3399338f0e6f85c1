#include "rules/ApplyRulesForDateRangeDialog.h"

#include "app/Clock.h"
#include "rules/DatePresets.h"

#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

ApplyRulesForDateRangeDialog::ApplyRulesForDateRangeDialog(QWidget* parent, const Clock* clock)
    : QDialog(parent), clock(clock ? clock : SystemClock::shared())
{
    setWindowTitle(tr("Apply Rules for Date Range"));
    dateEditFrom = new QDateEdit(this);
    dateEditFrom->setObjectName(QStringLiteral("dateEditFrom"));
    dateEditFrom->setCalendarPopup(true);
    dateEditTo = new QDateEdit(this);
    dateEditTo->setObjectName(QStringLiteral("dateEditTo"));
    dateEditTo->setCalendarPopup(true);
    cbPresets = new QComboBox(this);
    cbPresets->setObjectName(QStringLiteral("cbPresets"));
    buttonBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttonBox->setObjectName(QStringLiteral("buttonBox"));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(tr("Select a date range to apply the rules"), this));
    auto* form = new QFormLayout;
    auto* range = new QHBoxLayout;
    range->addWidget(dateEditFrom);
    range->addWidget(new QLabel(QStringLiteral("-"), this));
    range->addWidget(dateEditTo);
    form->addRow(tr("From"), range);
    form->addRow(tr("or select a preset"), cbPresets);
    layout->addLayout(form);
    layout->addWidget(buttonBox);

    PopulateData();
    connect(cbPresets, &QComboBox::currentIndexChanged, this,
            &ApplyRulesForDateRangeDialog::on_cbPresets_currentIndexChanged);
    connect(dateEditFrom, &QDateEdit::dateChanged, this, &ApplyRulesForDateRangeDialog::on_dateEditFrom_dateChanged);
    connect(dateEditTo, &QDateEdit::dateChanged, this, &ApplyRulesForDateRangeDialog::on_dateEditTo_dateChanged);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void ApplyRulesForDateRangeDialog::PopulateData()
{
    const QDate today = clock->today();
    presetWriting = true;
    dateEditFrom->setDate(today);
    dateEditTo->setDate(today);
    cbPresets->clear();
    for (const DatePresets::Preset& preset : DatePresets::presets()) {
        cbPresets->addItem(preset.text, preset.value);
    }
    presetWriting = false;
}

void ApplyRulesForDateRangeDialog::getData(QDate* from, QDate* to) const
{
    if (from) {
        *from = dateEditFrom->date();
    }
    if (to) {
        *to = dateEditTo->date();
    }
}

QDate ApplyRulesForDateRangeDialog::fromDate() const
{
    return dateEditFrom->date();
}

QDate ApplyRulesForDateRangeDialog::toDate() const
{
    return dateEditTo->date();
}

void ApplyRulesForDateRangeDialog::on_cbPresets_currentIndexChanged(int index)
{
    QDate from;
    QDate to;
    if (!DatePresets::range(cbPresets->itemData(index).toString(), clock->today(), &from, &to)) {
        return;
    }
    presetWriting = true;
    dateEditFrom->setDate(from);
    dateEditTo->setDate(to);
    presetWriting = false;
}

void ApplyRulesForDateRangeDialog::on_dateEditFrom_dateChanged(const QDate&)
{
    switchToCustom();
}

void ApplyRulesForDateRangeDialog::on_dateEditTo_dateChanged(const QDate&)
{
    switchToCustom();
}

void ApplyRulesForDateRangeDialog::switchToCustom()
{
    if (presetWriting) {
        return;
    }
    const int custom = cbPresets->findData(QStringLiteral("custom"));
    if (custom >= 0) {
        cbPresets->setCurrentIndex(custom);
    }
}
