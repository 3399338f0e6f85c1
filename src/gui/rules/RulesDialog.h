#pragma once

#include <QDialog>

class Prompter;
class QDialogButtonBox;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QTextBrowser;

// The ordered list of rules with a readable description of the current one. The dialog never writes
// rules itself: it reports what the user asked for through its signals, which are connected directly,
// so each returns after the work is done and the dialog then refreshes its list.
class RulesDialog : public QDialog
{
    Q_OBJECT
public:
    // Questions go through `prompter` (message boxes over this dialog when null).
    explicit RulesDialog(QWidget* parent = nullptr, Prompter* prompter = nullptr);
    ~RulesDialog() override;

    void PopulateData();
    void refresh() { PopulateData(); }
    // Makes the row of that rule current; nothing changes when it is not listed.
    void selectRule(int ruleId);
    void showRuleDescription(int ruleId);
    // The rule of the current row, 0 when none.
    int selectedRuleId() const;

signals:
    void signalAddRuleDialog();
    void signalEditRuleDialog(int ruleId);
    void signalRemoveRule(int ruleId);
    void signalActivateRule(int ruleId, bool active);
    void signalMoveRule(int ruleId, int direction);
    void signalApplyRules();
    void signalDuplicateRule(int ruleId);

private:
    static constexpr int kIdRole = Qt::UserRole;
    static constexpr int kActiveRole = Qt::UserRole + 1;

    void buildForm();
    void onCurrentRowChanged(int row);
    void onItemChanged(QListWidgetItem* item);
    void onAdd();
    void onEdit();
    void onRemove();
    void onDuplicate();
    void onMove(int direction);
    void selectLastRow();

    Prompter* prompter;
    Prompter* ownPrompter = nullptr;
    bool populated = false;

    QListWidget* rules;
    QPushButton* btnAdd;
    QPushButton* btnEdit;
    QPushButton* btnRemove;
    QPushButton* btnDuplicate;
    QPushButton* btnUp;
    QPushButton* btnDown;
    QPushButton* btnApplyRules;
    QTextBrowser* description;
    QDialogButtonBox* buttonBox;
};
