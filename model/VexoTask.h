#pragma once

#include "TaskPriority.h"
#include "TaskStatus.h"
#include "Utf8Text.h"

#include <QString>

#include <optional>

class JsonValue;
class JsonWriter;

// A task as the service sends it. Dates stay the service's texts; archived and sentToBot are the
// service's 0/1 integers, not booleans. The description stays in UTF-8 until it is read: most
// descriptions of a long list are never shown.
struct VexoTask {
    qint64 id = 0;
    QString title;
    std::optional<Utf8Text> description;
    std::optional<QString> deadline;
    TaskPriority priority = TaskPriority::medium;
    TaskStatus status = TaskStatus::pending;
    std::optional<qint64> archived;
    std::optional<QString> archivedAt;
    std::optional<QString> completedAt;
    QString createdAt;
    std::optional<QString> updatedAt;
    std::optional<QString> source;
    std::optional<qint64> sentToBot;
    std::optional<qint64> folderId;
    std::optional<qint64> userId;

    bool isArchived() const { return archived == 1; }
    bool isSentToBot() const { return sentToBot == 1; }

    static VexoTask fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;

    bool operator==(const VexoTask&) const = default;
};
// Lists of tasks grow by moving memory, not task by task.
Q_DECLARE_TYPEINFO(VexoTask, Q_RELOCATABLE_TYPE);
