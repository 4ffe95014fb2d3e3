#include "TaskFiltering.h"

#include "ServerDate.h"

namespace TaskFiltering {

qint64 deadlineOf(const VexoTask& task) {
    if (!task.deadline || task.deadline->isEmpty())
        return noDeadline;
    const auto moment = parseServerDate(*task.deadline);
    return moment ? moment->toMSecsSinceEpoch() : noDeadline;
}

QList<qint64> deadlinesOf(const QList<VexoTask>& tasks) {
    QList<qint64> deadlines;
    deadlines.reserve(tasks.size());
    for (const VexoTask& task : tasks)
        deadlines.append(deadlineOf(task));
    return deadlines;
}

namespace {

// [from, to) of the local calendar day containing `moment`.
std::pair<qint64, qint64> localDay(const QDateTime& moment) {
    const QDateTime local = moment.toLocalTime();
    const QDateTime start(local.date(), QTime(0, 0), Qt::LocalTime);
    const QDateTime end(local.date().addDays(1), QTime(0, 0), Qt::LocalTime);
    return {start.toMSecsSinceEpoch(), end.toMSecsSinceEpoch()};
}

} // namespace

Filter::Filter(const SidebarItem& sidebarItem, DateFilter dateFilter, std::optional<TaskPriority> priorityFilter,
               const QDateTime& now)
    : m_byDate(dateFilter != DateFilter::all && !sidebarItem.showsArchive())
    , m_priority(priorityFilter) {
    if (!m_byDate)
        return;
    switch (dateFilter) {
    case DateFilter::today: {
        const auto [start, end] = localDay(now);
        m_from = start;
        m_to = end - 1;
        break;
    }
    case DateFilter::tomorrow: {
        const auto [start, end] = localDay(now.toLocalTime().addDays(1));
        m_from = start;
        m_to = end - 1;
        break;
    }
    case DateFilter::week:
        m_from = now.toMSecsSinceEpoch();
        m_to = now.toLocalTime().addDays(7).toMSecsSinceEpoch();
        break;
    case DateFilter::all:
        break;
    }
}

QList<qsizetype> visibleIndexes(const QList<VexoTask>& tasks, const QList<qint64>& deadlines,
                                const SidebarItem& sidebarItem, DateFilter dateFilter,
                                std::optional<TaskPriority> priorityFilter, const QDateTime& now) {
    const Filter filter(sidebarItem, dateFilter, priorityFilter, now);
    QList<qsizetype> visible;
    visible.reserve(tasks.size());
    for (qsizetype i = 0; i < tasks.size(); ++i) {
        if (filter.accepts(tasks[i], deadlines[i]))
            visible.append(i);
    }
    return visible;
}

Counts count(const QList<VexoTask>& tasks, const QList<qint64>& deadlines, const QDateTime& now) {
    const qint64 nowMs = now.toMSecsSinceEpoch();
    Counts counts;
    for (qsizetype i = 0; i < tasks.size(); ++i) {
        const VexoTask& task = tasks[i];
        if (task.isArchived())
            continue;
        ++counts.total;
        if (task.status == TaskStatus::pending) {
            ++counts.pending;
            if (deadlines[i] != noDeadline && deadlines[i] < nowMs)
                ++counts.overdue;
        } else if (task.status == TaskStatus::done) {
            ++counts.done;
        }
    }
    return counts;
}

} // namespace TaskFiltering
