#include "SqlSchema.h"

#include "Secrets.h"
#include "ServerError.h"
#include "SqlConnection.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

// Each entry moves the schema one version on. {id} is an integer primary key the database numbers,
// {int} a 64-bit integer, {blob} bytes.
const QStringList migrations[] = {
    {
        u"CREATE TABLE users ("
        u" id {id},"
        u" telegram_id TEXT NOT NULL UNIQUE,"
        u" username TEXT, first_name TEXT, last_name TEXT, avatar_name TEXT,"
        u" is_admin INTEGER NOT NULL DEFAULT 0,"
        u" auto_send_bot INTEGER NOT NULL DEFAULT 0,"
        u" api_key TEXT UNIQUE,"
        u" created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE login_keys ("
        u" key_hash TEXT PRIMARY KEY,"
        u" user_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE sessions ("
        u" token_hash TEXT PRIMARY KEY,"
        u" user_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE folders ("
        u" id {id},"
        u" user_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" name TEXT NOT NULL, color TEXT NOT NULL, created_at TEXT NOT NULL)"_s,
        u"CREATE TABLE tasks ("
        u" id {id},"
        u" user_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" folder_id {int} REFERENCES folders(id) ON DELETE SET NULL,"
        u" title TEXT NOT NULL, description TEXT, deadline TEXT,"
        u" priority TEXT NOT NULL, status TEXT NOT NULL,"
        u" archived INTEGER NOT NULL DEFAULT 0, archived_at TEXT, completed_at TEXT,"
        u" created_at TEXT NOT NULL, updated_at TEXT NOT NULL,"
        u" source TEXT NOT NULL, sent_to_bot INTEGER NOT NULL DEFAULT 0)"_s,
        u"CREATE INDEX tasks_by_user ON tasks(user_id, archived, created_at)"_s,
        u"CREATE TABLE attachments ("
        u" id {id},"
        u" task_id {int} NOT NULL REFERENCES tasks(id) ON DELETE CASCADE,"
        u" filename TEXT NOT NULL, mimetype TEXT NOT NULL, size {int} NOT NULL,"
        u" stored_name TEXT NOT NULL, created_at TEXT NOT NULL)"_s,
        u"CREATE INDEX attachments_by_task ON attachments(task_id)"_s,
        u"CREATE TABLE outbox ("
        u" id {id},"
        u" user_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
        u" task_id {int} NOT NULL, telegram_id TEXT NOT NULL, text TEXT NOT NULL, created_at TEXT NOT NULL)"_s,
    },
    {
        // The change log: one row per change to a user's tasks, folders, settings or attachments,
        // written in the transaction of the change. The revision is the row's own number, one
        // sequence for all users; the newest row of each user and kind is never pruned, so the
        // sequence never goes back. No foreign key: a row outlives what it names.
        u"CREATE TABLE changes ("
        u" revision {id},"
        u" user_id {int} NOT NULL,"
        u" kind TEXT NOT NULL, op TEXT NOT NULL,"
        u" entity_id {int} NOT NULL, task_id {int})"_s,
        u"CREATE INDEX changes_by_user ON changes(user_id, kind, revision)"_s,
        // Tells this database from any other one behind the same address (entity tags carry it).
        u"CREATE TABLE instance (id TEXT NOT NULL)"_s,
    },
    {
        // Sign-in attempts per bucket (a client address, a key prefix) and second, shared by every
        // process serving the database; rows older than the window go as new ones come.
        u"CREATE TABLE login_attempts ("
        u" bucket TEXT NOT NULL, slot {int} NOT NULL, attempts INTEGER NOT NULL,"
        u" PRIMARY KEY (bucket, slot))"_s,
        // Attachment and avatar contents kept in the database itself, by their stored names
        // ("attachments/…", "avatars/…"), where no folder is shared by the processes serving it.
        u"CREATE TABLE blobs (name TEXT PRIMARY KEY, content {blob} NOT NULL)"_s,
        // Deleting a folder finds its tasks without reading all of them.
        u"CREATE INDEX tasks_by_folder ON tasks(folder_id)"_s,
    },
};

// Data a migration needs that SQL alone cannot make in a portable way.
void afterMigration(SqlConnection& connection, int reached) {
    if (reached == 2) {
        auto insert = connection.prepare(u"INSERT INTO instance (id) VALUES (?)"_s);
        insert->addBindValue(Secrets::randomUrlSafe(12));
        connection.execute(insert);
    }
}

} // namespace

namespace SqlSchema {

int latestVersion() {
    return int(std::size(migrations));
}

int version(SqlConnection& connection) {
    {
        auto exists = connection.prepare(connection.dialect().tableExists);
        exists->addBindValue(u"schema_version"_s);
        connection.execute(exists);
        if (!exists->next())
            return 0;
    }
    auto current = connection.prepare(u"SELECT MAX(version) FROM schema_version"_s);
    connection.execute(current);
    return current->next() ? current->value(0).toInt() : 0;
}

int migrate(SqlConnection& connection, int target) {
    if (version(connection) == target)
        return 0;
    const SqlDialect& dialect = connection.dialect();
    for (const QString& statement : dialect.beginMigration)
        connection.run(statement);
    try {
        connection.run(u"CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)"_s);
        const int from = version(connection);
        if (from > latestVersion())
            throw ServerError(ErrorKind::internal,
                              u"База данных создана более новой версией сервера (схема %1)"_s.arg(from));
        for (int next = from; next < target; ++next) {
            for (const QString& statement : migrations[next])
                connection.run(dialect.schema(statement));
            afterMigration(connection, next + 1);
            auto record = connection.prepare(u"INSERT INTO schema_version (version) VALUES (?)"_s);
            record->addBindValue(next + 1);
            connection.execute(record);
        }
        connection.run(u"COMMIT"_s);
        return qMax(0, target - from);
    } catch (...) {
        connection.rollback();
        throw;
    }
}

} // namespace SqlSchema
