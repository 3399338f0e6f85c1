#include "verrin/NameCheckedDialog.h"

#include "app/Named.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QVBoxLayout>

namespace {
const QString kMarked = QStringLiteral("background-color: #F5BACE;");
const QString kUnmarked = QStringLiteral("background-color:;");
} // namespace

QFormLayout* NameCheckedDialog::addForm()
{
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    layout->addLayout(form);
    auto* buttonBox = named(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel), "buttonBox");
    layout->addWidget(buttonBox);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    return form;
}

void NameCheckedDialog::setNameField(QLineEdit* edit, const QString& suggestion)
{
    nameField = edit;
    suggestedName = suggestion;
    connect(edit, &QLineEdit::textEdited, this, &NameCheckedDialog::onNameEdited);
}

void NameCheckedDialog::accept()
{
    if (nameField && nameField->text().trimmed().isEmpty()) {
        nameField->setStyleSheet(kMarked);
        nameField->setFocus();
        return;
    }
    QDialog::accept();
}

void NameCheckedDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (nameField && nameField->text().isEmpty()) {
        nameField->setText(suggestedName);
        nameField->selectAll();
        nameField->setFocus();
    }
}

void NameCheckedDialog::onNameEdited(const QString& text)
{
    if (!text.trimmed().isEmpty()) {
        nameField->setStyleSheet(kUnmarked);
    }
}
