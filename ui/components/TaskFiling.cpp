#include "TaskFiling.h"

#include "AppState.h"
#include "TaskListModel.h"

#include <QMimeData>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace TaskFiling {

namespace {

std::optional<Folder> folderById(const AppState& state, qint64 folderId) {
    for (const Folder& folder : state.folders()) {
        if (folder.id == folderId)
            return folder;
    }
    return std::nullopt;
}

QCoro::Task<void> send(QPointer<AppState> state, qint64 taskId, qint64 folderId, QString folderName) {
    TaskUpdate update;
    update.folderId = folderId;
    co_await state->updateTask(taskId, update);
    if (!state)
        co_return;
    const auto task = findTask(*state, taskId);
    if (task && task->folderId == folderId)
        state->showToast(movedText(folderName));
}

} // namespace

std::optional<VexoTask> findTask(const AppState& state, qint64 taskId) {
    const int row = state.taskList().rowOf(taskId);
    if (row >= 0)
        return state.tasks()[row];
    if (state.selectedTask() && state.selectedTask()->id == taskId)
        return state.selectedTask();
    return std::nullopt;
}

bool changesNothing(const AppState& state, const VexoTask& task, qint64 folderId) {
    return state.selectedFolderId() == folderId || task.folderId == folderId;
}

QString movedText(const QString& folderName) {
    return u"Перемещено в «"_s + folderName + u"»"_s;
}

bool moveTask(AppState& state, qint64 taskId, qint64 folderId) {
    const auto task = findTask(state, taskId);
    const auto folder = folderById(state, folderId);
    if (!task || !folder || changesNothing(state, *task, folderId))
        return false;
    (void)send(QPointer<AppState>(&state), taskId, folderId, folder->name);
    return true;
}

std::optional<qint64> draggedTask(const QMimeData* data) {
    return TaskListModel::taskIdIn(data);
}

QMimeData* dragData(qint64 taskId) {
    auto* data = new QMimeData;
    data->setData(TaskListModel::taskMimeType, QByteArray::number(taskId));
    return data;
}

} // namespace TaskFiling
