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
