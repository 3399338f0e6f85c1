#include "verrin/LoginDialog.h"

#include "app/Named.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

LoginDialog::LoginDialog(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("LoginDialog"));
    setWindowTitle(QStringLiteral("Login"));
    auto* layout = new QVBoxLayout(this);
    labelError = named(new QLabel(QStringLiteral("Error Message")), "labelError");
    labelError->setWordWrap(true);
    labelError->setTextFormat(Qt::PlainText);
    labelError->setStyleSheet(QStringLiteral("color: #B00020;"));
    labelError->setVisible(false);
    label = named(new QLabel(QStringLiteral("This application does not support 3rd party logins (Google/Google Apps/"
                                            "Yahoo!). \nYou need to use your Verrin credentials which can be set up "
                                            "on the \"My Account\" page.")),
                  "label");
    label->setWordWrap(true);
    editUsername = named(new QLineEdit, "editUsername");
    editPassword = named(new QLineEdit, "editPassword");
    editPassword->setEchoMode(QLineEdit::Password);
    checkRemember = named(new QCheckBox(QStringLiteral("Remember my password")), "checkRemember");
    buttonBox = named(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel), "buttonBox");

    layout->addWidget(labelError);
    layout->addWidget(label);
    layout->addWidget(new QLabel(QStringLiteral("Username")));
    layout->addWidget(editUsername);
    layout->addWidget(new QLabel(QStringLiteral("Password")));
    layout->addWidget(editPassword);
    layout->addWidget(checkRemember);
    layout->addWidget(buttonBox);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    setMinimumWidth(420);
}

void LoginDialog::putData()
{
    editUsername->setText(username);
    editPassword->setText(password);
    checkRemember->setChecked(remember);
    labelError->setText(error);
    labelError->setVisible(!error.isEmpty());
}

void LoginDialog::getData()
{
    username = editUsername->text();
    password = editPassword->text();
    remember = checkRemember->isChecked();
}
