#pragma once

#include "app/Prompter.h"

class QWidget;

// Shows the questions and messages of logic classes as real message boxes over a window.
class MessageBoxPrompter : public Prompter
{
public:
    explicit MessageBoxPrompter(QWidget* parent) : parent(parent) {}

    bool ask(const QString& title, const QString& text) override;
    bool askDefaultYes(const QString& title, const QString& text) override;
    void inform(const QString& title, const QString& text) override;
    void warn(const QString& title, const QString& text) override;
    void critical(const QString& title, const QString& text) override;
    int choose(const QString& title, const QString& text, const QStringList& options) override;

private:
    QWidget* parent;
};
