#pragma once

#include <QDate>
#include <QDialog>

class Clock;
class QComboBox;
class QDateEdit;
class QDialogButtonBox;

// Asks for the days to apply the rules to: two dates, or a preset such as "This Week". Editing a
// date by hand switches the preset to "Custom". The first date may lie after the last; applying
// such a range simply finds nothing.
class ApplyRulesForDateRangeDialog : public QDialog
{
    Q_OBJECT
public:
    // "Today" is `clock`'s date (the system clock when null).
    explicit ApplyRulesForDateRangeDialog(QWidget* parent = nullptr, const Clock* clock = nullptr);

    void PopulateData();
    void getData(QDate* from, QDate* to) const;
    QDate fromDate() const;
    QDate toDate() const;

public slots:
    void on_cbPresets_currentIndexChanged(int index);
    void on_dateEditFrom_dateChanged(const QDate& date);
    void on_dateEditTo_dateChanged(const QDate& date);

private:
    void switchToCustom();

    const Clock* clock;
    bool presetWriting = false;
    QDateEdit* dateEditFrom;
    QDateEdit* dateEditTo;
    QComboBox* cbPresets;
    QDialogButtonBox* buttonBox;
};
