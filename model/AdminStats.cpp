#include "AdminStats.h"

#include "JsonValue.h"
#include "JsonWriter.h"

AdminStats AdminStats::fromJson(JsonValue& value) {
    AdminStats stats;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "total_users") {
            stats.totalUsers = field.toInt64();
            required.seen(0);
        } else if (key == "total_tasks") {
            stats.totalTasks = field.toInt64();
            required.seen(1);
        } else if (key == "active_tasks") {
            stats.activeTasks = field.toInt64();
            required.seen(2);
        } else if (key == "completed_tasks") {
            stats.completedTasks = field.toInt64();
            required.seen(3);
        }
    });
    required.require(value.path(), {"total_users", "total_tasks", "active_tasks", "completed_tasks"});
    return stats;
}

void AdminStats::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("total_users", totalUsers);
    writer.field("total_tasks", totalTasks);
    writer.field("active_tasks", activeTasks);
    writer.field("completed_tasks", completedTasks);
    writer.endObject();
}
