#include "User.h"

#include "JsonValue.h"
#include "JsonWriter.h"

#include <QStringList>

using namespace Qt::StringLiterals;

QString User::displayName() const {
    QStringList parts;
    for (const auto* part : {&firstName, &lastName}) {
        if (*part && !(*part)->isEmpty())
            parts.append(**part);
    }
    const QString joined = parts.join(u' ');
    if (!joined.isEmpty())
        return joined;
    if (username)
        return *username;
    return u"User"_s;
}

User User::fromJson(JsonValue& value) {
    User user;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "id") {
            user.id = field.toInt64();
            required.seen(0);
        } else if (key == "telegram_id") {
            user.telegramId = field.toString();
            required.seen(1);
        } else if (key == "username") {
            user.username = field.toOptionalString();
        } else if (key == "first_name") {
            user.firstName = field.toOptionalString();
        } else if (key == "last_name") {
            user.lastName = field.toOptionalString();
        } else if (key == "avatar_url") {
            user.avatarUrl = field.toOptionalString();
        } else if (key == "is_admin") {
            user.isAdmin = field.toOptionalBool();
        }
    });
    required.require(value.path(), {"id", "telegram_id"});
    return user;
}

void User::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("id", id);
    writer.field("telegram_id", telegramId);
    writer.optionalField("username", username);
    writer.optionalField("first_name", firstName);
    writer.optionalField("last_name", lastName);
    writer.optionalField("avatar_url", avatarUrl);
    writer.optionalField("is_admin", isAdmin);
    writer.endObject();
}
