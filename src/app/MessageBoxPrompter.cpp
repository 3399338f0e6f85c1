#include "app/MessageBoxPrompter.h"

#include <QMessageBox>

bool MessageBoxPrompter::ask(const QString& title, const QString& text)
{
    return QMessageBox::question(parent, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::No) ==
           QMessageBox::Yes;
}

bool MessageBoxPrompter::askDefaultYes(const QString& title, const QString& text)
{
    return QMessageBox::question(parent, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) ==
           QMessageBox::Yes;
}

void MessageBoxPrompter::inform(const QString& title, const QString& text)
{
    QMessageBox::information(parent, title, text);
}

void MessageBoxPrompter::warn(const QString& title, const QString& text)
{
    QMessageBox::warning(parent, title, text);
}

void MessageBoxPrompter::critical(const QString& title, const QString& text)
{
    QMessageBox::critical(parent, title, text);
}
