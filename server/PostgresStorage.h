#pragma once

#include "PostgresAddress.h"
#include "SqlStorage.h"

#include <QPointer>

class PostgresChangeWatch;

// Storage on a PostgreSQL server, for a deployment of several stateless vexo-server processes on one
// database: everything they must agree on is in it. Each commit is durable when COMMIT returns
// (synchronous_commit as the server has it, on by default), so answers need no wait of their own.
// A connection that is lost makes the calls of the moment fail as unavailable (503), and the next
// call connects again. Attachment and avatar contents go into the database unless a folder shared by
// every process is given.
class PostgresStorage final : public SqlStorage {
public:
    // Connects and migrates; throws ServerError when the database cannot be reached, or is newer
    // than this program.
    explicit PostgresStorage(const PostgresAddress& address, std::optional<QString> contentFolder = std::nullopt);
    ~PostgresStorage() override;

    const PostgresAddress& address() const { return m_address; }
    std::unique_ptr<ChangeWatch> watchChanges(int pollIntervalMs) override;

private:
    void changesCommitted() override;

    PostgresAddress m_address;
    QString m_connectionName;
    QList<QPointer<PostgresChangeWatch>> m_watches;
};
