#pragma once

#include <QtGlobal>

class JsonValue;
class JsonWriter;

// Service-wide totals for the administration panel.
struct AdminStats {
    qint64 totalUsers = 0;
    qint64 totalTasks = 0;
    qint64 activeTasks = 0;
    qint64 completedTasks = 0;

    static AdminStats fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const AdminStats&) const = default;
};
