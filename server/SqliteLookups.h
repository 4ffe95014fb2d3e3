#pragma once

#include "Change.h"
#include "SqliteStatements.h"
#include "Storage.h"

#include <optional>

class SqlConnection;

// The two reads every signed-in request makes, the session's user and, for a list that can be
// revalidated, the user's latest revision, straight from SQLite by statements kept prepared: through
// QtSql each costs more than answering a 304 does. They give exactly what the general reads give.
class SqliteLookups final {
public:
    explicit SqliteLookups(SqlConnection& connection);

    std::optional<StoredUser> userBySessionHash(const QString& tokenHash);
    qint64 latestRevision(qint64 userId, ChangeKind kind);
    void release() { m_statements.release(); }

private:
    SqliteStatements m_statements;
};
