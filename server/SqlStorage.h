#pragma once

#include "SqlChangeLog.h"
#include "SqlConnection.h"
#include "SqlReports.h"
#include "Storage.h"

#include <QDir>

#include <optional>

// The storage on an SQL database: every statement and rule, shared by SQLite and PostgreSQL, on one
// connection. What differs is the dialect (SqlDialect) and what the backends add around it: how
// the connection is opened, how writes become durable and how other processes' changes are heard.
//
// Attachment and avatar contents live either in a folder (attachments/ and avatars/ under it,
// written before the row that names them and removed after the row is gone) or, without one, in
// the database's `blobs` table, in the transaction of their row. They are read from wherever they
// are, so a deployment that changes its choice keeps what it had.
class SqlStorage : public Storage {
public:
    ~SqlStorage() override;
    SqlStorage(const SqlStorage&) = delete;
    SqlStorage& operator=(const SqlStorage&) = delete;

    static int schemaVersion();
    const SqlDialect& dialect() const { return m_connection.dialect(); }
    SqlConnection& connection() { return m_connection; }
    // The folder contents are written to; empty when they go into the database.
    const std::optional<QDir>& contentFolder() const { return m_contentFolder; }

    std::optional<StoredUser> userById(qint64 id) override;
    std::optional<StoredUser> userByTelegramId(const QString& telegramId) override;
    std::optional<StoredUser> userByLoginKeyHash(const QString& keyHash) override;
    std::optional<StoredUser> userBySessionHash(const QString& tokenHash) override;
    std::optional<StoredUser> userByApiKey(const QString& apiKey) override;
    StoredUser createUser(const NewUser& user, const QString& now) override;
    void setAvatar(qint64 userId, const QString& avatarName) override;
    QString addAvatar(const QByteArray& image, const QString& suffix) override;
    std::optional<QByteArray> avatar(const QString& name) override;
    void addLoginKey(qint64 userId, const QString& keyHash, bool revokeOthers, const QString& now) override;
    void addSession(qint64 userId, const QString& tokenHash, const QString& now) override;
    void setAutoSendBot(qint64 userId, bool enabled) override;
    void setApiKey(qint64 userId, const QString& apiKey) override;
    bool admitAttempt(const QStringList& buckets, qint64 nowMs, qint64 windowMs, int limit) override;

    QList<VexoTask> tasks(qint64 userId, const TaskFilter& filter) override;
    std::optional<VexoTask> task(qint64 userId, qint64 taskId) override;
    VexoTask insertTask(qint64 userId, const NewTask& task, bool sendToBot, const QString& now) override;
    std::optional<VexoTask> updateTask(qint64 userId, qint64 taskId, const TaskChanges& changes,
                                       const QString& now) override;
    bool archiveTask(qint64 userId, qint64 taskId, const QString& now) override;
    bool deleteTask(qint64 userId, qint64 taskId) override;
    bool markSent(qint64 userId, qint64 taskId, const QString& text, const QString& now) override;

    QList<Folder> folders(qint64 userId) override;
    bool hasFolder(qint64 userId, qint64 folderId) override;
    Folder insertFolder(qint64 userId, const QString& name, const QString& color, const QString& now) override;
    std::optional<Folder> updateFolder(qint64 userId, qint64 folderId, const QString& name,
                                       const QString& color) override;
    bool deleteFolder(qint64 userId, qint64 folderId) override;

    std::optional<QList<TaskAttachment>> attachments(qint64 taskId) override;
    std::optional<AttachmentFile> attachmentFile(qint64 userId, qint64 taskId, qint64 attachmentId) override;
    std::optional<TaskAttachment> addAttachment(qint64 taskId, const QString& filename, const QString& mimetype,
                                                const QByteArray& content, const QString& now) override;
    bool deleteAttachment(qint64 userId, qint64 taskId, qint64 attachmentId) override;

    QHash<QString, qint64> createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) override;
    QHash<QString, qint64> completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) override;
    QHash<QString, qint64> createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) override;

    AdminStats adminStats() override;
    QList<AdminUser> adminUsers() override;

    QList<OutboxEntry> outbox() override;

    qint64 latestRevision(qint64 userId, ChangeKind kind) override;
    qint64 lastRevision() override;
    QList<Change> changesAfter(qint64 revision, int limit, qint64& through) override;
    QString instanceId() override;

    // How many rows of the change log are kept (the newest of each user and kind besides).
    void setChangeLogLimit(qint64 rows) { m_log.setLimit(rows); }
    qint64 changeLogRows() { return m_log.rowCount(); }
    qint64 pruneChangeLog();

    // A stored content by its name ("attachments/…", "avatars/…"), from wherever it is; empty when
    // it is nowhere.
    std::optional<QByteArray> content(const QString& name);

protected:
    // `contentFolder`: where contents are written; empty for the database. Nothing is opened yet:
    // the backend opens the connection and then calls start().
    SqlStorage(const SqlDialect& dialect, const QSqlDatabase& database, std::optional<QDir> contentFolder,
               std::function<void(SqlConnection&)> setUp = {});

    // Brings the schema up to date and reads the instance; returns how many migrations ran.
    int start();
    // After each commit that appended to the change log: tell this process's watches.
    virtual void changesCommitted() {}
    // Writes made so far, commits and statements outside transactions, for durability bookkeeping.
    qint64 writeCount() const { return m_written; }
    void countWrite() { ++m_written; }

    SqlConnection m_connection;

private:
    class Transaction;
    friend class StorageCopy;

    SqlConnection::Statement prepare(const QString& sql) { return m_connection.prepare(sql); }
    void execute(SqlConnection::Statement& statement);
    std::optional<StoredUser> userWhere(const QString& condition, const QVariant& value);
    void appendOutbox(qint64 userId, qint64 taskId, const QString& text, const QString& now);
    // Before the transaction of its row: written into the folder, if there is one. Returns whether
    // it was; otherwise putContent() stores it in the transaction.
    bool writeContentFile(const QString& name, const QByteArray& bytes);
    void putContent(const QString& name, const QByteArray& bytes);
    // In the transaction that removes the rows naming them; files go once it has committed.
    void dropContents(const QStringList& names);
    void removeContentFiles(const QStringList& names);

    std::optional<QDir> m_contentFolder;
    SqlChangeLog m_log{m_connection};
    SqlReports m_reports{m_connection};
    QString m_instanceId;
    qint64 m_written = 0;
};
