#pragma once

#include "PostgresAddress.h"
#include "Storage.h"

#include <memory>
#include <optional>

// Which storage a command runs on: SQLite in a data folder (the default, needing nothing else), or
// a PostgreSQL database shared by several processes; and where attachment and avatar contents go.
struct StorageChoice {
    QString dataDir;                         // SQLite's folder: vexo.db and, by default, the contents
    std::optional<PostgresAddress> database; // PostgreSQL when present
    std::optional<QString> contentFolder;    // contents there rather than beside SQLite or in PostgreSQL

    // Names it without anything secret, for the log and messages.
    QString describe() const;
    // Opens (creating and migrating when needed); throws ServerError.
    std::unique_ptr<Storage> open() const;
};
