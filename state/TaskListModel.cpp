#include "TaskListModel.h"

#include "AppState.h"

TaskListModel::TaskListModel(AppState& state, QObject* parent)
    : QAbstractListModel(parent)
    , m_state(state) {
    m_rows = m_state.filteredTasks();
    for (auto signal : {&AppState::tasksChanged, &AppState::dateFilterChanged, &AppState::priorityFilterChanged,
                        &AppState::sidebarItemChanged})
        connect(&m_state, signal, this, &TaskListModel::refresh);
    m_clockTick.setInterval(30'000);
    connect(&m_clockTick, &QTimer::timeout, this, &TaskListModel::refresh);
    m_clockTick.start();
}

int TaskListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant TaskListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const VexoTask& task = m_rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return task.title;
    case TaskRole:
        return QVariant::fromValue(task);
    case IdRole:
        return task.id;
    case Qt::AccessibleTextRole:
        return m_describe ? m_describe(task) : task.title;
    default:
        return {};
    }
}

QHash<int, QByteArray> TaskListModel::roleNames() const {
    return {{Qt::DisplayRole, "title"}, {TaskRole, "task"}, {IdRole, "taskId"}};
}

int TaskListModel::rowOf(qint64 taskId) const {
    for (int row = 0; row < m_rows.size(); ++row) {
        if (m_rows[row].id == taskId)
            return row;
    }
    return -1;
}

void TaskListModel::refresh() {
    QList<VexoTask> next = m_state.filteredTasks();
    const qsizetype oldSize = m_rows.size();
    const qsizetype newSize = next.size();

    // Same ids at the front and at the back are the same rows; only the middle differs.
    qsizetype prefix = 0;
    while (prefix < oldSize && prefix < newSize && m_rows[prefix].id == next[prefix].id)
        ++prefix;
    qsizetype suffix = 0;
    while (suffix < oldSize - prefix && suffix < newSize - prefix &&
           m_rows[oldSize - 1 - suffix].id == next[newSize - 1 - suffix].id)
        ++suffix;
    const qsizetype oldMiddle = oldSize - prefix - suffix;
    const qsizetype newMiddle = newSize - prefix - suffix;

    if (oldMiddle > 0 && newMiddle > 0) {
        // Different tasks in between: a new list rather than an edit of the old one.
        beginResetModel();
        m_rows = std::move(next);
        endResetModel();
        return;
    }
    if (oldMiddle > 0) {
        beginRemoveRows({}, int(prefix), int(prefix + oldMiddle - 1));
        m_rows.remove(prefix, oldMiddle);
        endRemoveRows();
    } else if (newMiddle > 0) {
        beginInsertRows({}, int(prefix), int(prefix + newMiddle - 1));
        m_rows.insert(prefix, newMiddle, VexoTask());
        for (qsizetype i = prefix; i < prefix + newMiddle; ++i)
            m_rows[i] = next[i];
        endInsertRows();
    }
    // Rows that stayed may still have changed content.
    for (qsizetype row = 0; row < m_rows.size(); ++row) {
        if (!(m_rows[row] == next[row])) {
            m_rows[row] = next[row];
            const QModelIndex changed = index(int(row));
            Q_EMIT dataChanged(changed, changed);
        }
    }
}
