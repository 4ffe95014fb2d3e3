#include "AdminUser.h"

#include "JsonValue.h"
#include "JsonWriter.h"

#include <QStringList>

using namespace Qt::StringLiterals;

QString AdminUser::displayName() const {
    // Unlike User, a present but empty name part is kept: the panel shows names exactly as stored.
    QStringList parts;
    if (firstName)
        parts.append(*firstName);
    if (lastName)
        parts.append(*lastName);
    const QString joined = parts.join(u' ');
    if (!joined.isEmpty())
        return joined;
    if (username)
        return *username;
    return u"User #"_s + telegramId;
}

AdminUser AdminUser::fromJson(JsonValue& value) {
    AdminUser user;
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
        } else if (key == "task_count") {
            user.taskCount = field.toOptionalInt64();
        } else if (key == "is_admin") {
            user.isAdmin = field.toOptionalBool();
        }
    });
    required.require(value.path(), {"id", "telegram_id"});
    return user;
}

void AdminUser::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("id", id);
    writer.field("telegram_id", telegramId);
    writer.optionalField("username", username);
    writer.optionalField("first_name", firstName);
    writer.optionalField("last_name", lastName);
    writer.optionalField("task_count", taskCount);
    writer.optionalField("is_admin", isAdmin);
    writer.endObject();
}
