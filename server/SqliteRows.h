#pragma once

#include "Storage.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

class QSqlError;

// What every piece of the SQLite storage shares: statements, failures and the mapping of rows to records.
namespace SqliteRows {

extern const QString taskColumns;
extern const QString userColumns;

// Throws ServerError (internal) with SQLite's message.
[[noreturn]] void fail(const QSqlError& error);
QSqlQuery prepare(const QSqlDatabase& db, const QString& sql);
void execute(QSqlQuery& query);
// Runs a statement without parameters.
void run(const QSqlDatabase& db, const QString& sql);

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

} // namespace SqliteRows
