#include "Folder.h"

#include "JsonValue.h"
#include "JsonWriter.h"

Folder Folder::fromJson(JsonValue& value) {
    Folder folder;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "id") {
            folder.id = field.toInt64();
            required.seen(0);
        } else if (key == "name") {
            folder.name = field.toString();
            required.seen(1);
        } else if (key == "color") {
            folder.color = field.toString();
            required.seen(2);
        } else if (key == "created_at") {
            folder.createdAt = field.toOptionalString();
        }
    });
    required.require(value.path(), {"id", "name", "color"});
    return folder;
}

void Folder::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("id", id);
    writer.field("name", name);
    writer.field("color", color);
    writer.optionalField("created_at", createdAt);
    writer.endObject();
}
