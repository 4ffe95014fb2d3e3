#pragma once

#include "SqlStorage.h"

#include <QPointer>

#include <atomic>
#include <memory>

class SqliteChangeWatch;

// Storage on SQLite, the embedded default: a WAL journal synced for groups of commits, foreign keys
// on, files private to the service's user. Attachment and avatar files live in the data folder
// beside the database, unless another folder is given.
class SqliteStorage final : public SqlStorage {
public:
    // Opens (creating when needed) the database file and migrates it; throws ServerError on failure.
    // Contents go into `contentFolder`, by default the database's own folder.
    explicit SqliteStorage(const QString& fileName, std::optional<QString> contentFolder = std::nullopt);
    ~SqliteStorage() override;

    // The value of a connection setting (PRAGMA name), such as "synchronous" or "journal_mode".
    QString setting(const QString& pragma);

    bool hasUndurableWrites() const override;
    std::function<void()> durabilityWork() override;
    std::unique_ptr<ChangeWatch> watchChanges(int pollIntervalMs) override;

private:
    void changesCommitted() override;
    qint64 dataVersion();

    QString m_connectionName;
    QString m_fileName;
    QList<QPointer<SqliteChangeWatch>> m_watches;
    bool m_groupedSync = false; // commits are synced in groups by durabilityWork()
    // How many writes are known to be on disk; shared with syncs still running.
    std::shared_ptr<std::atomic<qint64>> m_durable = std::make_shared<std::atomic<qint64>>(0);
};
