#pragma once

class JsonValue;
class JsonWriter;

struct UserSettings {
    bool autoSendBot = false; // a real JSON boolean, unlike the task flags

    static UserSettings fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;

    bool operator==(const UserSettings&) const = default;
};
