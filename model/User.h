#pragma once

#include <QString>

#include <optional>

class JsonValue;
class JsonWriter;

// The signed-in person. telegramId travels as a JSON string while id is a number.
struct User {
    qint64 id = 0;
    QString telegramId;
    std::optional<QString> username;
    std::optional<QString> firstName;
    std::optional<QString> lastName;
    std::optional<QString> avatarUrl;
    std::optional<bool> isAdmin;

    // First and last name when either is non-empty, else the username, else "User".
    QString displayName() const;

    static User fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;

    bool operator==(const User&) const = default;
};
