#include "SqlRows.h"

using namespace Qt::StringLiterals;

namespace SqlRows {

const QString taskColumns = u"id, title, description, deadline, priority, status, archived, archived_at, completed_at,"
                            u" created_at, updated_at, source, sent_to_bot, folder_id, user_id"_s;
const QString userColumns =
    u"id, telegram_id, username, first_name, last_name, avatar_name, is_admin, auto_send_bot, api_key"_s;

std::optional<QString> optionalText(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional<QString>(value.toString());
}

std::optional<qint64> optionalInteger(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional<qint64>(value.toLongLong());
}

QVariant nullable(const std::optional<QString>& text) {
    return text ? QVariant(*text) : QVariant(QMetaType::fromType<QString>());
}

QVariant nullable(const std::optional<qint64>& number) {
    return number ? QVariant(*number) : QVariant(QMetaType::fromType<qint64>());
}

VexoTask taskFrom(const QSqlQuery& query) {
    VexoTask task;
    task.id = query.value(0).toLongLong();
    task.title = query.value(1).toString();
    task.description = optionalText(query.value(2));
    task.deadline = optionalText(query.value(3));
    task.priority = taskPriorityFromRaw(query.value(4).toString()).value_or(TaskPriority::medium);
    task.status = taskStatusFromRaw(query.value(5).toString()).value_or(TaskStatus::pending);
    task.archived = query.value(6).toLongLong();
    task.archivedAt = optionalText(query.value(7));
    task.completedAt = optionalText(query.value(8));
    task.createdAt = query.value(9).toString();
    task.updatedAt = optionalText(query.value(10));
    task.source = optionalText(query.value(11));
    task.sentToBot = query.value(12).toLongLong();
    task.folderId = optionalInteger(query.value(13));
    task.userId = query.value(14).toLongLong();
    return task;
}

StoredUser userFrom(const QSqlQuery& query) {
    StoredUser stored;
    stored.user.id = query.value(0).toLongLong();
    stored.user.telegramId = query.value(1).toString();
    stored.user.username = optionalText(query.value(2));
    stored.user.firstName = optionalText(query.value(3));
    stored.user.lastName = optionalText(query.value(4));
    stored.user.avatarUrl = optionalText(query.value(5));
    stored.user.isAdmin = query.value(6).toLongLong() == 1;
    stored.autoSendBot = query.value(7).toLongLong() == 1;
    stored.apiKey = optionalText(query.value(8));
    return stored;
}

Folder folderFrom(const QSqlQuery& query) {
    return Folder{query.value(0).toLongLong(), query.value(1).toString(), query.value(2).toString(),
                  optionalText(query.value(3))};
}

TaskAttachment attachmentFrom(const QSqlQuery& query) {
    return TaskAttachment{query.value(0).toLongLong(), query.value(1).toString(), query.value(2).toString(),
                          query.value(3).toLongLong(), optionalText(query.value(4))};
}

} // namespace SqlRows
