#include "TaskListModel.h"

#include "AppState.h"
#include "TaskList.h"
#include "TaskSearch.h"

#include <QMimeData>

#include <algorithm>

namespace {

// Beyond this many separate runs of rows coming and going, one reset is cheaper for every listener
// than that many row signals.
constexpr int maxRunsBeforeReset = 8;

} // namespace

TaskListModel::TaskListModel(AppState& state, QObject* parent)
    : QAbstractListModel(parent)
    , m_state(state)
    , m_source(state.taskList())
    , m_index(state.taskList()) {
    const TaskFiltering::Filter current = filter();
    for (int row = 0; row < m_source.rowCount(); ++row) {
        if (accepts(current, row))
            m_rows.append(row);
    }

    connect(&m_source, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex&, int first, int last) { sourceRowsInserted(first, last); });
    connect(&m_source, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex&, int first, int last) { sourceRowsAboutToBeRemoved(first, last); });
    connect(&m_source, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex&, int first, int last) { sourceRowsRemoved(first, last); });
    connect(&m_source, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles) {
                sourceDataChanged(topLeft.row(), bottomRight.row(), roles);
            });
    // The loaded list never moves rows or changes its layout; were it ever to, a reset is correct.
    connect(&m_source, &QAbstractItemModel::modelAboutToBeReset, this, &TaskListModel::sourceAboutToReset);
    connect(&m_source, &QAbstractItemModel::modelReset, this, &TaskListModel::sourceReset);
    connect(&m_source, &QAbstractItemModel::rowsAboutToBeMoved, this, &TaskListModel::sourceAboutToReset);
    connect(&m_source, &QAbstractItemModel::rowsMoved, this, &TaskListModel::sourceReset);
    connect(&m_source, &QAbstractItemModel::layoutAboutToBeChanged, this, &TaskListModel::sourceAboutToReset);
    connect(&m_source, &QAbstractItemModel::layoutChanged, this, &TaskListModel::sourceReset);

    for (auto signal : {&AppState::dateFilterChanged, &AppState::priorityFilterChanged, &AppState::sidebarItemChanged})
        connect(&m_state, signal, this, &TaskListModel::refresh);
    m_clockTick.setInterval(30'000);
    connect(&m_clockTick, &QTimer::timeout, this, &TaskListModel::refresh);
    m_clockTick.start();
    connect(&m_index, &TaskSearchIndex::ready, this, &TaskListModel::indexReady);
}

int TaskListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

const VexoTask& TaskListModel::taskAt(int row) const {
    return m_source.tasks()[m_rows[row]];
}

QVariant TaskListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    if (role == HasPreviewRole)
        return m_source.previews()[m_rows[index.row()]];
    const VexoTask& task = taskAt(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return task.title;
    case TaskRole:
        return QVariant::fromValue(task);
    case IdRole:
        return task.id;
    case SearchTextRole:
        return m_appliedQuery;
    case Qt::AccessibleTextRole:
        return m_describe ? m_describe(task) : task.title;
    default:
        return {};
    }
}

QHash<int, QByteArray> TaskListModel::roleNames() const {
    return {{Qt::DisplayRole, "title"}, {TaskRole, "task"}, {IdRole, "taskId"}, {SearchTextRole, "searchText"}};
}

Qt::ItemFlags TaskListModel::flags(const QModelIndex& index) const {
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

QStringList TaskListModel::mimeTypes() const {
    return {taskMimeType};
}

QMimeData* TaskListModel::mimeData(const QModelIndexList& indexes) const {
    for (const QModelIndex& index : indexes) {
        if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
            continue;
        auto* data = new QMimeData;
        data->setData(taskMimeType, QByteArray::number(taskAt(index.row()).id));
        return data;
    }
    return nullptr;
}

std::optional<qint64> TaskListModel::taskIdIn(const QMimeData* data) {
    if (!data || !data->hasFormat(taskMimeType))
        return std::nullopt;
    bool ok = false;
    const qint64 id = data->data(taskMimeType).toLongLong(&ok);
    return ok ? std::optional<qint64>(id) : std::nullopt;
}

int TaskListModel::rowOf(qint64 taskId) const {
    const int sourceRow = m_source.rowOf(taskId);
    if (sourceRow < 0)
        return -1;
    const int row = lowerRow(sourceRow);
    return row < m_rows.size() && m_rows[row] == sourceRow ? row : -1;
}

TaskFiltering::Filter TaskListModel::filter() const {
    return TaskFiltering::Filter(m_state.sidebarItem(), m_state.dateFilter(), m_state.priorityFilter(),
                                 m_state.clock().now());
}

bool TaskListModel::accepts(const TaskFiltering::Filter& filter, int sourceRow) const {
    if (!filter.accepts(m_source.tasks()[sourceRow], m_source.deadlines()[sourceRow]))
        return false;
    if (m_appliedNeedle.isEmpty())
        return true;
    if (!m_index.hasText(sourceRow)) {
        // Shown once its text is there: the index says when (indexReady).
        m_hiddenForText = true;
        return false;
    }
    return m_index.matches(sourceRow, m_appliedNeedle);
}

int TaskListModel::lowerRow(int sourceRow) const {
    return int(std::lower_bound(m_rows.cbegin(), m_rows.cend(), sourceRow) - m_rows.cbegin());
}

void TaskListModel::insertShown(int at, const QList<int>& sourceRows) {
    beginInsertRows({}, at, at + int(sourceRows.size()) - 1);
    m_rows.insert(at, sourceRows.size(), 0);
    std::copy(sourceRows.cbegin(), sourceRows.cend(), m_rows.begin() + at);
    endInsertRows();
}

void TaskListModel::removeShown(int first, int last) {
    beginRemoveRows({}, first, last);
    m_rows.remove(first, last - first + 1);
    endRemoveRows();
}

void TaskListModel::refresh() {
    const TaskFiltering::Filter current = filter();
    m_hiddenForText = false;
    QList<int> next;
    next.reserve(m_source.rowCount());
    for (int row = 0; row < m_source.rowCount(); ++row) {
        if (accepts(current, row))
            next.append(row);
    }
    apply(std::move(next));
}

void TaskListModel::setSearchOpen(bool open) {
    if (open == m_searchOpen)
        return;
    m_searchOpen = open;
    if (open) {
        m_index.start();
        return;
    }
    setSearchText(QString());
    m_index.stop();
}

void TaskListModel::setSearchText(const QString& text) {
    const QString query = TaskSearch::normalizedQuery(text);
    if (query == m_query)
        return;
    m_query = query;
    if (!m_query.isEmpty())
        m_index.start();
    applySearch();
}

void TaskListModel::applySearch() {
    if (!m_query.isEmpty() && !m_index.ensureAll()) {
        Q_EMIT searchChanged(); // waits for indexReady()
        return;
    }
    const QByteArray needle = TaskSearch::encode(m_query);
    // Every task holding the new text holds the old one too: only the rows shown can stay.
    const bool narrowing = !m_appliedNeedle.isEmpty() && !m_hiddenForText && needle.contains(m_appliedNeedle);
    const bool highlightChanged = m_appliedQuery != m_query;
    m_appliedQuery = m_query;
    m_appliedNeedle = needle;
    if (narrowing) {
        const TaskFiltering::Filter current = filter();
        QList<int> next;
        next.reserve(m_rows.size());
        for (int row : std::as_const(m_rows)) {
            if (accepts(current, row))
                next.append(row);
        }
        apply(std::move(next));
    } else {
        refresh();
    }
    if (highlightChanged && !m_rows.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1), {SearchTextRole});
    Q_EMIT searchChanged();
}

void TaskListModel::indexReady() {
    if (searchPending())
        applySearch();
    else if (!m_appliedNeedle.isEmpty())
        refresh(); // rows that waited for their texts
}

void TaskListModel::apply(QList<int> next) {
    // Compared by hand: QList's own comparison hands memcmp a null pointer for an empty list.
    if (std::equal(next.cbegin(), next.cend(), m_rows.cbegin(), m_rows.cend()))
        return;

    // Both lists are ascending: one pass finds the runs of rows that go (as rows shown now) and the
    // runs that come (as positions in `next`).
    QList<std::pair<int, int>> going;
    QList<std::pair<int, int>> coming;
    for (int row = 0, n = 0; row < m_rows.size() || n < next.size();) {
        if (n == next.size() || (row < m_rows.size() && m_rows[row] < next[n])) {
            if (!going.isEmpty() && going.last().second == row - 1)
                going.last().second = row;
            else
                going.append({row, row});
            ++row;
        } else if (row == m_rows.size() || next[n] < m_rows[row]) {
            if (!coming.isEmpty() && coming.last().second == n - 1)
                coming.last().second = n;
            else
                coming.append({n, n});
            ++n;
        } else {
            ++row;
            ++n;
        }
    }
    if (going.size() + coming.size() > maxRunsBeforeReset) {
        beginResetModel();
        m_rows = std::move(next);
        endResetModel();
        return;
    }
    for (auto run = going.crbegin(); run != going.crend(); ++run)
        removeShown(run->first, run->second);
    for (const auto& [first, last] : std::as_const(coming))
        insertShown(lowerRow(next[first]), next.mid(first, last - first + 1));
}

void TaskListModel::sourceRowsInserted(int first, int last) {
    m_index.rowsInserted(first, last);
    m_index.ensure(first, last);
    const int count = last - first + 1;
    const int at = lowerRow(first);
    // The rows shown after the new ones keep their tasks; only their places in the source moved.
    for (int row = at; row < m_rows.size(); ++row)
        m_rows[row] += count;
    const TaskFiltering::Filter current = filter();
    QList<int> shown;
    for (int sourceRow = first; sourceRow <= last; ++sourceRow) {
        if (accepts(current, sourceRow))
            shown.append(sourceRow);
    }
    if (!shown.isEmpty())
        insertShown(at, shown);
}

void TaskListModel::sourceRowsAboutToBeRemoved(int first, int last) {
    // The source still holds the rows: whoever hears of their removal here can still read them.
    const int from = lowerRow(first);
    const int to = lowerRow(last + 1);
    if (to > from)
        removeShown(from, to - 1);
}

void TaskListModel::sourceRowsRemoved(int first, int last) {
    m_index.rowsRemoved(first, last);
    const int count = last - first + 1;
    for (int row = lowerRow(first); row < m_rows.size(); ++row)
        m_rows[row] -= count;
}

void TaskListModel::sourceDataChanged(int first, int last, const QList<int>& roles) {
    m_index.rowsChanged(first, last);
    m_index.ensure(first, last);
    const TaskFiltering::Filter current = filter();
    int changedFrom = -1;
    int changedTo = -1;
    const auto flush = [&] {
        if (changedFrom >= 0)
            Q_EMIT dataChanged(index(changedFrom), index(changedTo), roles);
        changedFrom = -1;
    };
    for (int sourceRow = first; sourceRow <= last; ++sourceRow) {
        const int row = lowerRow(sourceRow);
        const bool shown = row < m_rows.size() && m_rows[row] == sourceRow;
        const bool wanted = accepts(current, sourceRow);
        if (shown && wanted) {
            if (changedFrom >= 0 && changedTo == row - 1) {
                changedTo = row;
            } else {
                flush();
                changedFrom = changedTo = row;
            }
        } else if (shown) {
            flush();
            removeShown(row, row);
        } else if (wanted) {
            flush();
            insertShown(row, {sourceRow});
        }
    }
    flush();
}

void TaskListModel::sourceAboutToReset() {
    beginResetModel();
    m_rows.clear();
}

void TaskListModel::sourceReset() {
    m_index.reset();
    m_index.ensureAll();
    m_hiddenForText = false;
    const TaskFiltering::Filter current = filter();
    for (int row = 0; row < m_source.rowCount(); ++row) {
        if (accepts(current, row))
            m_rows.append(row);
    }
    endResetModel();
}
