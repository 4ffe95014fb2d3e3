#pragma once

#include "DateFilter.h"
#include "SidebarItem.h"
#include "VexoTask.h"

#include <QDateTime>
#include <QList>

#include <limits>
#include <optional>

// The task list's client-side narrowing and its counters, as pure functions over the loaded tasks
// and their deadlines parsed once (milliseconds since the epoch, or noDeadline).
namespace TaskFiltering {

inline constexpr qint64 noDeadline = std::numeric_limits<qint64>::min();

struct Counts {
    qsizetype total = 0;   // not archived
    qsizetype pending = 0; // not archived, pending
    qsizetype done = 0;    // not archived, done
    qsizetype overdue = 0; // not archived, pending, deadline strictly before now

    bool operator==(const Counts&) const = default;
};

// The date and priority narrowing for one moment, ready to ask of one task at a time. The calendar
// bounds are worked out once, when it is made.
class Filter final {
public:
    Filter(const SidebarItem& sidebarItem, DateFilter dateFilter, std::optional<TaskPriority> priorityFilter,
           const QDateTime& now);

    // `deadline` is the task's deadline as deadlineOf() gives it.
    bool accepts(const VexoTask& task, qint64 deadline) const {
        if (m_byDate && (deadline == noDeadline || deadline < m_from || deadline > m_to))
            return false;
        return !m_priority || task.priority == *m_priority;
    }

private:
    bool m_byDate = false;
    qint64 m_from = 0; // inclusive bounds, when m_byDate
    qint64 m_to = 0;
    std::optional<TaskPriority> m_priority;
};

// A task's deadline for filtering: present, non-empty and readable, else noDeadline.
qint64 deadlineOf(const VexoTask& task);
QList<qint64> deadlinesOf(const QList<VexoTask>& tasks);

// Positions in `tasks` of what the list shows, in the stored order. The archive ignores the date
// filter; calendar days are those of the local time zone.
QList<qsizetype> visibleIndexes(const QList<VexoTask>& tasks, const QList<qint64>& deadlines,
                                const SidebarItem& sidebarItem, DateFilter dateFilter,
                                std::optional<TaskPriority> priorityFilter, const QDateTime& now);

Counts count(const QList<VexoTask>& tasks, const QList<qint64>& deadlines, const QDateTime& now);

} // namespace TaskFiltering
