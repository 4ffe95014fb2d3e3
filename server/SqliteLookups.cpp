#include "SqliteLookups.h"

#include "SqlRows.h"

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

enum Slot { sessionUser, latestRevision };

std::optional<QString> optionalText(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL)
        return std::nullopt;
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(statement, column));
}

} // namespace

SqliteLookups::SqliteLookups(SqlConnection& connection)
    : m_statements(connection) {}

std::optional<StoredUser> SqliteLookups::userBySessionHash(const QString& tokenHash) {
    sqlite3* db = m_statements.handle();
    static const QByteArray sql = (u"SELECT "_s + SqlRows::userColumns +
                                   u" FROM users WHERE id = (SELECT user_id FROM sessions WHERE token_hash = ?)"_s)
                                      .toUtf8();
    sqlite3_stmt* query = m_statements.statement(db, sessionUser, sql);
    const SqliteStatements::Reset reset{query};
    const QByteArray hash = tokenHash.toUtf8();
    sqlite3_bind_text(query, 1, hash.constData(), int(hash.size()), SQLITE_STATIC);
    const int code = sqlite3_step(query);
    if (code == SQLITE_DONE)
        return std::nullopt;
    if (code != SQLITE_ROW)
        m_statements.fail(db, u"Unable to read the session"_s);
    StoredUser stored;
    stored.user.id = sqlite3_column_int64(query, 0);
    stored.user.telegramId = optionalText(query, 1).value_or(QString());
    stored.user.username = optionalText(query, 2);
    stored.user.firstName = optionalText(query, 3);
    stored.user.lastName = optionalText(query, 4);
    stored.user.avatarUrl = optionalText(query, 5);
    stored.user.isAdmin = sqlite3_column_int64(query, 6) == 1;
    stored.autoSendBot = sqlite3_column_int64(query, 7) == 1;
    stored.apiKey = optionalText(query, 8);
    return stored;
}

qint64 SqliteLookups::latestRevision(qint64 userId, ChangeKind kind) {
    sqlite3* db = m_statements.handle();
    sqlite3_stmt* query = m_statements.statement(db, Slot::latestRevision,
                                                 "SELECT MAX(revision) FROM changes WHERE user_id = ? AND kind = ?");
    const SqliteStatements::Reset reset{query};
    const QByteArray name = changeKindName(kind).toUtf8();
    sqlite3_bind_int64(query, 1, userId);
    sqlite3_bind_text(query, 2, name.constData(), int(name.size()), SQLITE_STATIC);
    const int code = sqlite3_step(query);
    if (code != SQLITE_ROW)
        m_statements.fail(db, u"Unable to read the latest revision"_s);
    return sqlite3_column_int64(query, 0);
}
