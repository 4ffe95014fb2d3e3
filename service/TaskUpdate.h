#pragma once

#include "TaskPriority.h"
#include "TaskStatus.h"

#include <QString>

#include <optional>

// The fields of one task change; only the present ones are sent. An empty deadline text clears it.
struct TaskUpdate {
    std::optional<QString> title;
    std::optional<QString> description;
    std::optional<QString> deadline;
    std::optional<TaskPriority> priority;
    std::optional<TaskStatus> status;
    std::optional<qint64> folderId;

    bool operator==(const TaskUpdate&) const = default;
};
