#include "SqliteStorage.h"

#include "PrivateFiles.h"
#include "ServerError.h"
#include "ServerLog.h"

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

namespace {

// Each entry moves the schema one version on; applied in order inside one transaction each.
const QStringList migrations[] = {
    {
        u"CREATE TABLE users ("
        u" id INTEGER PRIMARY KEY,"
        u" telegram_id TEXT NOT NULL UNIQUE,"
        u" username TEXT, first_name TEXT, last_name TEXT, avatar_name TEXT,"
        u" is_admin INTEGER NOT NULL DEFAULT 0,"
        u" auto_send_bot INTEGER NOT NULL DEFAULT 0,"
        u" api_key TEXT UNIQUE,"
        u" created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE login_keys ("
        u" key_hash TEXT PRIMARY KEY,"
        u" user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE sessions ("
        u" token_hash TEXT PRIMARY KEY,"
        u" user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE folders ("
        u" id INTEGER PRIMARY KEY,"
        u" user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" name TEXT NOT NULL, color TEXT NOT NULL, created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE tasks ("
        u" id INTEGER PRIMARY KEY,"
        u" user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" folder_id INTEGER REFERENCES folders(id) ON DELETE SET NULL,"
        u" title TEXT NOT NULL, description TEXT, deadline TEXT,"
        u" priority TEXT NOT NULL, status TEXT NOT NULL,"
        u" archived INTEGER NOT NULL DEFAULT 0, archived_at TEXT, completed_at TEXT,"
        u" created_at TEXT NOT NULL, updated_at TEXT NOT NULL,"
        u" source TEXT NOT NULL, sent_to_bot INTEGER NOT NULL DEFAULT 0)"_s,
        u"CREATE INDEX tasks_by_user ON tasks(user_id, archived, created_at)"_s,
        u"CREATE TABLE attachments ("
        u" id INTEGER PRIMARY KEY,"
        u" task_id INTEGER NOT NULL REFERENCES tasks(id) ON DELETE CASCADE,"
        u" filename TEXT NOT NULL, mimetype TEXT NOT NULL, size INTEGER NOT NULL,"
        u" stored_name TEXT NOT NULL, created_at TEXT NOT NULL)"_s,
        u"CREATE INDEX attachments_by_task ON attachments(task_id)"_s,
        u"CREATE TABLE outbox ("
        u" id INTEGER PRIMARY KEY,"
        u" user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" task_id INTEGER NOT NULL, telegram_id TEXT NOT NULL, text TEXT NOT NULL, created_at TEXT NOT NULL)"_s,
    },
};

const QString taskColumns = u"id, title, description, deadline, priority, status, archived, archived_at, completed_at,"
                            u" created_at, updated_at, source, sent_to_bot, folder_id, user_id"_s;
const QString userColumns =
    u"id, telegram_id, username, first_name, last_name, avatar_name, is_admin, auto_send_bot, api_key"_s;

std::optional<QString> optionalText(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional<QString>(value.toString());
}

std::optional<qint64> optionalInteger(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional<qint64>(value.toLongLong());
}

QVariant nullable(const std::optional<QString>& text) {
    return text ? QVariant(*text) : QVariant(QMetaType::fromType<QString>());
}

QVariant nullable(const std::optional<qint64>& number) {
    return number ? QVariant(*number) : QVariant(QMetaType::fromType<qint64>());
}

VexoTask taskFrom(const QSqlQuery& query) {
    VexoTask task;
    task.id = query.value(0).toLongLong();
    task.title = query.value(1).toString();
    task.description = optionalText(query.value(2));
    task.deadline = optionalText(query.value(3));
    task.priority = taskPriorityFromRaw(query.value(4).toString()).value_or(TaskPriority::medium);
    task.status = taskStatusFromRaw(query.value(5).toString()).value_or(TaskStatus::pending);
    task.archived = query.value(6).toLongLong();
    task.archivedAt = optionalText(query.value(7));
    task.completedAt = optionalText(query.value(8));
    task.createdAt = query.value(9).toString();
    task.updatedAt = optionalText(query.value(10));
    task.source = optionalText(query.value(11));
    task.sentToBot = query.value(12).toLongLong();
    task.folderId = optionalInteger(query.value(13));
    task.userId = query.value(14).toLongLong();
    return task;
}

StoredUser userFrom(const QSqlQuery& query) {
    StoredUser stored;
    stored.user.id = query.value(0).toLongLong();
    stored.user.telegramId = query.value(1).toString();
    stored.user.username = optionalText(query.value(2));
    stored.user.firstName = optionalText(query.value(3));
    stored.user.lastName = optionalText(query.value(4));
    stored.user.avatarUrl = optionalText(query.value(5));
    stored.user.isAdmin = query.value(6).toLongLong() == 1;
    stored.autoSendBot = query.value(7).toLongLong() == 1;
    stored.apiKey = optionalText(query.value(8));
    return stored;
}

Folder folderFrom(const QSqlQuery& query) {
    return Folder{query.value(0).toLongLong(), query.value(1).toString(), query.value(2).toString(),
                  optionalText(query.value(3))};
}

TaskAttachment attachmentFrom(const QSqlQuery& query) {
    return TaskAttachment{query.value(0).toLongLong(), query.value(1).toString(), query.value(2).toString(),
                          query.value(3).toLongLong(), optionalText(query.value(4))};
}

[[noreturn]] void fail(const QSqlError& error) {
    throw ServerError(ErrorKind::internal, u"Ошибка хранилища: "_s + error.text());
}

} // namespace

// Commits when told to, rolls back when left by an exception.
class SqliteStorage::Transaction final {
public:
    Transaction(QSqlDatabase& db, qint64& written)
        : m_db(db)
        , m_written(written) {
        if (!m_db.transaction())
            fail(m_db.lastError());
    }
    ~Transaction() {
        if (!m_done)
            m_db.rollback();
    }
    void commit() {
        if (!m_db.commit())
            fail(m_db.lastError());
        m_done = true;
        ++m_written;
    }

private:
    QSqlDatabase& m_db;
    qint64& m_written;
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
    migrate();
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
    return int(std::size(migrations));
}

QSqlQuery SqliteStorage::prepare(const QString& sql) {
    QSqlQuery query(m_db);
    if (!query.prepare(sql))
        fail(query.lastError());
    return query;
}

void SqliteStorage::execute(QSqlQuery& query) {
    if (!query.exec())
        fail(query.lastError());
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

void SqliteStorage::migrate() {
    QSqlQuery setup(m_db);
    if (!setup.exec(u"CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)"_s))
        fail(setup.lastError());
    QSqlQuery current = prepare(u"SELECT MAX(version) FROM schema_version"_s);
    execute(current);
    int version = current.next() ? current.value(0).toInt() : 0;
    current.finish();
    if (version > schemaVersion())
        throw ServerError(ErrorKind::internal,
                          u"База данных создана более новой версией сервера (схема %1)"_s.arg(version));
    for (; version < schemaVersion(); ++version) {
        Transaction transaction(m_db, m_written);
        for (const QString& statement : migrations[version]) {
            QSqlQuery query(m_db);
            if (!query.exec(statement))
                fail(query.lastError());
        }
        QSqlQuery record = prepare(u"INSERT INTO schema_version (version) VALUES (?)"_s);
        record.addBindValue(version + 1);
        execute(record);
        transaction.commit();
    }
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
    Transaction transaction(m_db, m_written);
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
    Transaction transaction(m_db, m_written);
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
    QSqlQuery query = prepare(u"UPDATE users SET auto_send_bot = ? WHERE id = ?"_s);
    query.addBindValue(enabled ? 1 : 0);
    query.addBindValue(userId);
    execute(query);
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
    Transaction transaction(m_db, m_written);
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
    transaction.commit();
    return *this->task(userId, id);
}

std::optional<VexoTask> SqliteStorage::updateTask(qint64 userId, qint64 taskId, const TaskChanges& changes,
                                                  const QString& now) {
    Transaction transaction(m_db, m_written);
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
    transaction.commit();
    return task(userId, taskId);
}

bool SqliteStorage::archiveTask(qint64 userId, qint64 taskId, const QString& now) {
    QSqlQuery update =
        prepare(u"UPDATE tasks SET archived = 1, archived_at = ?, updated_at = ? WHERE id = ? AND user_id = ?"_s);
    update.addBindValue(now);
    update.addBindValue(now);
    update.addBindValue(taskId);
    update.addBindValue(userId);
    execute(update);
    return update.numRowsAffected() > 0;
}

std::optional<QStringList> SqliteStorage::deleteTask(qint64 userId, qint64 taskId) {
    Transaction transaction(m_db, m_written);
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
    Transaction transaction(m_db, m_written);
    QSqlQuery update = prepare(u"UPDATE tasks SET sent_to_bot = 1, updated_at = ? WHERE id = ? AND user_id = ?"_s);
    update.addBindValue(now);
    update.addBindValue(taskId);
    update.addBindValue(userId);
    execute(update);
    if (update.numRowsAffected() == 0)
        return false;
    appendOutbox(userId, taskId, text, now);
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
    QSqlQuery insert = prepare(u"INSERT INTO folders (user_id, name, color, created_at) VALUES (?, ?, ?, ?)"_s);
    insert.addBindValue(userId);
    insert.addBindValue(name);
    insert.addBindValue(color);
    insert.addBindValue(now);
    execute(insert);
    return Folder{insert.lastInsertId().toLongLong(), name, color, now};
}

std::optional<Folder> SqliteStorage::updateFolder(qint64 userId, qint64 folderId, const QString& name,
                                                  const QString& color) {
    QSqlQuery update = prepare(u"UPDATE folders SET name = ?, color = ? WHERE id = ? AND user_id = ?"_s);
    update.addBindValue(name);
    update.addBindValue(color);
    update.addBindValue(folderId);
    update.addBindValue(userId);
    execute(update);
    if (update.numRowsAffected() == 0)
        return std::nullopt;
    QSqlQuery query = prepare(u"SELECT id, name, color, created_at FROM folders WHERE id = ?"_s);
    query.addBindValue(folderId);
    execute(query);
    query.next();
    return folderFrom(query);
}

bool SqliteStorage::deleteFolder(qint64 userId, qint64 folderId) {
    Transaction transaction(m_db, m_written);
    // Explicit rather than relying on ON DELETE SET NULL, so the tasks' updated_at moves too.
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
    QSqlQuery insert = prepare(u"INSERT INTO attachments (task_id, filename, mimetype, size, stored_name, created_at)"
                               u" VALUES (?, ?, ?, ?, ?, ?)"_s);
    insert.addBindValue(taskId);
    insert.addBindValue(filename);
    insert.addBindValue(mimetype);
    insert.addBindValue(size);
    insert.addBindValue(storedName);
    insert.addBindValue(now);
    execute(insert);
    return TaskAttachment{insert.lastInsertId().toLongLong(), filename, mimetype, size, now};
}

std::optional<QString> SqliteStorage::deleteAttachment(qint64 userId, qint64 taskId, qint64 attachmentId) {
    const auto stored = attachment(userId, taskId, attachmentId);
    if (!stored)
        return std::nullopt;
    QSqlQuery remove = prepare(u"DELETE FROM attachments WHERE id = ?"_s);
    remove.addBindValue(attachmentId);
    execute(remove);
    return stored->storedName;
}

// Tasks of a user whose `dayColumn` falls in [fromDay, toDay], counted per value of `group`.
QHash<QString, qint64> SqliteStorage::countsBy(const QString& group, const QString& dayColumn, qint64 userId,
                                               const QString& fromDay, const QString& toDay) {
    QSqlQuery query = prepare(u"SELECT %1 AS grp, COUNT(*) FROM tasks WHERE user_id = ? AND %2 IS NOT NULL"
                              u" AND SUBSTR(%2, 1, 10) BETWEEN ? AND ? GROUP BY grp"_s.arg(group, dayColumn));
    query.addBindValue(userId);
    query.addBindValue(fromDay);
    query.addBindValue(toDay);
    execute(query);
    QHash<QString, qint64> counts;
    while (query.next())
        counts.insert(query.value(0).toString(), query.value(1).toLongLong());
    return counts;
}

QHash<QString, qint64> SqliteStorage::createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"SUBSTR(created_at, 1, 10)"_s, u"created_at"_s, userId, fromDay, toDay);
}

QHash<QString, qint64> SqliteStorage::completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"SUBSTR(completed_at, 1, 10)"_s, u"completed_at"_s, userId, fromDay, toDay);
}

QHash<QString, qint64> SqliteStorage::createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"priority"_s, u"created_at"_s, userId, fromDay, toDay);
}

AdminStats SqliteStorage::adminStats() {
    QSqlQuery query = prepare(u"SELECT (SELECT COUNT(*) FROM users), (SELECT COUNT(*) FROM tasks),"
                              u" (SELECT COUNT(*) FROM tasks WHERE status = 'pending' AND archived = 0),"
                              u" (SELECT COUNT(*) FROM tasks WHERE status = 'done')"_s);
    execute(query);
    query.next();
    return AdminStats{query.value(0).toLongLong(), query.value(1).toLongLong(), query.value(2).toLongLong(),
                      query.value(3).toLongLong()};
}

QList<AdminUser> SqliteStorage::adminUsers() {
    QSqlQuery query = prepare(u"SELECT u.id, u.telegram_id, u.username, u.first_name, u.last_name, u.is_admin,"
                              u" (SELECT COUNT(*) FROM tasks t WHERE t.user_id = u.id) FROM users u ORDER BY u.id"_s);
    execute(query);
    QList<AdminUser> users;
    while (query.next()) {
        AdminUser user;
        user.id = query.value(0).toLongLong();
        user.telegramId = query.value(1).toString();
        user.username = optionalText(query.value(2));
        user.firstName = optionalText(query.value(3));
        user.lastName = optionalText(query.value(4));
        user.isAdmin = query.value(5).toLongLong() == 1;
        user.taskCount = query.value(6).toLongLong();
        users.append(user);
    }
    return users;
}

QList<OutboxEntry> SqliteStorage::outbox() {
    QSqlQuery query = prepare(u"SELECT id, task_id, telegram_id, text, created_at FROM outbox ORDER BY id"_s);
    execute(query);
    QList<OutboxEntry> entries;
    while (query.next()) {
        entries.append(OutboxEntry{query.value(0).toLongLong(), query.value(1).toLongLong(), query.value(2).toString(),
                                   query.value(3).toString(), query.value(4).toString()});
    }
    return entries;
}
