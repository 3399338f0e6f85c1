#include "verrin/TaskPicker.h"

#include <QColor>
#include <QComboBox>

namespace TaskPicker {

void fillProjects(QComboBox* projects, const Catalogue& catalogue)
{
    projects->clear();
    for (const CatalogueProject& project : catalogue.projects) {
        projects->addItem(project.name, project.id);
    }
}

void fillTasks(QComboBox* tasks, const Catalogue& catalogue, int projectId)
{
    tasks->clear();
    const CatalogueProject* project = catalogue.project(projectId);
    if (!project) {
        return;
    }
    for (const CatalogueTaskList& list : project->taskLists) {
        tasks->addItem(list.name, 0);
        tasks->setItemData(tasks->count() - 1, QColor(221, 221, 221), Qt::BackgroundRole);
        for (const CatalogueTask& task : list.tasks) {
            // Completed tasks take no more time; a task that does not say counts as open.
            if (task.complete != QLatin1String("1")) {
                tasks->addItem(QStringLiteral("  ") + task.name, task.id);
            }
        }
    }
}

void stepOverCaption(QComboBox* tasks, int index)
{
    if (index >= 0 && tasks->itemData(index).toInt() == 0 && index < tasks->count() - 1) {
        tasks->setCurrentIndex(index + 1);
    }
}

} // namespace TaskPicker
