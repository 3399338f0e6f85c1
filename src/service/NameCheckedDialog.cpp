#include "service/NameCheckedDialog.h"

#include <QLineEdit>

namespace {
const QString kMarked = QStringLiteral("background-color: #F5BACE;");
const QString kUnmarked = QStringLiteral("background-color:;");
} // namespace

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
