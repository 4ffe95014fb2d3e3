#pragma once

#include "SqlStorage.h"
#include "SqliteLookups.h"
#include "SqliteTaskList.h"

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
    // Straight from the rows, by statements kept between requests. With setDirectTaskList(false)
    // the list goes through QtSql and the shared encoder like every other read, to compare the two.
    QByteArray tasksJson(qint64 userId, const TaskFilter& filter) override {
        return m_directTaskList ? m_taskList.json(userId, filter) : SqlStorage::tasksJson(userId, filter);
    }
    void setDirectTaskList(bool direct) { m_directTaskList = direct; }
    // The reads of every signed-in request, also straight from the rows unless setDirectTaskList(false).
    std::optional<StoredUser> userBySessionHash(const QString& tokenHash) override {
        return m_directTaskList ? m_lookups.userBySessionHash(tokenHash) : SqlStorage::userBySessionHash(tokenHash);
    }
    qint64 latestRevision(qint64 userId, ChangeKind kind) override {
        return m_directTaskList ? m_lookups.latestRevision(userId, kind) : SqlStorage::latestRevision(userId, kind);
    }
    // Task rows the direct way left to QtSql so far.
    qint64 tasksReadTheGeneralWay() const { return m_taskList.generalRows(); }

private:
    void changesCommitted() override;
    qint64 dataVersion();

    QString m_connectionName;
    QString m_fileName;
    QList<QPointer<SqliteChangeWatch>> m_watches;
    SqliteTaskList m_taskList{m_connection};
    SqliteLookups m_lookups{m_connection};
    bool m_directTaskList = true;
    bool m_groupedSync = false; // commits are synced in groups by durabilityWork()
    // How many writes are known to be on disk; shared with syncs still running.
    std::shared_ptr<std::atomic<qint64>> m_durable = std::make_shared<std::atomic<qint64>>(0);
};
