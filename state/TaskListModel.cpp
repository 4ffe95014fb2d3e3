#include "TaskListModel.h"

#include "AppState.h"

TaskListModel::TaskListModel(AppState& state, QObject* parent)
    : QAbstractListModel(parent)
    , m_state(state) {
    m_indexes = m_state.filteredIndexes();
    for (qsizetype index : std::as_const(m_indexes))
        m_ids.append(m_state.tasks()[index].id);
    for (auto signal : {&AppState::tasksChanged, &AppState::dateFilterChanged, &AppState::priorityFilterChanged,
                        &AppState::sidebarItemChanged})
        connect(&m_state, signal, this, &TaskListModel::refresh);
    connect(&m_state, &AppState::taskContentChanged, this, &TaskListModel::contentChanged);
    connect(&m_state, &AppState::tasksReloaded, this, &TaskListModel::reloaded);
    m_clockTick.setInterval(30'000);
    connect(&m_clockTick, &QTimer::timeout, this, &TaskListModel::refresh);
    m_clockTick.start();
}

int TaskListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_indexes.size());
}

const VexoTask& TaskListModel::taskAt(int row) const {
    return m_state.tasks()[m_indexes[row]];
}

QVariant TaskListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_indexes.size())
        return {};
    const VexoTask& task = taskAt(index.row());
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
    return int(m_ids.indexOf(taskId));
}

void TaskListModel::refresh() {
    const QList<qsizetype> next = m_state.filteredIndexes();
    QList<qint64> nextIds;
    nextIds.reserve(next.size());
    for (qsizetype index : next)
        nextIds.append(m_state.tasks()[index].id);
    const qsizetype oldSize = m_ids.size();
    const qsizetype newSize = nextIds.size();

    // Same ids at the front and at the back are the same rows; only the middle differs.
    qsizetype prefix = 0;
    while (prefix < oldSize && prefix < newSize && m_ids[prefix] == nextIds[prefix])
        ++prefix;
    qsizetype suffix = 0;
    while (suffix < oldSize - prefix && suffix < newSize - prefix &&
           m_ids[oldSize - 1 - suffix] == nextIds[newSize - 1 - suffix])
        ++suffix;
    const qsizetype oldMiddle = oldSize - prefix - suffix;
    const qsizetype newMiddle = newSize - prefix - suffix;

    if (oldMiddle > 0 && newMiddle > 0) {
        // Different tasks in between: a new list rather than an edit of the old one.
        beginResetModel();
        m_indexes = next;
        m_ids = nextIds;
        endResetModel();
        return;
    }
    if (oldMiddle > 0) {
        beginRemoveRows({}, int(prefix), int(prefix + oldMiddle - 1));
        m_indexes = next;
        m_ids = nextIds;
        endRemoveRows();
    } else if (newMiddle > 0) {
        beginInsertRows({}, int(prefix), int(prefix + newMiddle - 1));
        m_indexes = next;
        m_ids = nextIds;
        endInsertRows();
    } else {
        // Same rows; their places in the state's list may still have moved (a task put in front).
        m_indexes = next;
    }
}

void TaskListModel::contentChanged(qint64 id) {
    const int row = rowOf(id);
    if (row >= 0)
        Q_EMIT dataChanged(index(row), index(row));
}

void TaskListModel::reloaded() {
    // A load may bring new contents under the same ids: every row that stayed is news.
    if (!m_indexes.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_indexes.size()) - 1));
}
