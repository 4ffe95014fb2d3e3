#include "TaskAttachment.h"

#include "JsonValue.h"
#include "JsonWriter.h"

TaskAttachment TaskAttachment::fromJson(JsonValue& value) {
    TaskAttachment attachment;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "id") {
            attachment.id = field.toInt64();
            required.seen(0);
        } else if (key == "filename") {
            attachment.filename = field.toString();
            required.seen(1);
        } else if (key == "mimetype") {
            attachment.mimetype = field.toString();
            required.seen(2);
        } else if (key == "size") {
            attachment.size = field.toInt64();
            required.seen(3);
        } else if (key == "created_at") {
            attachment.createdAt = field.toOptionalString();
        }
    });
    required.require(value.path(), {"id", "filename", "mimetype", "size"});
    return attachment;
}

void TaskAttachment::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("id", id);
    writer.field("filename", filename);
    writer.field("mimetype", mimetype);
    writer.field("size", size);
    writer.optionalField("created_at", createdAt);
    writer.endObject();
}
