#pragma once

#include <QDialog>

class QFormLayout;
class QLineEdit;

// A dialog whose OK needs a non-blank name: the field starts with a suggestion selected, and OK
// with a blank name keeps the dialog open with the field marked until a name is typed.
class NameCheckedDialog : public QDialog
{
    Q_OBJECT
public:
    using QDialog::QDialog;

    void accept() override;

protected:
    // The dialog's form, laid out above the OK and Cancel buttons.
    QFormLayout* addForm();
    // OK checks `edit`, which starts with `suggestion` when left empty.
    void setNameField(QLineEdit* edit, const QString& suggestion);
    void showEvent(QShowEvent* event) override;

private:
    void onNameEdited(const QString& text);

    QLineEdit* nameField = nullptr;
    QString suggestedName;
};
