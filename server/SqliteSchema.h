#pragma once

#include <QSqlDatabase>

// The versioned schema of the SQLite storage. Each migration moves it one version on; a database
// is brought up to date when it is opened.
namespace SqliteSchema {

int latestVersion();
// The version the database is at; 0 for an empty one.
int version(const QSqlDatabase& db);
// Applies the missing migrations up to `target`, all in one transaction that holds the write lock
// from the start, so that two processes opening the same database at once cannot both migrate it.
// Returns how many were applied; throws ServerError, leaving the database as it was, on failure or
// when the database is newer than this program.
int migrate(const QSqlDatabase& db, int target = latestVersion());

} // namespace SqliteSchema
