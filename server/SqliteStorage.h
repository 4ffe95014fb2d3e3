#pragma once

#include "SqliteChangeLog.h"
#include "SqliteReports.h"
#include "Storage.h"

#include <QPointer>
#include <QSqlDatabase>

#include <atomic>
#include <memory>

class QSqlQuery;
class SqliteChangeWatch;

// Storage on SQLite: WAL journal synced for groups of commits, foreign keys on, a versioned schema
// migrated at open (SqliteSchema), a change log written with every change (SqliteChangeLog), files
// private to the service's user. The SQL is kept to what PostgreSQL also speaks, apart from the
// connection pragmas.
class SqliteStorage final : public Storage {
public:
    // Opens (creating when needed) the database file and migrates it; throws ServerError on failure.
    explicit SqliteStorage(const QString& fileName);
    ~SqliteStorage() override;
    SqliteStorage(const SqliteStorage&) = delete;
    SqliteStorage& operator=(const SqliteStorage&) = delete;

    static int schemaVersion();
    // The value of a connection setting (PRAGMA name), such as "synchronous" or "journal_mode".
    QString setting(const QString& pragma);

    bool hasUndurableWrites() const override;
    std::function<void()> durabilityWork() override;

    std::optional<StoredUser> userById(qint64 id) override;
    std::optional<StoredUser> userByTelegramId(const QString& telegramId) override;
    std::optional<StoredUser> userByLoginKeyHash(const QString& keyHash) override;
    std::optional<StoredUser> userBySessionHash(const QString& tokenHash) override;
    std::optional<StoredUser> userByApiKey(const QString& apiKey) override;
    StoredUser createUser(const NewUser& user, const QString& now) override;
    void setAvatar(qint64 userId, const QString& avatarName) override;
    void addLoginKey(qint64 userId, const QString& keyHash, bool revokeOthers, const QString& now) override;
    void addSession(qint64 userId, const QString& tokenHash, const QString& now) override;
    void setAutoSendBot(qint64 userId, bool enabled) override;
    void setApiKey(qint64 userId, const QString& apiKey) override;

    QList<VexoTask> tasks(qint64 userId, const TaskFilter& filter) override;
    std::optional<VexoTask> task(qint64 userId, qint64 taskId) override;
    VexoTask insertTask(qint64 userId, const NewTask& task, bool sendToBot, const QString& now) override;
    std::optional<VexoTask> updateTask(qint64 userId, qint64 taskId, const TaskChanges& changes,
                                       const QString& now) override;
    bool archiveTask(qint64 userId, qint64 taskId, const QString& now) override;
    std::optional<QStringList> deleteTask(qint64 userId, qint64 taskId) override;
    bool markSent(qint64 userId, qint64 taskId, const QString& text, const QString& now) override;

    QList<Folder> folders(qint64 userId) override;
    bool hasFolder(qint64 userId, qint64 folderId) override;
    Folder insertFolder(qint64 userId, const QString& name, const QString& color, const QString& now) override;
    std::optional<Folder> updateFolder(qint64 userId, qint64 folderId, const QString& name,
                                       const QString& color) override;
    bool deleteFolder(qint64 userId, qint64 folderId) override;

    std::optional<QList<TaskAttachment>> attachments(qint64 taskId) override;
    std::optional<StoredAttachment> attachment(qint64 userId, qint64 taskId, qint64 attachmentId) override;
    TaskAttachment insertAttachment(qint64 taskId, const QString& filename, const QString& mimetype, qint64 size,
                                    const QString& storedName, const QString& now) override;
    std::optional<QString> deleteAttachment(qint64 userId, qint64 taskId, qint64 attachmentId) override;

    QHash<QString, qint64> createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) override;
    QHash<QString, qint64> completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) override;
    QHash<QString, qint64> createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) override;

    AdminStats adminStats() override;
    QList<AdminUser> adminUsers() override;

    QList<OutboxEntry> outbox() override;

    qint64 latestRevision(qint64 userId, ChangeKind kind) override;
    qint64 lastRevision() override;
    QList<Change> changesAfter(qint64 revision, int limit, qint64& through) override;
    std::unique_ptr<ChangeWatch> watchChanges(int pollIntervalMs) override;
    QString instanceId() override;

    // How many rows of the change log are kept (the newest of each user and kind besides).
    void setChangeLogLimit(qint64 rows) { m_log.setLimit(rows); }
    qint64 changeLogRows() { return m_log.rowCount(); }
    qint64 pruneChangeLog();

private:
    class Transaction;

    QSqlQuery prepare(const QString& sql);
    void execute(QSqlQuery& query);
    qint64 dataVersion();
    void announceChanges();
    std::optional<StoredUser> userWhere(const QString& condition, const QVariant& value);
    void appendOutbox(qint64 userId, qint64 taskId, const QString& text, const QString& now);

    QString m_connectionName;
    QString m_fileName;
    QSqlDatabase m_db;
    SqliteChangeLog m_log{m_db};
    SqliteReports m_reports{m_db};
    QList<QPointer<SqliteChangeWatch>> m_watches;
    QString m_instanceId;
    bool m_groupedSync = false; // commits are synced in groups by durabilityWork()
    qint64 m_written = 0;       // writes so far
    // How many of them are known to be on disk; shared with syncs still running.
    std::shared_ptr<std::atomic<qint64>> m_durable = std::make_shared<std::atomic<qint64>>(0);
};
