#pragma once

class SqlConnection;

// The versioned schema of the storage, the same on every database (each writes its own words for
// ids, integers and bytes). Each migration moves it one version on; a database is brought up to
// date when it is opened.
namespace SqlSchema {

int latestVersion();
// The version the database is at; 0 for an empty one.
int version(SqlConnection& connection);
// Applies the missing migrations up to `target`, all in one transaction that holds off every other
// process from its start, so that two processes opening the same database at once cannot both
// migrate it. Returns how many were applied; throws ServerError, leaving the database as it was,
// on failure or when the database is newer than this program.
int migrate(SqlConnection& connection, int target = latestVersion());

} // namespace SqlSchema
