#include "SqlStorage.h"

#include "PrivateFiles.h"
#include "Secrets.h"
#include "ServerError.h"
#include "ServerLog.h"
#include "SqlRows.h"
#include "SqlSchema.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QVariant>

using namespace Qt::StringLiterals;
using namespace SqlRows;

namespace {

// Login attempts are counted per second: the window slides by whole seconds.
constexpr qint64 slotMs = 1000;

QString attachmentContentName(const QString& storedName) {
    return u"attachments/"_s + storedName;
}

QString avatarContentName(const QString& storedName) {
    return u"avatars/"_s + storedName;
}

} // namespace

// Commits when told to, rolls back when left by an exception. Whoever watches the change log hears
// of a commit that appended to it.
class SqlStorage::Transaction final {
public:
    explicit Transaction(SqlStorage& storage)
        : m_storage(storage) {
        m_storage.m_connection.begin();
    }
    ~Transaction() {
        if (!m_done) {
            m_storage.m_connection.rollback();
            m_storage.m_log.takeAppended();
        }
    }
    void commit() {
        m_done = true;
        const bool appended = m_storage.m_log.takeAppended();
        m_storage.m_connection.commit();
        m_storage.countWrite();
        if (appended)
            m_storage.changesCommitted();
    }

private:
    SqlStorage& m_storage;
    bool m_done = false;
};

SqlStorage::SqlStorage(const SqlDialect& dialect, const QSqlDatabase& database, std::optional<QDir> contentFolder,
                       std::function<void(SqlConnection&)> setUp)
    : m_connection(dialect, database, std::move(setUp))
    , m_contentFolder(std::move(contentFolder)) {}

SqlStorage::~SqlStorage() = default;

int SqlStorage::start() {
    if (m_contentFolder) {
        for (const QString& kind : {u"attachments"_s, u"avatars"_s}) {
            if (!PrivateFiles::makeFolder(m_contentFolder->filePath(kind)))
                throw ServerError(ErrorKind::internal,
                                  u"Не удалось создать каталог %1"_s.arg(m_contentFolder->filePath(kind)));
        }
    }
    m_connection.open();
    const int migrated = SqlSchema::migrate(m_connection);
    m_written += migrated;
    auto query = prepare(u"SELECT id FROM instance"_s);
    execute(query);
    if (!query->next())
        throw ServerError(ErrorKind::internal, u"В базе данных нет идентификатора экземпляра"_s);
    m_instanceId = query->value(0).toString();
    return migrated;
}

int SqlStorage::schemaVersion() {
    return SqlSchema::latestVersion();
}

void SqlStorage::execute(SqlConnection::Statement& statement) {
    m_connection.execute(statement);
    if (!m_connection.inTransaction() && !statement->isSelect())
        ++m_written;
}

std::optional<StoredUser> SqlStorage::userWhere(const QString& condition, const QVariant& value) {
    auto query = prepare(u"SELECT "_s + userColumns + u" FROM users WHERE "_s + condition);
    query->addBindValue(value);
    execute(query);
    if (!query->next())
        return std::nullopt;
    return userFrom(*query);
}

std::optional<StoredUser> SqlStorage::userById(qint64 id) {
    return userWhere(u"id = ?"_s, id);
}

std::optional<StoredUser> SqlStorage::userByTelegramId(const QString& telegramId) {
    return userWhere(u"telegram_id = ?"_s, telegramId);
}

std::optional<StoredUser> SqlStorage::userByLoginKeyHash(const QString& keyHash) {
    return userWhere(u"id = (SELECT user_id FROM login_keys WHERE key_hash = ?)"_s, keyHash);
}

std::optional<StoredUser> SqlStorage::userBySessionHash(const QString& tokenHash) {
    return userWhere(u"id = (SELECT user_id FROM sessions WHERE token_hash = ?)"_s, tokenHash);
}

std::optional<StoredUser> SqlStorage::userByApiKey(const QString& apiKey) {
    return userWhere(u"api_key = ?"_s, apiKey);
}

StoredUser SqlStorage::createUser(const NewUser& user, const QString& now) {
    qint64 id = 0;
    {
        Transaction transaction(*this);
        // A taken telegram_id inserts nothing, rather than failing the transaction: PostgreSQL
        // answers nothing more in a transaction after a failed statement.
        auto insert = prepare(u"INSERT INTO users (telegram_id, username, first_name, last_name, avatar_name,"
                              u" is_admin, created_at) VALUES (?, ?, ?, ?, ?, ?, ?)"
                              u" ON CONFLICT (telegram_id) DO NOTHING RETURNING id"_s);
        insert->addBindValue(user.telegramId);
        insert->addBindValue(nullable(user.username));
        insert->addBindValue(nullable(user.firstName));
        insert->addBindValue(nullable(user.lastName));
        insert->addBindValue(nullable(user.avatarName));
        insert->addBindValue(user.isAdmin ? 1 : 0);
        insert->addBindValue(now);
        execute(insert);
        if (!insert->next())
            throw ServerError::badRequest(u"Пользователь с telegram_id %1 уже есть"_s.arg(user.telegramId));
        id = insert->value(0).toLongLong();
        insert->finish();
        transaction.commit();
    }
    return *userById(id);
}

void SqlStorage::setAvatar(qint64 userId, const QString& avatarName) {
    auto query = prepare(u"UPDATE users SET avatar_name = ? WHERE id = ?"_s);
    query->addBindValue(avatarName);
    query->addBindValue(userId);
    execute(query);
}

QString SqlStorage::addAvatar(const QByteArray& image, const QString& suffix) {
    const QString storedName = Secrets::randomUrlSafe(16) + u'.' + (suffix.isEmpty() ? u"png"_s : suffix);
    const QString name = avatarContentName(storedName);
    if (!writeContentFile(name, image)) {
        Transaction transaction(*this);
        putContent(name, image);
        transaction.commit();
    }
    return storedName;
}

std::optional<QByteArray> SqlStorage::avatar(const QString& name) {
    return content(avatarContentName(name));
}

void SqlStorage::addLoginKey(qint64 userId, const QString& keyHash, bool revokeOthers, const QString& now) {
    Transaction transaction(*this);
    if (revokeOthers) {
        auto revoke = prepare(u"DELETE FROM login_keys WHERE user_id = ?"_s);
        revoke->addBindValue(userId);
        execute(revoke);
    }
    auto insert = prepare(u"INSERT INTO login_keys (key_hash, user_id, created_at) VALUES (?, ?, ?)"_s);
    insert->addBindValue(keyHash);
    insert->addBindValue(userId);
    insert->addBindValue(now);
    execute(insert);
    transaction.commit();
}

void SqlStorage::addSession(qint64 userId, const QString& tokenHash, const QString& now) {
    auto insert = prepare(u"INSERT INTO sessions (token_hash, user_id, created_at) VALUES (?, ?, ?)"_s);
    insert->addBindValue(tokenHash);
    insert->addBindValue(userId);
    insert->addBindValue(now);
    execute(insert);
}

void SqlStorage::setAutoSendBot(qint64 userId, bool enabled) {
    Transaction transaction(*this);
    auto query = prepare(u"UPDATE users SET auto_send_bot = ? WHERE id = ?"_s);
    query->addBindValue(enabled ? 1 : 0);
    query->addBindValue(userId);
    execute(query);
    if (query->numRowsAffected() > 0)
        m_log.append(userId, ChangeKind::settings, ChangeOp::updated, userId);
    transaction.commit();
}

void SqlStorage::setApiKey(qint64 userId, const QString& apiKey) {
    auto query = prepare(u"UPDATE users SET api_key = ? WHERE id = ?"_s);
    query->addBindValue(apiKey);
    query->addBindValue(userId);
    execute(query);
}

bool SqlStorage::admitAttempt(const QStringList& buckets, qint64 nowMs, qint64 windowMs, int limit) {
    const qint64 slot = nowMs / slotMs;
    // Every second that overlaps the window counts whole.
    const qint64 firstSlot = (nowMs - windowMs) / slotMs + 1;
    Transaction transaction(*this);
    for (const QString& bucket : buckets) {
        if (!dialect().serializeBucket.isEmpty()) {
            auto serialize = prepare(dialect().serializeBucket);
            serialize->addBindValue(bucket);
            execute(serialize);
        }
        auto count = prepare(u"SELECT COALESCE(SUM(attempts), 0) FROM login_attempts WHERE bucket = ? AND slot >= ?"_s);
        count->addBindValue(bucket);
        count->addBindValue(firstSlot);
        execute(count);
        if (count->next() && count->value(0).toLongLong() >= limit)
            return false;
    }
    for (const QString& bucket : buckets) {
        auto upsert = prepare(u"INSERT INTO login_attempts (bucket, slot, attempts) VALUES (?, ?, 1)"
                              u" ON CONFLICT (bucket, slot) DO UPDATE SET attempts = login_attempts.attempts + 1"_s);
        upsert->addBindValue(bucket);
        upsert->addBindValue(slot);
        execute(upsert);
    }
    auto forget = prepare(u"DELETE FROM login_attempts WHERE slot < ?"_s);
    forget->addBindValue(firstSlot);
    execute(forget);
    transaction.commit();
    return true;
}

QList<VexoTask> SqlStorage::tasks(qint64 userId, const TaskFilter& filter) {
    QString sql = u"SELECT "_s + taskColumns + u" FROM tasks WHERE user_id = ? AND archived = ?"_s;
    if (filter.status)
        sql += u" AND status = ?"_s;
    if (filter.folderId)
        sql += u" AND folder_id = ?"_s;
    sql += u" ORDER BY created_at DESC, id DESC"_s;
    auto query = prepare(sql);
    query->setForwardOnly(true);
    query->addBindValue(userId);
    query->addBindValue(filter.archived ? 1 : 0);
    if (filter.status)
        query->addBindValue(rawValue(*filter.status));
    if (filter.folderId)
        query->addBindValue(*filter.folderId);
    execute(query);
    QList<VexoTask> list;
    while (query->next())
        list.append(taskFrom(*query));
    return list;
}

std::optional<VexoTask> SqlStorage::task(qint64 userId, qint64 taskId) {
    auto query = prepare(u"SELECT "_s + taskColumns + u" FROM tasks WHERE id = ? AND user_id = ?"_s);
    query->addBindValue(taskId);
    query->addBindValue(userId);
    execute(query);
    if (!query->next())
        return std::nullopt;
    return taskFrom(*query);
}

VexoTask SqlStorage::insertTask(qint64 userId, const NewTask& task, bool sendToBot, const QString& now) {
    qint64 id = 0;
    {
        Transaction transaction(*this);
        auto insert = prepare(u"INSERT INTO tasks (user_id, folder_id, title, description, deadline, priority, status,"
                              u" archived, created_at, updated_at, source, sent_to_bot)"
                              u" VALUES (?, ?, ?, ?, ?, ?, 'pending', 0, ?, ?, ?, ?) RETURNING id"_s);
        insert->addBindValue(userId);
        insert->addBindValue(nullable(task.folderId));
        insert->addBindValue(task.title);
        insert->addBindValue(nullable(task.description));
        insert->addBindValue(nullable(task.deadline));
        insert->addBindValue(rawValue(task.priority));
        insert->addBindValue(task.createdAt.value_or(now));
        insert->addBindValue(task.createdAt.value_or(now));
        insert->addBindValue(task.source);
        insert->addBindValue(sendToBot ? 1 : 0);
        execute(insert);
        insert->next();
        id = insert->value(0).toLongLong();
        insert->finish();
        if (sendToBot)
            appendOutbox(userId, id, task.title, now);
        m_log.append(userId, ChangeKind::task, ChangeOp::created, id);
        transaction.commit();
    }
    return *this->task(userId, id);
}

std::optional<VexoTask> SqlStorage::updateTask(qint64 userId, qint64 taskId, const TaskChanges& changes,
                                               const QString& now) {
    {
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
        auto update = prepare(u"UPDATE tasks SET "_s + assignments.join(u", "_s) + u" WHERE id = ? AND user_id = ?"_s);
        for (const QVariant& value : std::as_const(values))
            update->addBindValue(value);
        update->addBindValue(taskId);
        update->addBindValue(userId);
        execute(update);
        if (update->numRowsAffected() == 0)
            return std::nullopt;
        m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
        transaction.commit();
    }
    return task(userId, taskId);
}

bool SqlStorage::archiveTask(qint64 userId, qint64 taskId, const QString& now) {
    Transaction transaction(*this);
    auto update =
        prepare(u"UPDATE tasks SET archived = 1, archived_at = ?, updated_at = ? WHERE id = ? AND user_id = ?"_s);
    update->addBindValue(now);
    update->addBindValue(now);
    update->addBindValue(taskId);
    update->addBindValue(userId);
    execute(update);
    if (update->numRowsAffected() == 0)
        return false;
    m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return true;
}

bool SqlStorage::deleteTask(qint64 userId, qint64 taskId) {
    QStringList names;
    {
        Transaction transaction(*this);
        {
            auto files = prepare(u"SELECT a.stored_name FROM attachments a JOIN tasks t ON t.id = a.task_id"
                                 u" WHERE t.id = ? AND t.user_id = ?"_s);
            files->addBindValue(taskId);
            files->addBindValue(userId);
            execute(files);
            while (files->next())
                names << attachmentContentName(files->value(0).toString());
        }
        auto remove = prepare(u"DELETE FROM tasks WHERE id = ? AND user_id = ?"_s);
        remove->addBindValue(taskId);
        remove->addBindValue(userId);
        execute(remove);
        if (remove->numRowsAffected() == 0)
            return false;
        dropContents(names);
        // Its attachments go with it: the task's own change says so.
        m_log.append(userId, ChangeKind::task, ChangeOp::deleted, taskId);
        transaction.commit();
    }
    removeContentFiles(names);
    return true;
}

void SqlStorage::appendOutbox(qint64 userId, qint64 taskId, const QString& text, const QString& now) {
    auto insert = prepare(u"INSERT INTO outbox (user_id, task_id, telegram_id, text, created_at)"
                          u" SELECT id, ?, telegram_id, ?, ? FROM users WHERE id = ?"_s);
    insert->addBindValue(taskId);
    insert->addBindValue(text);
    insert->addBindValue(now);
    insert->addBindValue(userId);
    execute(insert);
}

bool SqlStorage::markSent(qint64 userId, qint64 taskId, const QString& text, const QString& now) {
    Transaction transaction(*this);
    auto update = prepare(u"UPDATE tasks SET sent_to_bot = 1, updated_at = ? WHERE id = ? AND user_id = ?"_s);
    update->addBindValue(now);
    update->addBindValue(taskId);
    update->addBindValue(userId);
    execute(update);
    if (update->numRowsAffected() == 0)
        return false;
    appendOutbox(userId, taskId, text, now);
    m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return true;
}

QList<Folder> SqlStorage::folders(qint64 userId) {
    auto query = prepare(u"SELECT id, name, color, created_at FROM folders WHERE user_id = ? ORDER BY id"_s);
    query->addBindValue(userId);
    execute(query);
    QList<Folder> list;
    while (query->next())
        list.append(folderFrom(*query));
    return list;
}

bool SqlStorage::hasFolder(qint64 userId, qint64 folderId) {
    auto query = prepare(u"SELECT 1 FROM folders WHERE id = ? AND user_id = ?"_s);
    query->addBindValue(folderId);
    query->addBindValue(userId);
    execute(query);
    return query->next();
}

Folder SqlStorage::insertFolder(qint64 userId, const QString& name, const QString& color, const QString& now) {
    Transaction transaction(*this);
    auto insert = prepare(u"INSERT INTO folders (user_id, name, color, created_at) VALUES (?, ?, ?, ?) RETURNING id"_s);
    insert->addBindValue(userId);
    insert->addBindValue(name);
    insert->addBindValue(color);
    insert->addBindValue(now);
    execute(insert);
    insert->next();
    const qint64 id = insert->value(0).toLongLong();
    insert->finish();
    m_log.append(userId, ChangeKind::folder, ChangeOp::created, id);
    transaction.commit();
    return Folder{id, name, color, now};
}

std::optional<Folder> SqlStorage::updateFolder(qint64 userId, qint64 folderId, const QString& name,
                                               const QString& color) {
    Transaction transaction(*this);
    auto update = prepare(u"UPDATE folders SET name = ?, color = ? WHERE id = ? AND user_id = ?"_s);
    update->addBindValue(name);
    update->addBindValue(color);
    update->addBindValue(folderId);
    update->addBindValue(userId);
    execute(update);
    if (update->numRowsAffected() == 0)
        return std::nullopt;
    auto query = prepare(u"SELECT id, name, color, created_at FROM folders WHERE id = ?"_s);
    query->addBindValue(folderId);
    execute(query);
    query->next();
    const Folder folder = folderFrom(*query);
    query->finish();
    m_log.append(userId, ChangeKind::folder, ChangeOp::updated, folderId);
    transaction.commit();
    return folder;
}

bool SqlStorage::deleteFolder(qint64 userId, qint64 folderId) {
    Transaction transaction(*this);
    // Explicit rather than left to ON DELETE SET NULL, so that the change log names each task.
    QList<qint64> released;
    {
        auto held = prepare(u"SELECT id FROM tasks WHERE folder_id = ? AND user_id = ? ORDER BY id"_s);
        held->addBindValue(folderId);
        held->addBindValue(userId);
        execute(held);
        while (held->next())
            released << held->value(0).toLongLong();
    }
    auto release = prepare(u"UPDATE tasks SET folder_id = NULL WHERE folder_id = ? AND user_id = ?"_s);
    release->addBindValue(folderId);
    release->addBindValue(userId);
    execute(release);
    auto remove = prepare(u"DELETE FROM folders WHERE id = ? AND user_id = ?"_s);
    remove->addBindValue(folderId);
    remove->addBindValue(userId);
    execute(remove);
    if (remove->numRowsAffected() == 0)
        return false;
    m_log.append(userId, ChangeKind::folder, ChangeOp::deleted, folderId);
    for (const qint64 taskId : std::as_const(released))
        m_log.append(userId, ChangeKind::task, ChangeOp::updated, taskId);
    transaction.commit();
    return true;
}

std::optional<QList<TaskAttachment>> SqlStorage::attachments(qint64 taskId) {
    {
        auto exists = prepare(u"SELECT 1 FROM tasks WHERE id = ?"_s);
        exists->addBindValue(taskId);
        execute(exists);
        if (!exists->next())
            return std::nullopt;
    }
    auto query =
        prepare(u"SELECT id, filename, mimetype, size, created_at FROM attachments WHERE task_id = ? ORDER BY id"_s);
    query->addBindValue(taskId);
    execute(query);
    QList<TaskAttachment> list;
    while (query->next())
        list.append(attachmentFrom(*query));
    return list;
}

std::optional<AttachmentFile> SqlStorage::attachmentFile(qint64 userId, qint64 taskId, qint64 attachmentId) {
    AttachmentFile file;
    QString storedName;
    {
        auto query = prepare(u"SELECT a.id, a.filename, a.mimetype, a.size, a.created_at, a.stored_name"
                             u" FROM attachments a JOIN tasks t ON t.id = a.task_id"
                             u" WHERE a.id = ? AND a.task_id = ? AND t.user_id = ?"_s);
        query->addBindValue(attachmentId);
        query->addBindValue(taskId);
        query->addBindValue(userId);
        execute(query);
        if (!query->next())
            return std::nullopt;
        file.attachment = attachmentFrom(*query);
        storedName = query->value(5).toString();
    }
    file.content = content(attachmentContentName(storedName));
    return file;
}

std::optional<TaskAttachment> SqlStorage::addAttachment(qint64 taskId, const QString& filename, const QString& mimetype,
                                                        const QByteArray& content, const QString& now) {
    const QString storedName = Secrets::randomUrlSafe(24) + u".bin"_s;
    const QString name = attachmentContentName(storedName);
    const bool inFile = writeContentFile(name, content);
    try {
        Transaction transaction(*this);
        auto insert = prepare(u"INSERT INTO attachments (task_id, filename, mimetype, size, stored_name, created_at)"
                              u" SELECT id, ?, ?, ?, ?, ? FROM tasks WHERE id = ? RETURNING id"_s);
        insert->addBindValue(filename);
        insert->addBindValue(mimetype);
        insert->addBindValue(qint64(content.size()));
        insert->addBindValue(storedName);
        insert->addBindValue(now);
        insert->addBindValue(taskId);
        execute(insert);
        if (!insert->next()) {
            if (inFile)
                removeContentFiles({name});
            return std::nullopt;
        }
        const qint64 id = insert->value(0).toLongLong();
        insert->finish();
        if (!inFile)
            putContent(name, content);
        m_log.appendUnderTask(taskId, ChangeKind::attachment, ChangeOp::created, id);
        transaction.commit();
        return TaskAttachment{id, filename, mimetype, qint64(content.size()), now};
    } catch (...) {
        if (inFile)
            removeContentFiles({name});
        throw;
    }
}

bool SqlStorage::deleteAttachment(qint64 userId, qint64 taskId, qint64 attachmentId) {
    QString name;
    {
        Transaction transaction(*this);
        {
            auto stored = prepare(u"SELECT a.stored_name FROM attachments a JOIN tasks t ON t.id = a.task_id"
                                  u" WHERE a.id = ? AND a.task_id = ? AND t.user_id = ?"_s);
            stored->addBindValue(attachmentId);
            stored->addBindValue(taskId);
            stored->addBindValue(userId);
            execute(stored);
            if (!stored->next())
                return false;
            name = attachmentContentName(stored->value(0).toString());
        }
        auto remove = prepare(u"DELETE FROM attachments WHERE id = ?"_s);
        remove->addBindValue(attachmentId);
        execute(remove);
        dropContents({name});
        m_log.append(userId, ChangeKind::attachment, ChangeOp::deleted, attachmentId, taskId);
        transaction.commit();
    }
    removeContentFiles({name});
    return true;
}

bool SqlStorage::writeContentFile(const QString& name, const QByteArray& bytes) {
    if (!m_contentFolder)
        return false;
    const QString path = m_contentFolder->filePath(name);
    if (!PrivateFiles::makeFolder(QFileInfo(path).path()) || !PrivateFiles::write(path, bytes))
        throw ServerError(ErrorKind::internal, u"Не удалось сохранить файл"_s);
    return true;
}

void SqlStorage::putContent(const QString& name, const QByteArray& bytes) {
    auto insert = prepare(u"INSERT INTO blobs (name, content) VALUES (?, ?)"_s);
    insert->addBindValue(name);
    // An empty file is still a file: a null array would be bound as NULL.
    insert->addBindValue(bytes.isNull() ? QByteArray("") : bytes);
    execute(insert);
}

std::optional<QByteArray> SqlStorage::content(const QString& name) {
    if (m_contentFolder) {
        QFile file(m_contentFolder->filePath(name));
        if (file.open(QIODevice::ReadOnly))
            return file.readAll();
    }
    auto query = prepare(u"SELECT content FROM blobs WHERE name = ?"_s);
    query->addBindValue(name);
    execute(query);
    if (!query->next())
        return std::nullopt;
    return query->value(0).toByteArray();
}

void SqlStorage::dropContents(const QStringList& names) {
    for (const QString& name : names) {
        auto remove = prepare(u"DELETE FROM blobs WHERE name = ?"_s);
        remove->addBindValue(name);
        execute(remove);
    }
}

void SqlStorage::removeContentFiles(const QStringList& names) {
    if (!m_contentFolder)
        return;
    for (const QString& name : names)
        QFile::remove(m_contentFolder->filePath(name));
}

QHash<QString, qint64> SqlStorage::createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return m_reports.createdPerDay(userId, fromDay, toDay);
}

QHash<QString, qint64> SqlStorage::completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return m_reports.completedPerDay(userId, fromDay, toDay);
}

QHash<QString, qint64> SqlStorage::createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) {
    return m_reports.createdPerPriority(userId, fromDay, toDay);
}

AdminStats SqlStorage::adminStats() {
    return m_reports.adminStats();
}

QList<AdminUser> SqlStorage::adminUsers() {
    return m_reports.adminUsers();
}

QList<OutboxEntry> SqlStorage::outbox() {
    return m_reports.outbox();
}

qint64 SqlStorage::latestRevision(qint64 userId, ChangeKind kind) {
    return m_log.latest(userId, kind);
}

qint64 SqlStorage::lastRevision() {
    return m_log.latest();
}

QList<Change> SqlStorage::changesAfter(qint64 revision, int limit, qint64& through) {
    return m_log.after(revision, limit, &through);
}

qint64 SqlStorage::pruneChangeLog() {
    Transaction transaction(*this);
    const qint64 removed = m_log.prune();
    transaction.commit();
    return removed;
}

QString SqlStorage::instanceId() {
    return m_instanceId;
}
