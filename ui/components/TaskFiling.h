#pragma once

#include "VexoTask.h"

#include <QString>

#include <optional>

class AppState;
class QMimeData;

// Putting a task into a folder, the same by drag and drop and by the keyboard's folder picker: the
// task as the state has it, whether a move would change anything, and the move itself.
namespace TaskFiling {

// The task with this id: the loaded list's copy, or else the one open on the task page.
std::optional<VexoTask> findTask(const AppState& state, qint64 taskId);

// Moving there changes nothing: the folder is the one the list shows now, or the task's own.
bool changesNothing(const AppState& state, const VexoTask& task, qint64 folderId);

// The toast of a move that went through: «Перемещено в «<name>»».
QString movedText(const QString& folderName);

// Moves the task into the folder through the state's update. Once the service has answered with
// the task in that folder, the toast says so; a failure is the state's own update toast. Returns
// false, sending nothing, when the move would change nothing or the task or folder is unknown.
bool moveTask(AppState& state, qint64 taskId, qint64 folderId);

// The task a drag carries.
std::optional<qint64> draggedTask(const QMimeData* data);
QMimeData* dragData(qint64 taskId);

} // namespace TaskFiling
