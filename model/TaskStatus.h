#pragma once

#include <QString>

#include <array>
#include <optional>

class JsonValue;

enum class TaskStatus { pending, done, cancelled };

inline constexpr std::array<TaskStatus, 3> allTaskStatuses{TaskStatus::pending, TaskStatus::done,
                                                           TaskStatus::cancelled};

QString rawValue(TaskStatus status);
std::optional<TaskStatus> taskStatusFromRaw(QStringView raw);
TaskStatus decodeTaskStatus(JsonValue& value);
