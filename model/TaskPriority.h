#pragma once

#include <QString>

#include <array>
#include <optional>

class JsonValue;

// Highest first: the declaration order is the order pickers list them in.
enum class TaskPriority { high, medium, low };

inline constexpr std::array<TaskPriority, 3> allTaskPriorities{TaskPriority::high, TaskPriority::medium,
                                                               TaskPriority::low};

QString rawValue(TaskPriority priority);
std::optional<TaskPriority> taskPriorityFromRaw(QStringView raw);
TaskPriority decodeTaskPriority(JsonValue& value);
