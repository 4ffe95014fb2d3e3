#pragma once

#include "Storage.h"

#include <QSqlQuery>
#include <QVariant>

// What every piece of the SQL storage shares, whatever the database: the mapping of rows to records.
namespace SqlRows {

extern const QString taskColumns;
extern const QString userColumns;

std::optional<QString> optionalText(const QVariant& value);
std::optional<qint64> optionalInteger(const QVariant& value);
QVariant nullable(const std::optional<QString>& text);
QVariant nullable(const std::optional<qint64>& number);

// From rows selected with taskColumns and userColumns; folders as id, name, color, created_at;
// attachments as id, filename, mimetype, size, created_at.
VexoTask taskFrom(const QSqlQuery& query);
StoredUser userFrom(const QSqlQuery& query);
Folder folderFrom(const QSqlQuery& query);
TaskAttachment attachmentFrom(const QSqlQuery& query);

} // namespace SqlRows
