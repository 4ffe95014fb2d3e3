#include "UserSettings.h"

#include "JsonValue.h"
#include "JsonWriter.h"

UserSettings UserSettings::fromJson(JsonValue& value) {
    UserSettings settings;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "auto_send_bot") {
            settings.autoSendBot = field.toBool();
            required.seen(0);
        }
    });
    required.require(value.path(), {"auto_send_bot"});
    return settings;
}

void UserSettings::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("auto_send_bot", autoSendBot);
    writer.endObject();
}
