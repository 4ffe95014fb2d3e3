#include "TaskPriority.h"

#include "JsonValue.h"

using namespace Qt::StringLiterals;

QString rawValue(TaskPriority priority) {
    switch (priority) {
    case TaskPriority::high:
        return u"high"_s;
    case TaskPriority::medium:
        return u"medium"_s;
    case TaskPriority::low:
        return u"low"_s;
    }
    return {};
}

std::optional<TaskPriority> taskPriorityFromRaw(QStringView raw) {
    for (TaskPriority priority : allTaskPriorities) {
        if (raw == rawValue(priority))
            return priority;
    }
    return std::nullopt;
}

TaskPriority decodeTaskPriority(JsonValue& value) {
    const std::string_view raw = value.toUtf8View();
    if (raw == "high")
        return TaskPriority::high;
    if (raw == "medium")
        return TaskPriority::medium;
    if (raw == "low")
        return TaskPriority::low;
    value.fail(u"неизвестное значение «%1»"_s.arg(QString::fromUtf8(raw.data(), qsizetype(raw.size()))));
}
