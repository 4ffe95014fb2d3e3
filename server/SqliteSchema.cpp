#include "SqliteSchema.h"

#include "Secrets.h"
#include "ServerError.h"
#include "SqliteRows.h"

#include <QSqlError>
#include <QStringList>

using namespace Qt::StringLiterals;
using namespace SqliteRows;

namespace {

// Each entry moves the schema one version on.
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
    {
        // The change log: one row per change to a user's tasks, folders, settings or attachments,
        // written in the transaction of the change. The revision is the row's own number, one
        // sequence for all users; the newest row of each user and kind is never pruned, so the
        // sequence never goes back. No foreign key: a row outlives what it names.
        u"CREATE TABLE changes ("
        u" revision INTEGER PRIMARY KEY,"
        u" user_id INTEGER NOT NULL,"
        u" kind TEXT NOT NULL, op TEXT NOT NULL,"
        u" entity_id INTEGER NOT NULL, task_id INTEGER)"_s,
        u"CREATE INDEX changes_by_user ON changes(user_id, kind, revision)"_s,
        // Tells this database from any other one behind the same address (entity tags carry it).
        u"CREATE TABLE instance (id TEXT NOT NULL)"_s,
    },
};

// Data a migration needs that SQL alone cannot make in a portable way.
void afterMigration(const QSqlDatabase& db, int reached) {
    if (reached == 2) {
        QSqlQuery insert = prepare(db, u"INSERT INTO instance (id) VALUES (?)"_s);
        insert.addBindValue(Secrets::randomUrlSafe(12));
        execute(insert);
    }
}

} // namespace

namespace SqliteSchema {

int latestVersion() {
    return int(std::size(migrations));
}

int version(const QSqlDatabase& db) {
    QSqlQuery exists(db);
    if (!exists.exec(u"SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'schema_version'"_s))
        fail(exists.lastError());
    if (!exists.next())
        return 0;
    QSqlQuery current(db);
    if (!current.exec(u"SELECT MAX(version) FROM schema_version"_s))
        fail(current.lastError());
    return current.next() ? current.value(0).toInt() : 0;
}

int migrate(const QSqlDatabase& db, int target) {
    if (version(db) == target)
        return 0;
    run(db, u"BEGIN IMMEDIATE"_s);
    try {
        run(db, u"CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)"_s);
        const int from = version(db);
        if (from > latestVersion())
            throw ServerError(ErrorKind::internal,
                              u"База данных создана более новой версией сервера (схема %1)"_s.arg(from));
        for (int next = from; next < target; ++next) {
            for (const QString& statement : migrations[next])
                run(db, statement);
            afterMigration(db, next + 1);
            QSqlQuery record = prepare(db, u"INSERT INTO schema_version (version) VALUES (?)"_s);
            record.addBindValue(next + 1);
            execute(record);
        }
        run(db, u"COMMIT"_s);
        return qMax(0, target - from);
    } catch (...) {
        QSqlQuery(db).exec(u"ROLLBACK"_s);
        throw;
    }
}

} // namespace SqliteSchema
