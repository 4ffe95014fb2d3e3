#include "SqliteStorage.h"

#include "PrivateFiles.h"
#include "ServerError.h"
#include "ServerLog.h"
#include "SqliteChangeWatch.h"
#include "SqliteRows.h"
#include "SqliteSchema.h"

#include <QAtomicInt>
#include <QFile>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace SqliteRows;

// Commits when told to, rolls back when left by an exception. Whoever watches the change log hears
// of a commit that appended to it.
class SqliteStorage::Transaction final {
public:
    explicit Transaction(SqliteStorage& storage)
        : m_storage(storage) {
        if (!m_storage.m_db.transaction())
            fail(m_storage.m_db.lastError());
    }
    ~Transaction() {
        if (!m_done) {
            m_storage.m_db.rollback();
            m_storage.m_log.takeAppended();
        }
    }
    void commit() {
        if (!m_storage.m_db.commit())
            fail(m_storage.m_db.lastError());
        m_done = true;
        ++m_storage.m_written;
        if (m_storage.m_log.takeAppended())
            m_storage.announceChanges();
    }

private:
    SqliteStorage& m_storage;
    bool m_done = false;
};

SqliteStorage::SqliteStorage(const QString& fileName) {
    static QAtomicInt counter;
    m_connectionName = u"vexo-storage-%1"_s.arg(counter.fetchAndAddRelaxed(1));
    // The file exists, private, before SQLite opens it: SQLite then gives its journal files the
    // same mode. A file an older version left readable to others is made private too.
    const QStringList files{fileName, fileName + u"-wal"_s, fileName + u"-shm"_s, fileName + u"-journal"_s};
    if (QFile database(fileName); !database.exists() && !database.open(QIODevice::WriteOnly, PrivateFiles::fileMode))
        throw ServerError(ErrorKind::internal, u"Не удалось создать файл базы данных %1"_s.arg(fileName));
    for (const QString& file : files) {
        if (!PrivateFiles::protect(file))
            throw ServerError(ErrorKind::internal, u"Не удалось закрыть доступ к %1"_s.arg(file));
    }
    m_db = QSqlDatabase::addDatabase(u"QSQLITE"_s, m_connectionName);
    m_db.setDatabaseName(fileName);
    m_db.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=5000"_s);
    if (!m_db.open())
        fail(m_db.lastError());
    // In WAL mode commits are not synced one by one (synchronous=NORMAL): makeWritesDurable()
    // flushes the journal once for a group of them, before their answers go out, so that a write
    // that was answered survives a power loss, not only the process being killed. Where WAL is not
    // available every commit is synced (FULL).
    for (const QString& pragma : {u"PRAGMA journal_mode=WAL"_s, u"PRAGMA foreign_keys=ON"_s}) {
        QSqlQuery query(m_db);
        if (!query.exec(pragma))
            fail(query.lastError());
    }
    m_fileName = fileName;
    m_groupedSync = setting(u"journal_mode"_s) == u"wal";
    if (QSqlQuery query(m_db);
        !query.exec(m_groupedSync ? u"PRAGMA synchronous=NORMAL"_s : u"PRAGMA synchronous=FULL"_s))
        fail(query.lastError());
    m_written += SqliteSchema::migrate(m_db);
    if (QSqlQuery query(m_db); !query.exec(u"SELECT id FROM instance"_s) || !query.next())
        fail(query.lastError());
    else
        m_instanceId = query.value(0).toString();
    makeWritesDurable();
    for (const QString& file : files)
        PrivateFiles::protect(file);
}

QString SqliteStorage::setting(const QString& pragma) {
    static const QRegularExpression name(u"^[a-z_]+$"_s);
    if (!name.match(pragma).hasMatch())
        return QString();
    QSqlQuery query(m_db);
    if (!query.exec(u"PRAGMA "_s + pragma) || !query.next())
        return QString();
    return query.value(0).toString();
}

SqliteStorage::~SqliteStorage() {
    makeWritesDurable();
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connectionName);
}

int SqliteStorage::schemaVersion() {
    return SqliteSchema::latestVersion();
}

QSqlQuery SqliteStorage::prepare(const QString& sql) {
    return SqliteRows::prepare(m_db, sql);
}

void SqliteStorage::execute(QSqlQuery& query) {
    SqliteRows::execute(query);
    if (!query.isSelect())
        ++m_written;
}

bool SqliteStorage::hasUndurableWrites() const {
    return m_groupedSync && m_durable->load() < m_written;
}

std::function<void()> SqliteStorage::durabilityWork() {
    if (!hasUndurableWrites())
        return {};
    // One flush of the journal makes every commit before it durable: what synchronous=FULL does
    // at each commit, done once for all the commits whose answers are waiting. It needs nothing
    // of the connection, so it can run beside new commits on another thread.
    return [journal = QFile::encodeName(m_fileName + u"-wal"_s), written = m_written, durable = m_durable] {
        const int fd = ::open(journal.constData(), O_RDONLY | O_CLOEXEC);
        const bool synced = fd >= 0 && ::fdatasync(fd) == 0;
        if (!synced)
            qCCritical(lcServer) << "the journal could not be flushed to disk:" << std::strerror(errno);
        if (fd >= 0)
            ::close(fd);
        if (!synced)
            return;
        for (qint64 known = durable->load(); known < written && !durable->compare_exchange_weak(known, written);) {
        }
    };
}

std::optional<StoredUser> SqliteStorage::userWhere(const QString& condition, const QVariant& value) {
    QSqlQuery query = prepare(u"SELECT "_s + userColumns + u" FROM users WHERE "_s + condition);
    query.addBindValue(value);
    execute(query);
    if (!query.next())
        return std::nullopt;
    return userFrom(query);
}

std::optional<StoredUser> SqliteStorage::userById(qint64 id) {
    return userWhere(u"id = ?"_s, id);
}

std::optional<StoredUser> SqliteStorage::userByTelegramId(const QString& telegramId) {
    return userWhere(u"telegram_id = ?"_s, telegramId);
}

std::optional<StoredUser> SqliteStorage::userByLoginKeyHash(const QString& keyHash) {
    return userWhere(u"id = (SELECT user_id FROM login_keys WHERE key_hash = ?)"_s, keyHash);
}

std::optional<StoredUser> SqliteStorage::userBySessionHash(const QString& tokenHash) {
    return userWhere(u"id = (SELECT user_id FROM sessions WHERE token_hash = ?)"_s, tokenHash);
}

std::optional<StoredUser> SqliteStorage::userByApiKey(const QString& apiKey) {
    return userWhere(u"api_key = ?"_s, apiKey);
}

StoredUser SqliteStorage::createUser(const NewUser& user, const QString& now) {
    Transaction transaction(*this);
    QSqlQuery insert = prepare(u"INSERT INTO users (telegram_id, username, first_name, last_name, avatar_name,"
                               u" is_admin, created_at) VALUES (?, ?, ?, ?, ?, ?, ?)"_s);
    insert.addBindValue(user.telegramId);
    insert.addBindValue(nullable(user.username));
    insert.addBindValue(nullable(user.firstName));
    insert.addBindValue(nullable(user.lastName));
    insert.addBindValue(nullable(user.avatarName));
    insert.addBindValue(user.isAdmin ? 1 : 0);
    insert.addBindValue(now);
    if (!insert.exec()) {
        if (userByTelegramId(user.telegramId))
            throw ServerError::badRequest(u"Пользователь с telegram_id %1 уже есть"_s.arg(user.telegramId));
        fail(insert.lastError());
    }
    const qint64 id = insert.lastInsertId().toLongLong();
    transaction.commit();
    return *userById(id);
}

void SqliteStorage::setAvatar(qint64 userId, const QString& avatarName) {
    QSqlQuery query = prepare(u"UPDATE users SET avatar_name = ? WHERE id = ?"_s);
    query.addBindValue(avatarName);
    query.addBindValue(userId);
    execute(query);
}

void SqliteStorage::addLoginKey(qint64 userId, const QString& keyHash, bool revokeOthers, const QString& now) {
    Transaction transaction(*this);
    if (revokeOthers) {
        QSqlQuery revoke = prepare(u"DELETE FROM login_keys WHERE user_id = ?"_s);
        revoke.addBindValue(userId);
        execute(revoke);
    }
    QSqlQuery insert = prepare(u"INSERT INTO login_keys (key_hash, user_id, created_at) VALUES (?, ?, ?)"_s);
    insert.addBindValue(keyHash);
    insert.addBindValue(userId);
    insert.addBindValue(now);
    execute(insert);
    transaction.commit();
}

void SqliteStorage::addSession(qint64 userId, const QString& tokenHash, const QString& now) {
    QSqlQuery insert = prepare(u"INSERT INTO sessions (token_hash, user_id, created_at) VALUES (?, ?, ?)"_s);
    insert.addBindValue(tokenHash);
    insert.addBindValue(userId);
    insert.addBindValue(now);
    execute(insert);
}

void SqliteStorage::setAutoSendBot(qint64 userId, bool enabled) {
    Transaction transaction(*this);
    QSqlQuery query = prepare(u"UPDATE users SET auto_send_bot = ? WHERE id = ?"_s);
    query.addBindValue(enabled ? 1 : 0);
    query.addBindValue(userId);
    execute(query);
    if (query.numRowsAffected() > 0)
        m_log.append(userId, ChangeKind::settings, ChangeOp::updated, userId);
    transaction.commit();
}

void SqliteStorage::setApiKey(qint64 userId, const QString& apiKey) {
    QSqlQuery query = prepare(u"UPDATE users SET api_key = ? WHERE id = ?"_s);
    query.addBindValue(apiKey);
    query.addBindValue(userId);
    execute(query);
}

QList<VexoTask> SqliteStorage::tasks(qint64 userId, const TaskFilter& filter) {
    QString sql = u"SELECT "_s + taskColumns + u" FROM tasks WHERE user_id = ? AND archived = ?"_s;
    if (filter.status)
        sql += u" AND status = ?"_s;
    if (filter.folderId)
        sql += u" AND folder_id = ?"_s;
    sql += u" ORDER BY created_at DESC, id DESC"_s;
    QSqlQuery query = prepare(sql);
    query.setForwardOnly(true);
    query.addBindValue(userId);
    query.addBindValue(filter.archived ? 1 : 0);
    if (filter.status)
        query.addBindValue(rawValue(*filter.status));
    if (filter.folderId)
        query.addBindValue(*filter.folderId);
    execute(query);
    QList<VexoTask> list;
    while (query.next())
        list.append(taskFrom(query));
    return list;
}

std::optional<VexoTask> SqliteStorage::task(qint64 userId, qint64 taskId) {
    QSqlQuery query = prepare(u"SELECT "_s + taskColumns + u" FROM tasks WHERE id = ? AND user_id = ?"_s);
    query.addBindValue(taskId);
    query.addBindValue(userId);
    execute(query);
    if (!query.next())
        return std::nullopt;
    return taskFrom(query);
}

VexoTask SqliteStorage::insertTask(qint64 userId, const NewTask& task, bool sendToBot, const QString& now) {
    Transaction transaction(*this);
    QSqlQuery insert = prepare(u"INSERT INTO tasks (user_id, folder_id, title, description, deadline, priority, status,"
                               u" archived, created_at, updated_at, source, sent_to_bot)"
                               u" VALUES (?, ?, ?, ?, ?, ?, 'pending', 0, ?, ?, ?, ?)"_s);
    insert.addBindValue(userId);
    insert.addBindValue(nullable(task.folderId));
    insert.addBindValue(task.title);
    insert.addBindValue(nullable(task.description));
    insert.addBindValue(nullable(task.deadline));
    insert.addBindValue(rawValue(task.priority));
    insert.addBindValue(task.createdAt.value_or(now));
    insert.addBindValue(task.createdAt.value_or(now));
    insert.addBindValue(task.source);
    insert.addBindValue(sendToBot ? 1 : 0);
    execute(insert);
    const qint64 id = insert.lastInsertId().toLongLong();
    if (sendToBot)
        appendOutbox(userId, id, task.title, now);
    m_log.append(userId, ChangeKind::task, ChangeOp::created, id);
    transaction.commit();
    return *this->task(userId, id);
}

std::optional<VexoTask> SqliteStorage::updateTask(qint64 userId, qint64 taskId, const TaskChanges& changes,
                                                  const QString& now) {
    Transaction transaction(*this);
    QStringList assignments{u"updated_at = ?"_s};
    QVariantList values{now};
    if (changes.title) {
        assignments << u"title = ?"_s;
        values << *changes.title;
    }
    if (changes.description) {
        assignments << u"description = ?"_s;
        values << *changes.description;
    }
    if (changes.deadline) {
        assignments << u"deadline = ?"_s;
        values << nullable(*changes.deadline);
    }
    if (changes.priority) {
        assignments << u"priority = ?"_s;
        values << rawValue(*changes.priority);
    }
    if (changes.status) {
        assignments << u"status = ?"_s << u"completed_at = ?"_s;
        values << rawValue(*changes.status)
               << (*changes.status == TaskStatus::done ? QVariant(now) : QVariant(QMetaType::fromType<QString>()));
    }
    if (changes.folderId) {
        assignments << u"folder_id = ?"_s;
        values << nullable(*changes.folderId);
    }
    QSqlQuery update = prepare(u"UPDATE tasks SET "_s + assignments.join(u", "_s) + u" WHERE id = ? AND user_id = ?"_s);
    for (const QVariant& value : values)
        update.addBindValue(value);
    update.addBindValue(taskId);
    update.addBindValue(userId);
    execute(update);
    if (update.numRowsAffected() == 0)
        return std::nullopt;
    m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return task(userId, taskId);
}

bool SqliteStorage::archiveTask(qint64 userId, qint64 taskId, const QString& now) {
    Transaction transaction(*this);
    QSqlQuery update =
        prepare(u"UPDATE tasks SET archived = 1, archived_at = ?, updated_at = ? WHERE id = ? AND user_id = ?"_s);
    update.addBindValue(now);
    update.addBindValue(now);
    update.addBindValue(taskId);
    update.addBindValue(userId);
    execute(update);
    if (update.numRowsAffected() == 0)
        return false;
    m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return true;
}

std::optional<QStringList> SqliteStorage::deleteTask(qint64 userId, qint64 taskId) {
    Transaction transaction(*this);
    QSqlQuery files = prepare(u"SELECT a.stored_name FROM attachments a JOIN tasks t ON t.id = a.task_id"
                              u" WHERE t.id = ? AND t.user_id = ?"_s);
    files.addBindValue(taskId);
    files.addBindValue(userId);
    execute(files);
    QStringList storedNames;
    while (files.next())
        storedNames << files.value(0).toString();
    QSqlQuery remove = prepare(u"DELETE FROM tasks WHERE id = ? AND user_id = ?"_s);
    remove.addBindValue(taskId);
    remove.addBindValue(userId);
    execute(remove);
    if (remove.numRowsAffected() == 0)
        return std::nullopt;
    // Its attachments go with it: the task's own change says so.
    m_log.append(userId, ChangeKind::task, ChangeOp::deleted, taskId);
    transaction.commit();
    return storedNames;
}

void SqliteStorage::appendOutbox(qint64 userId, qint64 taskId, const QString& text, const QString& now) {
    QSqlQuery insert = prepare(u"INSERT INTO outbox (user_id, task_id, telegram_id, text, created_at)"
                               u" SELECT id, ?, telegram_id, ?, ? FROM users WHERE id = ?"_s);
    insert.addBindValue(taskId);
    insert.addBindValue(text);
    insert.addBindValue(now);
    insert.addBindValue(userId);
    execute(insert);
}

bool SqliteStorage::markSent(qint64 userId, qint64 taskId, const QString& text, const QString& now) {
    Transaction transaction(*this);
    QSqlQuery update = prepare(u"UPDATE tasks SET sent_to_bot = 1, updated_at = ? WHERE id = ? AND user_id = ?"_s);
    update.addBindValue(now);
    update.addBindValue(taskId);
    update.addBindValue(userId);
    execute(update);
    if (update.numRowsAffected() == 0)
        return false;
    appendOutbox(userId, taskId, text, now);
    m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return true;
}

QList<Folder> SqliteStorage::folders(qint64 userId) {
    QSqlQuery query = prepare(u"SELECT id, name, color, created_at FROM folders WHERE user_id = ? ORDER BY id"_s);
    query.addBindValue(userId);
    execute(query);
    QList<Folder> list;
    while (query.next())
        list.append(folderFrom(query));
    return list;
}

bool SqliteStorage::hasFolder(qint64 userId, qint64 folderId) {
    QSqlQuery query = prepare(u"SELECT 1 FROM folders WHERE id = ? AND user_id = ?"_s);
    query.addBindValue(folderId);
    query.addBindValue(userId);
    execute(query);
    return query.next();
}

Folder SqliteStorage::insertFolder(qint64 userId, const QString& name, const QString& color, const QString& now) {
    Transaction transaction(*this);
    QSqlQuery insert = prepare(u"INSERT INTO folders (user_id, name, color, created_at) VALUES (?, ?, ?, ?)"_s);
    insert.addBindValue(userId);
    insert.addBindValue(name);
    insert.addBindValue(color);
    insert.addBindValue(now);
    execute(insert);
    const qint64 id = insert.lastInsertId().toLongLong();
    m_log.append(userId, ChangeKind::folder, ChangeOp::created, id);
    transaction.commit();
    return Folder{id, name, color, now};
}

std::optional<Folder> SqliteStorage::updateFolder(qint64 userId, qint64 folderId, const QString& name,
                                                  const QString& color) {
    Transaction transaction(*this);
    QSqlQuery update = prepare(u"UPDATE folders SET name = ?, color = ? WHERE id = ? AND user_id = ?"_s);
    update.addBindValue(name);
    update.addBindValue(color);
    update.addBindValue(folderId);
    update.addBindValue(userId);
    execute(update);
    if (update.numRowsAffected() == 0)
        return std::nullopt;
    m_log.append(userId, ChangeKind::folder, ChangeOp::updated, folderId);
    transaction.commit();
    QSqlQuery query = prepare(u"SELECT id, name, color, created_at FROM folders WHERE id = ?"_s);
    query.addBindValue(folderId);
    execute(query);
    query.next();
    return folderFrom(query);
}

bool SqliteStorage::deleteFolder(qint64 userId, qint64 folderId) {
    Transaction transaction(*this);
    // Explicit rather than left to ON DELETE SET NULL, so that the change log names each task.
    QSqlQuery held = prepare(u"SELECT id FROM tasks WHERE folder_id = ? AND user_id = ? ORDER BY id"_s);
    held.addBindValue(folderId);
    held.addBindValue(userId);
    execute(held);
    QList<qint64> released;
    while (held.next())
        released << held.value(0).toLongLong();
    QSqlQuery release = prepare(u"UPDATE tasks SET folder_id = NULL WHERE folder_id = ? AND user_id = ?"_s);
    release.addBindValue(folderId);
    release.addBindValue(userId);
    execute(release);
    QSqlQuery remove = prepare(u"DELETE FROM folders WHERE id = ? AND user_id = ?"_s);
    remove.addBindValue(folderId);
    remove.addBindValue(userId);
    execute(remove);
    if (remove.numRowsAffected() == 0)
        return false;
    m_log.append(userId, ChangeKind::folder, ChangeOp::deleted, folderId);
    for (const qint64 taskId : std::as_const(released))
        m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return true;
}

std::optional<QList<TaskAttachment>> SqliteStorage::attachments(qint64 taskId) {
    QSqlQuery exists = prepare(u"SELECT 1 FROM tasks WHERE id = ?"_s);
    exists.addBindValue(taskId);
    execute(exists);
    if (!exists.next())
        return std::nullopt;
    QSqlQuery query =
        prepare(u"SELECT id, filename, mimetype, size, created_at FROM attachments WHERE task_id = ? ORDER BY id"_s);
    query.addBindValue(taskId);
    execute(query);
    QList<TaskAttachment> list;
    while (query.next())
        list.append(attachmentFrom(query));
    return list;
}

std::optional<StoredAttachment> SqliteStorage::attachment(qint64 userId, qint64 taskId, qint64 attachmentId) {
    QSqlQuery query = prepare(u"SELECT a.id, a.filename, a.mimetype, a.size, a.created_at, a.stored_name"
                              u" FROM attachments a JOIN tasks t ON t.id = a.task_id"
                              u" WHERE a.id = ? AND a.task_id = ? AND t.user_id = ?"_s);
    query.addBindValue(attachmentId);
    query.addBindValue(taskId);
    query.addBindValue(userId);
    execute(query);
    if (!query.next())
        return std::nullopt;
    return StoredAttachment{taskId, attachmentFrom(query), query.value(5).toString()};
}

TaskAttachment SqliteStorage::insertAttachment(qint64 taskId, const QString& filename, const QString& mimetype,
                                               qint64 size, const QString& storedName, const QString& now) {
    Transaction transaction(*this);
    QSqlQuery insert = prepare(u"INSERT INTO attachments (task_id, filename, mimetype, size, stored_name, created_at)"
                               u" VALUES (?, ?, ?, ?, ?, ?)"_s);
    insert.addBindValue(taskId);
    insert.addBindValue(filename);
    insert.addBindValue(mimetype);
    insert.addBindValue(size);
    insert.addBindValue(storedName);
    insert.addBindValue(now);
    execute(insert);
    const qint64 id = insert.lastInsertId().toLongLong();
    m_log.appendUnderTask(taskId, ChangeKind::attachment, ChangeOp::created, id);
    transaction.commit();
    return TaskAttachment{id, filename, mimetype, size, now};
}

std::optional<QString> SqliteStorage::deleteAttachment(qint64 userId, qint64 taskId, qint64 attachmentId) {
    Transaction transaction(*this);
    const auto stored = attachment(userId, taskId, attachmentId);
    if (!stored)
        return std::nullopt;
    QSqlQuery remove = prepare(u"DELETE FROM attachments WHERE id = ?"_s);
    remove.addBindValue(attachmentId);
    execute(remove);
    m_log.append(userId, ChangeKind::attachment, ChangeOp::deleted, attachmentId, taskId);
    transaction.commit();
    return stored->storedName;
}

QHash<QString, qint64> SqliteStorage::createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return m_reports.createdPerDay(userId, fromDay, toDay);
}

QHash<QString, qint64> SqliteStorage::completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return m_reports.completedPerDay(userId, fromDay, toDay);
}

QHash<QString, qint64> SqliteStorage::createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) {
    return m_reports.createdPerPriority(userId, fromDay, toDay);
}

AdminStats SqliteStorage::adminStats() {
    return m_reports.adminStats();
}

QList<AdminUser> SqliteStorage::adminUsers() {
    return m_reports.adminUsers();
}

QList<OutboxEntry> SqliteStorage::outbox() {
    return m_reports.outbox();
}

qint64 SqliteStorage::latestRevision(qint64 userId, ChangeKind kind) {
    return m_log.latest(userId, kind);
}

qint64 SqliteStorage::lastRevision() {
    return m_log.latest();
}

QList<Change> SqliteStorage::changesAfter(qint64 revision, int limit, qint64& through) {
    return m_log.after(revision, limit, &through);
}

qint64 SqliteStorage::pruneChangeLog() {
    Transaction transaction(*this);
    const qint64 removed = m_log.prune();
    transaction.commit();
    return removed;
}

QString SqliteStorage::instanceId() {
    return m_instanceId;
}

qint64 SqliteStorage::dataVersion() {
    QSqlQuery query(m_db);
    if (!query.exec(u"PRAGMA data_version"_s) || !query.next())
        fail(query.lastError());
    return query.value(0).toLongLong();
}

std::unique_ptr<ChangeWatch> SqliteStorage::watchChanges(int pollIntervalMs) {
    auto watch = std::make_unique<SqliteChangeWatch>([this] { return dataVersion(); }, pollIntervalMs);
    m_watches.removeAll(nullptr);
    m_watches.append(watch.get());
    return watch;
}

void SqliteStorage::announceChanges() {
    for (const QPointer<SqliteChangeWatch>& watch : std::as_const(m_watches)) {
        if (watch)
            watch->announce();
    }
}
