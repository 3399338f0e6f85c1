#include "recording/IgnoredAppsDialog.h"

#include "app/Prompter.h"
#include "recording/AppIcons.h"
#include "recording/ExcludedApps.h"

#include <QDebug>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

IgnoredAppsDialog::IgnoredAppsDialog(QWidget* parent, Prompter* prompter) : QDialog(parent), prompter(prompter)
{
    setWindowTitle(QStringLiteral("Excluded Applications"));

    ignoredApps = new QTreeWidget(this);
    ignoredApps->setObjectName(QStringLiteral("ignoredApps"));
    ignoredApps->setColumnCount(1);
    ignoredApps->header()->hide();
    ignoredApps->setRootIsDecorated(false);
    ignoredApps->setSelectionMode(QAbstractItemView::ExtendedSelection);

    btAdd = new QPushButton(QStringLiteral("Add..."), this);
    btAdd->setObjectName(QStringLiteral("btAdd"));
    btRemove = new QPushButton(QStringLiteral("Remove"), this);
    btRemove->setObjectName(QStringLiteral("btRemove"));
    auto* buttonsRow = new QHBoxLayout;
    buttonsRow->addWidget(btAdd);
    buttonsRow->addWidget(btRemove);
    buttonsRow->addStretch();

    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    // Changes are already in the registry; both buttons just close.
    connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(ignoredApps);
    layout->addLayout(buttonsRow);
    layout->addWidget(box);

    connect(btAdd, &QPushButton::clicked, this, &IgnoredAppsDialog::on_btAdd_clicked);
    connect(btRemove, &QPushButton::clicked, this, &IgnoredAppsDialog::on_btRemove_clicked);

    for (const QString& path : ExcludedApps::list()) {
        qDebug().noquote() << path;
        addItem(path);
    }
}

void IgnoredAppsDialog::addItem(const QString& path)
{
    auto* item = new QTreeWidgetItem(ignoredApps);
    item->setText(0, path);
    item->setIcon(0, util::get_file_icon(path));
}

void IgnoredAppsDialog::on_btAdd_clicked()
{
    const QString answer =
        QInputDialog::getText(this, QStringLiteral("Add Application"), QStringLiteral("Application Path"),
                              QLineEdit::Normal, QStringLiteral("Enter path here"));
    addPath(answer);
}

bool IgnoredAppsDialog::addPath(const QString& answer)
{
    const QString path = answer.trimmed();
    qDebug().noquote() << QStringLiteral("entered: ") + path;
    QStringList listed;
    for (int i = 0; i < ignoredApps->topLevelItemCount(); ++i) {
        listed << ignoredApps->topLevelItem(i)->text(0);
    }
    switch (ExcludedApps::checkDialogAdd(path, listed)) {
    case ExcludedApps::AddCheck::Empty:
        return false;
    case ExcludedApps::AddCheck::Missing:
        if (prompter) {
            prompter->critical(QStringLiteral("Error"), ExcludedApps::missingPathMessage(path));
        } else {
            QMessageBox::critical(this, QStringLiteral("Error"), ExcludedApps::missingPathMessage(path),
                                  QMessageBox::Close);
        }
        return false;
    case ExcludedApps::AddCheck::AlreadyListed:
        qDebug() << "app already exists";
        return false;
    case ExcludedApps::AddCheck::Ok:
        break;
    }
    addItem(path);
    QStringList paths = ExcludedApps::list();
    paths.append(path);
    ExcludedApps::setList(paths);
    changed = true;
    return true;
}

void IgnoredAppsDialog::on_btRemove_clicked()
{
    QStringList paths = ExcludedApps::list();
    QStringList texts;
    for (const QTreeWidgetItem* item : ignoredApps->selectedItems()) {
        texts << item->text(0);
    }
    for (const QString& text : texts) {
        for (int i = ignoredApps->topLevelItemCount() - 1; i >= 0; --i) {
            if (ignoredApps->topLevelItem(i)->text(0) == text) {
                delete ignoredApps->takeTopLevelItem(i);
            }
        }
        paths.removeOne(text);
    }
    changed = true;
    ExcludedApps::setList(paths);
}
