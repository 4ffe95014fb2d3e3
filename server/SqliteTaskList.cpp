#include "SqliteTaskList.h"

#include "JsonText.h"
#include "JsonWriter.h"
#include "SqlConnection.h"
#include "SqlRows.h"

#include <QSqlDriver>
#include <QSqlError>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

enum Column {
    id,
    title,
    description,
    deadline,
    priority,
    status,
    archived,
    archivedAt,
    completedAt,
    createdAt,
    updatedAt,
    source,
    sentToBot,
    folderId,
    userId,
    columnCount
};

constexpr int withStatus = 1;
constexpr int withFolder = 2;

QString sqlFor(int shape) {
    QString sql = u"SELECT "_s + SqlRows::taskColumns + u" FROM tasks WHERE user_id = ? AND archived = ?"_s;
    if (shape & withStatus)
        sql += u" AND status = ?"_s;
    if (shape & withFolder)
        sql += u" AND folder_id = ?"_s;
    return sql + u" ORDER BY created_at DESC, id DESC"_s;
}

// Leaves the statement reset whatever happens: no read stays open between requests.
struct Reset {
    sqlite3_stmt* statement;
    ~Reset() {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
};

// One row written straight from the statement; false, with something written, for a row that
// needs QtSql's reading. Each column is fetched once, as a value: every sqlite3_column_* call
// takes the connection's mutex, and a row is fifteen of them.
class RowWriter {
public:
    RowWriter(sqlite3_stmt* statement, JsonText& out)
        : m_statement(statement)
        , m_out(out) {}

    bool write() {
        for (int column = 0; column < Column::columnCount; ++column) {
            m_values[column] = sqlite3_column_value(m_statement, column);
            m_types[column] = sqlite3_value_type(m_values[column]);
        }
        m_out.raw(R"({"id":)");
        if (!integer(Column::id, false))
            return false;
        m_out.raw(R"(,"title":)");
        if (!text(Column::title))
            return false;
        if (!optionalText(Column::description, R"(,"description":)") ||
            !optionalText(Column::deadline, R"(,"deadline":)"))
            return false;
        m_out.raw(R"(,"priority":)");
        if (!word(Column::priority, {"high", "medium", "low"}, "medium"))
            return false;
        m_out.raw(R"(,"status":)");
        if (!word(Column::status, {"pending", "done", "cancelled"}, "pending"))
            return false;
        m_out.raw(R"(,"archived":)");
        if (!integer(Column::archived, true) || !optionalText(Column::archivedAt, R"(,"archived_at":)") ||
            !optionalText(Column::completedAt, R"(,"completed_at":)"))
            return false;
        m_out.raw(R"(,"created_at":)");
        if (!text(Column::createdAt) || !optionalText(Column::updatedAt, R"(,"updated_at":)") ||
            !optionalText(Column::source, R"(,"source":)"))
            return false;
        m_out.raw(R"(,"sent_to_bot":)");
        if (!integer(Column::sentToBot, true))
            return false;
        if (m_types[Column::folderId] == SQLITE_INTEGER) {
            m_out.raw(R"(,"folder_id":)");
            m_out.number(sqlite3_value_int64(m_values[Column::folderId]));
        } else if (m_types[Column::folderId] != SQLITE_NULL) {
            return false;
        }
        m_out.raw(R"(,"user_id":)");
        if (!integer(Column::userId, true))
            return false;
        m_out.raw('}');
        return true;
    }

private:
    std::string_view bytes(int column) const {
        const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(m_values[column]));
        return std::string_view(text ? text : "", std::size_t(sqlite3_value_bytes(m_values[column])));
    }

    // A number read as a number; NULL reads as 0 where the record has no absent value.
    bool integer(int column, bool nullIsZero) {
        if (m_types[column] == SQLITE_INTEGER)
            m_out.number(sqlite3_value_int64(m_values[column]));
        else if (m_types[column] == SQLITE_NULL && nullIsZero)
            m_out.raw('0');
        else
            return false;
        return true;
    }

    // Text, taken only when it is valid UTF-8 as stored: what going to UTF-16 and back gives
    // unchanged. NULL reads as empty text where the record has no absent value.
    bool text(int column) {
        if (m_types[column] == SQLITE_NULL) {
            m_out.raw(R"("")");
            return true;
        }
        return m_types[column] == SQLITE_TEXT && m_out.string(bytes(column));
    }

    bool optionalText(int column, std::string_view key) {
        if (m_types[column] == SQLITE_NULL)
            return true;
        if (m_types[column] != SQLITE_TEXT)
            return false;
        m_out.raw(key);
        return m_out.string(bytes(column));
    }

    // One of the enumeration's words; anything else reads as its default.
    bool word(int column, std::initializer_list<std::string_view> words, std::string_view fallback) {
        const int kind = m_types[column];
        if (kind != SQLITE_TEXT && kind != SQLITE_NULL)
            return false;
        const std::string_view view = kind == SQLITE_TEXT ? bytes(column) : std::string_view();
        std::string_view chosen = fallback;
        for (const std::string_view known : words) {
            if (view == known)
                chosen = known;
        }
        m_out.raw('"');
        m_out.raw(chosen);
        m_out.raw('"');
        return true;
    }

    sqlite3_stmt* m_statement;
    JsonText& m_out;
    std::array<sqlite3_value*, Column::columnCount> m_values{};
    std::array<int, Column::columnCount> m_types{};
};

// A column's value as QtSql's SQLite driver gives it.
QVariant qtValue(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return QVariant(qint64(sqlite3_column_int64(statement, column)));
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(statement, column));
    case SQLITE_NULL:
        return QVariant();
    case SQLITE_BLOB:
        return QByteArray(static_cast<const char*>(sqlite3_column_blob(statement, column)),
                          sqlite3_column_bytes(statement, column));
    default:
        return QString::fromUtf16(static_cast<const char16_t*>(sqlite3_column_text16(statement, column)),
                                  sqlite3_column_bytes16(statement, column) / qsizetype(sizeof(char16_t)));
    }
}

} // namespace

SqliteTaskList::SqliteTaskList(SqlConnection& connection)
    : m_connection(connection) {}

SqliteTaskList::~SqliteTaskList() {
    release();
}

void SqliteTaskList::release() {
    for (sqlite3_stmt*& statement : m_statements) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    m_db = nullptr;
}

sqlite3* SqliteTaskList::handle() {
    m_connection.open();
    const QVariant handle = m_connection.database().driver()->handle();
    sqlite3* db =
        qstrcmp(handle.typeName(), "sqlite3*") == 0 ? *static_cast<sqlite3* const*>(handle.constData()) : nullptr;
    if (!db)
        m_connection.fail(QSqlError(u"No SQLite connection"_s, QString(), QSqlError::ConnectionError));
    // A connection opened again: the statements of the old one kept it from closing, so they can
    // still be finalized, and it closes with the last of them.
    if (db != m_db) {
        release();
        m_db = db;
    }
    return db;
}

sqlite3_stmt* SqliteTaskList::statement(sqlite3* db, int shape) {
    sqlite3_stmt*& statement = m_statements[std::size_t(shape)];
    if (!statement) {
        const QByteArray sql = sqlFor(shape).toUtf8();
        const int code =
            sqlite3_prepare_v3(db, sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        if (code != SQLITE_OK) {
            sqlite3_finalize(statement);
            statement = nullptr;
            fail(db);
        }
    }
    return statement;
}

void SqliteTaskList::fail(sqlite3* db) {
    m_connection.fail(QSqlError(u"Unable to read the tasks"_s, QString::fromUtf8(sqlite3_errmsg(db)),
                                QSqlError::StatementError, QString::number(sqlite3_extended_errcode(db))));
}

QByteArray SqliteTaskList::json(qint64 user, const TaskFilter& filter) {
    sqlite3* db = handle();
    const int shape = (filter.status ? withStatus : 0) | (filter.folderId ? withFolder : 0);
    sqlite3_stmt* query = statement(db, shape);
    const Reset reset{query};
    int parameter = 1;
    sqlite3_bind_int64(query, parameter++, user);
    sqlite3_bind_int(query, parameter++, filter.archived ? 1 : 0);
    if (filter.status) {
        const QByteArray status = rawValue(*filter.status).toUtf8();
        sqlite3_bind_text(query, parameter++, status.constData(), int(status.size()), SQLITE_TRANSIENT);
    }
    if (filter.folderId)
        sqlite3_bind_int64(query, parameter++, *filter.folderId);

    qsizetype& lastSize = m_lastSize[std::size_t(shape)];
    JsonText out(lastSize + lastSize / 8 + 256);
    out.raw(R"({"tasks":[)");
    bool first = true;
    for (;;) {
        const int code = sqlite3_step(query);
        if (code == SQLITE_DONE)
            break;
        if (code != SQLITE_ROW)
            fail(db);
        if (!first)
            out.raw(',');
        first = false;
        const qsizetype rowStart = out.size();
        if (RowWriter(query, out).write())
            continue;
        out.truncate(rowStart);
        QVariantList values;
        values.reserve(Column::columnCount);
        for (int column = 0; column < Column::columnCount; ++column)
            values.append(qtValue(query, column));
        const QByteArray row = encodeJson(SqlRows::taskFrom(values));
        out.raw(std::string_view(row.constData(), std::size_t(row.size())));
    }
    out.raw("]}");
    lastSize = out.size();
    return out.take();
}
