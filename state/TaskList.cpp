#include "TaskList.h"

#include "HtmlText.h"
#include "TaskFiltering.h"

#include <QHash>
#include <QSet>

#include <algorithm>

namespace {

// Positions (into `values`) of one longest strictly increasing subsequence.
QList<qsizetype> longestIncreasingRun(const QList<qsizetype>& values) {
    QList<qsizetype> tails; // tails[k]: index of the smallest last value of a run of length k + 1
    QList<qsizetype> previous(values.size(), -1);
    for (qsizetype i = 0; i < values.size(); ++i) {
        const auto at = std::lower_bound(tails.cbegin(), tails.cend(), values[i],
                                         [&](qsizetype index, qsizetype value) { return values[index] < value; });
        const qsizetype length = at - tails.cbegin();
        if (length > 0)
            previous[i] = tails[length - 1];
        if (length == tails.size())
            tails.append(i);
        else
            tails[length] = i;
    }
    QList<qsizetype> run(tails.size());
    for (qsizetype i = tails.isEmpty() ? -1 : tails.last(), k = tails.size() - 1; i >= 0; i = previous[i], --k)
        run[k] = i;
    return run;
}

bool hasPreview(const VexoTask& task) {
    return task.description && hasPlainText(task.description->utf8());
}

template <class T> bool hasDuplicates(const QList<T>& values) {
    QSet<T> seen;
    seen.reserve(values.size());
    for (const T& value : values) {
        if (seen.contains(value))
            return true;
        seen.insert(value);
    }
    return false;
}

} // namespace

TaskList::TaskList(QObject* parent)
    : QAbstractListModel(parent) {}

int TaskList::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_tasks.size());
}

QVariant TaskList::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const VexoTask& task = m_tasks[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return task.title;
    case TaskRole:
        return QVariant::fromValue(task);
    case IdRole:
        return task.id;
    case HasPreviewRole:
        return m_previews[index.row()];
    default:
        return {};
    }
}

QHash<int, QByteArray> TaskList::roleNames() const {
    return {{Qt::DisplayRole, "title"}, {TaskRole, "task"}, {IdRole, "taskId"}};
}

void TaskList::insertAt(qsizetype row, const VexoTask* tasks, qsizetype count) {
    beginInsertRows({}, int(row), int(row + count - 1));
    m_tasks.insert(row, count, VexoTask());
    m_ids.insert(row, count, 0);
    m_deadlines.insert(row, count, TaskFiltering::noDeadline);
    m_previews.insert(row, count, false);
    for (qsizetype i = 0; i < count; ++i) {
        m_tasks[row + i] = tasks[i];
        m_ids[row + i] = tasks[i].id;
        m_deadlines[row + i] = TaskFiltering::deadlineOf(tasks[i]);
        m_previews[row + i] = hasPreview(tasks[i]);
    }
    endInsertRows();
}

void TaskList::removeRange(qsizetype row, qsizetype count) {
    beginRemoveRows({}, int(row), int(row + count - 1));
    m_tasks.remove(row, count);
    m_ids.remove(row, count);
    m_deadlines.remove(row, count);
    m_previews.remove(row, count);
    endRemoveRows();
}

void TaskList::changeRange(qsizetype row, const VexoTask* tasks, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i) {
        m_tasks[row + i] = tasks[i];
        m_deadlines[row + i] = TaskFiltering::deadlineOf(tasks[i]);
        m_previews[row + i] = hasPreview(tasks[i]);
    }
    Q_EMIT dataChanged(index(int(row)), index(int(row + count - 1)));
}

void TaskList::prepend(const VexoTask& task) {
    insertAt(0, &task, 1);
}

bool TaskList::replaceFirst(const VexoTask& task) {
    const int row = rowOf(task.id);
    if (row < 0 || m_tasks[row] == task)
        return false;
    changeRange(row, &task, 1);
    return true;
}

bool TaskList::removeAll(qint64 id) {
    bool removed = false;
    // From the back, so that the rows of earlier runs stay where they are.
    for (qsizetype end = m_ids.size(); end > 0;) {
        if (m_ids[end - 1] != id) {
            --end;
            continue;
        }
        qsizetype start = end - 1;
        while (start > 0 && m_ids[start - 1] == id)
            --start;
        removeRange(start, end - start);
        removed = true;
        end = start;
    }
    return removed;
}

TaskList::Rows TaskList::prepare(QList<VexoTask> tasks, QList<VexoTask> current) {
    Rows rows;
    rows.ids.reserve(tasks.size());
    rows.deadlines.reserve(tasks.size());
    rows.previews.reserve(tasks.size());
    for (const VexoTask& task : std::as_const(tasks)) {
        rows.ids.append(task.id);
        rows.deadlines.append(TaskFiltering::deadlineOf(task));
        rows.previews.append(hasPreview(task));
    }
    rows.uniqueIds = !hasDuplicates(rows.ids);
    rows.sameAsBasis = tasks == current;
    QList<qint64> basisIds;
    basisIds.reserve(current.size());
    for (const VexoTask& task : std::as_const(current))
        basisIds.append(task.id);
    rows.basisIdsUnique = !hasDuplicates(basisIds);
    rows.tasks = std::move(tasks);
    rows.basis = std::move(current);
    return rows;
}

bool TaskList::assign(Rows rows) {
    // The comparison was made already, unless the list changed since.
    const bool current = rows.basis.isSharedWith(m_tasks) || (rows.basis.isEmpty() && m_tasks.isEmpty());
    const bool same = current ? rows.sameAsBasis : rows.tasks == m_tasks;
    const bool idsUnique = current ? rows.basisIdsUnique : !hasDuplicates(m_ids);
    // Let go of the copy before rows change: it would make them copy the whole list.
    rows.basis = {};
    if (same)
        return false;
    QList<VexoTask> next = std::move(rows.tasks);
    QList<qint64> nextIds = std::move(rows.ids);
    if (!rows.uniqueIds || !idsUnique) {
        // Matching by id means nothing when ids repeat: a new list outright.
        beginResetModel();
        m_tasks = std::move(next);
        m_ids = std::move(nextIds);
        m_deadlines = std::move(rows.deadlines);
        m_previews = std::move(rows.previews);
        endResetModel();
        return true;
    }
    QHash<qint64, qsizetype> nextRow;
    nextRow.reserve(nextIds.size());
    for (qsizetype i = 0; i < nextIds.size(); ++i)
        nextRow.insert(nextIds[i], i);

    // Rows that go, in runs from the back; `keep` is asked of each row as it stands before any of them go.
    const auto removeUnless = [this](const auto& keep) {
        for (qsizetype end = m_ids.size(); end > 0;) {
            if (keep(end - 1)) {
                --end;
                continue;
            }
            qsizetype start = end - 1;
            while (start > 0 && !keep(start - 1))
                --start;
            removeRange(start, end - start);
            end = start;
        }
    };

    // 1. Tasks the new list no longer has.
    removeUnless([&](qsizetype row) { return nextRow.contains(m_ids[row]); });
    if (m_tasks.isEmpty()) {
        // Nothing stays (a first load, another selection): the new list goes in whole, not copied.
        if (!next.isEmpty()) {
            beginInsertRows({}, 0, int(next.size()) - 1);
            m_tasks = std::move(next);
            m_ids = std::move(nextIds);
            m_deadlines = std::move(rows.deadlines);
            m_previews = std::move(rows.previews);
            endInsertRows();
        }
        return true;
    }

    // 2. Of the tasks that stay, the longest run already in the new order stays put; the others go
    //    and come back in their new places.
    QList<qsizetype> places;
    places.reserve(m_ids.size());
    for (qint64 id : std::as_const(m_ids))
        places.append(nextRow.value(id));
    QList<bool> inOrder(places.size(), false);
    for (qsizetype row : longestIncreasingRun(places))
        inOrder[row] = true;
    removeUnless([&](qsizetype row) { return inOrder[row]; });

    // 3. What the list now lacks, in runs, front to back: the rows left are in the new order already.
    for (qsizetype row = 0, i = 0; i < next.size();) {
        if (row < m_ids.size() && m_ids[row] == nextIds[i]) {
            ++row;
            ++i;
            continue;
        }
        qsizetype end = i;
        while (end < next.size() && !(row < m_ids.size() && m_ids[row] == nextIds[end]))
            ++end;
        insertAt(row, next.constData() + i, end - i);
        row += end - i;
        i = end;
    }

    // 4. Rows that stayed but whose task changed, in runs.
    for (qsizetype row = 0; row < m_tasks.size();) {
        if (m_tasks[row] == next[row]) {
            ++row;
            continue;
        }
        qsizetype end = row;
        while (end < m_tasks.size() && m_tasks[end] != next[end])
            ++end;
        changeRange(row, next.constData() + row, end - row);
        row = end;
    }
    return true;
}
