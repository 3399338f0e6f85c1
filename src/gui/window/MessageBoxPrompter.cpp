#include "window/MessageBoxPrompter.h"

#include <QMessageBox>
#include <QPushButton>

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

int MessageBoxPrompter::choose(const QString& title, const QString& text, const QStringList& options)
{
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::NoButton, parent);
    QList<QAbstractButton*> buttons;
    for (const QString& option : options) {
        buttons << box.addButton(option, buttons.isEmpty() ? QMessageBox::AcceptRole : QMessageBox::ActionRole);
    }
    if (!buttons.isEmpty()) {
        box.setDefaultButton(qobject_cast<QPushButton*>(buttons.first()));
        // Escape or closing the box picks the last option, which is always the harmless one.
        box.setEscapeButton(buttons.last());
    }
    box.exec();
    return int(buttons.indexOf(box.clickedButton()));
}
