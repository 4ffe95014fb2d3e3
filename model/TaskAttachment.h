#pragma once

#include <QString>

#include <optional>

class JsonValue;
class JsonWriter;

struct TaskAttachment {
    qint64 id = 0;
    QString filename;
    QString mimetype;
    qint64 size = 0; // bytes
    std::optional<QString> createdAt;

    static TaskAttachment fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;

    bool operator==(const TaskAttachment&) const = default;
};
