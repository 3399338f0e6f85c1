#include "rules/RulesDialog.h"

#include "rules/RuleDescription.h"
#include "rules/RuleStore.h"
#include "window/MessageBoxPrompter.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

RulesDialog::RulesDialog(QWidget* parent, Prompter* prompter) : QDialog(parent), prompter(prompter)
{
    if (!this->prompter) {
        ownPrompter = new MessageBoxPrompter(this);
        this->prompter = ownPrompter;
    }
    buildForm();
    PopulateData();
}

RulesDialog::~RulesDialog()
{
    delete ownPrompter;
}

void RulesDialog::buildForm()
{
    setWindowTitle(tr("Rules"));
    rules = new QListWidget(this);
    rules->setObjectName(QStringLiteral("rules"));

    const auto makeButton = [this](const char* name, const QString& text, const QString& icon = QString()) {
        auto* button = new QPushButton(text, this);
        button->setObjectName(QLatin1String(name));
        button->setAutoDefault(false);
        if (!icon.isEmpty()) {
            button->setIcon(QIcon(icon));
        }
        return button;
    };
    btnAdd = makeButton("btnAdd", tr("&New..."));
    btnEdit = makeButton("btnEdit", tr("&Modify..."));
    btnRemove = makeButton("btnRemove", tr("&Remove"));
    btnDuplicate = makeButton("btnDuplicate", tr("&Duplicate"));
    btnUp = makeButton("btnUp", tr("Move &up"), QStringLiteral(":/icons/res/arrow-up.png"));
    btnDown = makeButton("btnDown", tr("Move &down"), QStringLiteral(":/icons/res/arrow-down.png"));
    btnApplyRules = makeButton("btnApplyRules", tr("&Apply Rules Now"), QStringLiteral(":/icons/res/execute.png"));

    description = new QTextBrowser(this);
    description->setObjectName(QStringLiteral("description"));
    description->setOpenLinks(false);
    buttonBox = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttonBox->setObjectName(QStringLiteral("buttonBox"));

    auto* buttons = new QVBoxLayout;
    for (QPushButton* button : {btnAdd, btnEdit, btnRemove, btnDuplicate, btnUp, btnDown}) {
        buttons->addWidget(button);
    }
    buttons->addStretch();
    buttons->addWidget(btnApplyRules);
    auto* top = new QHBoxLayout;
    top->addWidget(rules, 1);
    top->addLayout(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top, 2);
    layout->addWidget(new QLabel(tr("Description:"), this));
    layout->addWidget(description, 1);
    layout->addWidget(buttonBox);
    resize(560, 480);

    connect(rules, &QListWidget::currentRowChanged, this, &RulesDialog::onCurrentRowChanged);
    connect(rules, &QListWidget::itemChanged, this, &RulesDialog::onItemChanged);
    connect(rules, &QListWidget::itemDoubleClicked, this, &RulesDialog::onEdit);
    connect(description, &QTextBrowser::anchorClicked, this, &RulesDialog::onEdit);
    connect(btnAdd, &QPushButton::clicked, this, &RulesDialog::onAdd);
    connect(btnEdit, &QPushButton::clicked, this, &RulesDialog::onEdit);
    connect(btnRemove, &QPushButton::clicked, this, &RulesDialog::onRemove);
    connect(btnDuplicate, &QPushButton::clicked, this, &RulesDialog::onDuplicate);
    connect(btnUp, &QPushButton::clicked, this, [this] { onMove(-1); });
    connect(btnDown, &QPushButton::clicked, this, [this] { onMove(1); });
    connect(btnApplyRules, &QPushButton::clicked, this, &RulesDialog::signalApplyRules);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void RulesDialog::PopulateData()
{
    populated = false;
    rules->clear();
    for (const RuleStore::ListedRule& rule : RuleStore().listRules()) {
        auto* item = new QListWidgetItem(rule.name);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(rule.active ? Qt::Checked : Qt::Unchecked);
        item->setData(kIdRole, rule.id);
        item->setData(kActiveRole, rule.active);
        rules->addItem(item);
    }
    if (rules->count() > 0) {
        rules->setCurrentRow(0);
    } else {
        onCurrentRowChanged(-1);
    }
    populated = true;
}

void RulesDialog::selectRule(int ruleId)
{
    for (int row = 0; row < rules->count(); ++row) {
        if (rules->item(row)->data(kIdRole).toInt() == ruleId) {
            rules->setCurrentRow(row);
            return;
        }
    }
}

void RulesDialog::showRuleDescription(int ruleId)
{
    description->setHtml(RuleDescription::describe(ruleId));
}

int RulesDialog::selectedRuleId() const
{
    const QListWidgetItem* item = rules->currentItem();
    return item ? item->data(kIdRole).toInt() : 0;
}

void RulesDialog::onCurrentRowChanged(int row)
{
    if (row < 0) {
        description->clear();
        btnApplyRules->setEnabled(false);
        return;
    }
    showRuleDescription(rules->item(row)->data(kIdRole).toInt());
    btnApplyRules->setEnabled(true);
}

void RulesDialog::onItemChanged(QListWidgetItem* item)
{
    if (!populated) {
        return;
    }
    const int id = item->data(kIdRole).toInt();
    const bool checked = item->checkState() == Qt::Checked;
    const bool remembered = item->data(kActiveRole).toBool();
    if (checked == remembered || id < 1) {
        return;
    }
    // Remember the new state, so switching back is a change again.
    item->setData(kActiveRole, checked);
    emit signalActivateRule(id, checked);
    showRuleDescription(id);
}

void RulesDialog::onAdd()
{
    emit signalAddRuleDialog();
    refresh();
    selectLastRow();
}

void RulesDialog::onEdit()
{
    const int id = selectedRuleId();
    if (id == 0) {
        return;
    }
    emit signalEditRuleDialog(id);
    refresh();
    selectRule(id);
}

void RulesDialog::onRemove()
{
    const int id = selectedRuleId();
    if (id == 0) {
        return;
    }
    if (prompter->askDefaultYes(tr("Confirm remove"), tr("Are you sure you want to remove this rule?"))) {
        emit signalRemoveRule(id);
        refresh();
    }
}

void RulesDialog::onDuplicate()
{
    const int id = selectedRuleId();
    if (id == 0) {
        return;
    }
    emit signalDuplicateRule(id);
    refresh();
    selectLastRow();
}

void RulesDialog::onMove(int direction)
{
    const int id = selectedRuleId();
    if (id == 0) {
        return;
    }
    emit signalMoveRule(id, direction);
    refresh();
    selectRule(id);
}

void RulesDialog::selectLastRow()
{
    if (rules->count() > 0) {
        rules->setCurrentRow(rules->count() - 1);
    }
}
