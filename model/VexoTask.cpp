#include "VexoTask.h"

#include "JsonValue.h"
#include "JsonWriter.h"
#include "Utf8.h"

namespace {

// Every task names one of a few sources: the usual ones share one string instead of one per task.
std::optional<QString> sourceText(JsonValue& field) {
    static const QString bot = QString::fromLatin1("bot");
    static const QString app = QString::fromLatin1("app");
    if (field.isNull())
        return std::nullopt;
    const std::string_view text = field.toUtf8View();
    if (text == "bot")
        return bot;
    if (text == "app")
        return app;
    return utf8ToString(text);
}

} // namespace

// Keys are dispatched on length first: it is the hot loop of decoding a task list.
VexoTask VexoTask::fromJson(JsonValue& value) {
    VexoTask task;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        switch (key.size()) {
        case 2:
            if (key == "id") {
                task.id = field.toInt64();
                required.seen(0);
            }
            break;
        case 5:
            if (key == "title") {
                task.title = field.toString();
                required.seen(1);
            }
            break;
        case 6:
            if (key == "status") {
                task.status = decodeTaskStatus(field);
                required.seen(3);
            } else if (key == "source") {
                task.source = sourceText(field);
            }
            break;
        case 7:
            if (key == "user_id")
                task.userId = field.toOptionalInt64();
            break;
        case 8:
            if (key == "deadline") {
                task.deadline = field.toOptionalString();
            } else if (key == "priority") {
                task.priority = decodeTaskPriority(field);
                required.seen(2);
            } else if (key == "archived") {
                task.archived = field.toOptionalInt64();
            }
            break;
        case 9:
            if (key == "folder_id")
                task.folderId = field.toOptionalInt64();
            break;
        case 10:
            if (key == "created_at") {
                task.createdAt = field.toString();
                required.seen(4);
            } else if (key == "updated_at") {
                task.updatedAt = field.toOptionalString();
            }
            break;
        case 11:
            if (key == "description") {
                if (std::optional<QByteArray> text = field.toOptionalUtf8())
                    task.description = Utf8Text::fromUtf8(std::move(*text));
            } else if (key == "archived_at") {
                task.archivedAt = field.toOptionalString();
            } else if (key == "sent_to_bot") {
                task.sentToBot = field.toOptionalInt64();
            }
            break;
        case 12:
            if (key == "completed_at")
                task.completedAt = field.toOptionalString();
            break;
        default:
            break;
        }
    });
    required.require(value.path(), {"id", "title", "priority", "status", "created_at"});
    return task;
}

void VexoTask::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("id", id);
    writer.field("title", title);
    writer.optionalField("description", description);
    writer.optionalField("deadline", deadline);
    writer.field("priority", rawValue(priority));
    writer.field("status", rawValue(status));
    writer.optionalField("archived", archived);
    writer.optionalField("archived_at", archivedAt);
    writer.optionalField("completed_at", completedAt);
    writer.field("created_at", createdAt);
    writer.optionalField("updated_at", updatedAt);
    writer.optionalField("source", source);
    writer.optionalField("sent_to_bot", sentToBot);
    writer.optionalField("folder_id", folderId);
    writer.optionalField("user_id", userId);
    writer.endObject();
}
