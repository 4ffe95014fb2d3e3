#pragma once

#include <QString>

#include <optional>

class JsonValue;
class JsonWriter;

// A user as the administration panel lists them: like User, with a task count instead of an avatar.
struct AdminUser {
    qint64 id = 0;
    QString telegramId;
    std::optional<QString> username;
    std::optional<QString> firstName;
    std::optional<QString> lastName;
    std::optional<qint64> taskCount;
    std::optional<bool> isAdmin;

    // First and last name as present (joined by a space), else the username, else "User #<telegram id>".
    QString displayName() const;

    static AdminUser fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const AdminUser&) const = default;
};
