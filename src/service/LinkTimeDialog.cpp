#include "service/LinkTimeDialog.h"

#include <QComboBox>
#include <QDebug>
#include <QDialogButtonBox>
#include <QDomDocument>
#include <QFormLayout>
#include <QLabel>
#include <QPlainTextEdit>

namespace {
// The catalogue reply, or a null element when it is not a good one.
QDomElement catalogueRoot(QDomDocument& doc, const QString& xml)
{
    if (!doc.setContent(xml) || doc.documentElement().attribute(QStringLiteral("status")) != QLatin1String("ok")) {
        qDebug() << "xml not good to load";
        return QDomElement();
    }
    return doc.documentElement();
}

QList<QDomElement> childElements(const QDomElement& parent, const QString& container, const QString& name)
{
    QList<QDomElement> list;
    for (QDomElement e = parent.firstChildElement(container).firstChildElement(name); !e.isNull();
         e = e.nextSiblingElement(name)) {
        list << e;
    }
    return list;
}
} // namespace

LinkTimeDialog::LinkTimeDialog(QWidget* parent)
    : QDialog(parent), labelTime(new QLabel(QStringLiteral("00:00:00"))), cbProjects(new QComboBox),
      cbTasks(new QComboBox), textNotes(new QPlainTextEdit)
{
    setObjectName(QStringLiteral("LinkTimeDialog"));
    setWindowTitle(QStringLiteral("Link Time"));
    labelTime->setObjectName(QStringLiteral("labelTime"));
    cbProjects->setObjectName(QStringLiteral("cbProjects"));
    cbTasks->setObjectName(QStringLiteral("cbTasks"));
    textNotes->setObjectName(QStringLiteral("textNotes"));
    auto* form = new QFormLayout(this);
    form->addRow(QStringLiteral("Linking worked time:"), labelTime);
    form->addRow(QStringLiteral("Project"), cbProjects);
    form->addRow(QStringLiteral("Task"), cbTasks);
    form->addRow(QStringLiteral("Notes"), textNotes);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->setObjectName(QStringLiteral("buttonBox"));
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(cbProjects, &QComboBox::activated, this, &LinkTimeDialog::on_cbProjects_activated);
    connect(cbTasks, &QComboBox::currentIndexChanged, this, &LinkTimeDialog::on_cbTasks_currentIndexChanged);
    setMinimumWidth(420);
}

void LinkTimeDialog::populateData(const QString& catalogueXml)
{
    xml = catalogueXml;
    cbProjects->clear();
    QDomDocument doc;
    const QDomElement root = catalogueRoot(doc, xml);
    if (root.isNull()) {
        return;
    }
    for (const QDomElement& project : childElements(root, QStringLiteral("projects"), QStringLiteral("project"))) {
        cbProjects->addItem(project.attribute(QStringLiteral("name")), project.attribute(QStringLiteral("id")).toInt());
    }
}

void LinkTimeDialog::populateTasks(int project)
{
    cbTasks->clear();
    QDomDocument doc;
    const QDomElement root = catalogueRoot(doc, xml);
    if (root.isNull()) {
        return;
    }
    for (const QDomElement& p : childElements(root, QStringLiteral("projects"), QStringLiteral("project"))) {
        if (p.attribute(QStringLiteral("id")).toInt() != project) {
            continue;
        }
        for (const QDomElement& list : childElements(p, QStringLiteral("task_lists"), QStringLiteral("task_list"))) {
            cbTasks->addItem(list.attribute(QStringLiteral("name")), 0);
            cbTasks->setItemData(cbTasks->count() - 1, QColor(221, 221, 221), Qt::BackgroundRole);
            for (const QDomElement& task : childElements(list, QStringLiteral("tasks"), QStringLiteral("task"))) {
                if (task.attribute(QStringLiteral("complete")) != QLatin1String("1")) {
                    cbTasks->addItem(QStringLiteral("  ") + task.attribute(QStringLiteral("name")),
                                     task.attribute(QStringLiteral("id")).toInt());
                }
            }
        }
    }
    cbTasks->setCurrentIndex(-1);
    cbTasks->setCurrentIndex(0);
}

void LinkTimeDialog::on_cbTasks_currentIndexChanged(int index)
{
    // A task-list header is only a caption: move on to its first task.
    if (index >= 0 && cbTasks->itemData(index).toInt() == 0 && index < cbTasks->count() - 1) {
        cbTasks->setCurrentIndex(index + 1);
    }
}

void LinkTimeDialog::on_cbProjects_activated(int index)
{
    const int id = cbProjects->itemData(index).toInt();
    qDebug().noquote() << QStringLiteral("on cb projects activated (%1), id = %2").arg(index).arg(id);
    populateTasks(id);
}

void LinkTimeDialog::putData()
{
    labelTime->setText(timeText);
    textNotes->setPlainText(notes);
    const int projectIndex = cbProjects->findData(projectId);
    if (projectIndex >= 0) {
        cbProjects->setCurrentIndex(projectIndex);
        populateTasks(projectId);
    } else {
        qDebug() << "putData error: could not find project id = " << projectId;
        if (cbProjects->count() > 0) {
            populateTasks(cbProjects->itemData(0).toInt());
        }
    }
    const int taskIndex = taskId != 0 ? cbTasks->findData(taskId) : -1;
    if (taskIndex >= 0) {
        cbTasks->setCurrentIndex(taskIndex);
    } else {
        qDebug() << "putData error: could not find task id = " << taskId;
    }
}

void LinkTimeDialog::getData()
{
    notes = textNotes->toPlainText();
    projectId = cbProjects->currentData().toInt();
    taskId = cbTasks->currentData().toInt();
}
