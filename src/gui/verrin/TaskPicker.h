#pragma once

#include "verrin/ProjectsCatalogue.h"

class QComboBox;

// The project and task combo boxes of the dialogs that let the user pick a task: projects by name,
// and a project's open tasks under a grey, unselectable-looking caption per task list (its data 0).
namespace TaskPicker {

void fillProjects(QComboBox* projects, const Catalogue& catalogue);
void fillTasks(QComboBox* tasks, const Catalogue& catalogue, int projectId);
// A task-list caption is not a task: when the user lands on one, move on to the first task below.
void stepOverCaption(QComboBox* tasks, int index);

} // namespace TaskPicker
