#include "TaskStatus.h"

#include "JsonValue.h"

using namespace Qt::StringLiterals;

QString rawValue(TaskStatus status) {
    switch (status) {
    case TaskStatus::pending:
        return u"pending"_s;
    case TaskStatus::done:
        return u"done"_s;
    case TaskStatus::cancelled:
        return u"cancelled"_s;
    }
    return {};
}

std::optional<TaskStatus> taskStatusFromRaw(QStringView raw) {
    for (TaskStatus status : allTaskStatuses) {
        if (raw == rawValue(status))
            return status;
    }
    return std::nullopt;
}

TaskStatus decodeTaskStatus(JsonValue& value) {
    const std::string_view raw = value.toUtf8View();
    if (raw == "pending")
        return TaskStatus::pending;
    if (raw == "done")
        return TaskStatus::done;
    if (raw == "cancelled")
        return TaskStatus::cancelled;
    value.fail(u"неизвестное значение «%1»"_s.arg(QString::fromUtf8(raw.data(), qsizetype(raw.size()))));
}
