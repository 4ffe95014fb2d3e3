#include "SqliteTaskList.h"

#include "JsonText.h"
#include "JsonWriter.h"
#include "SqlConnection.h"
#include "SqlRows.h"
#include "TaskRowJson.h"

#include <QSqlDriver>
#include <QSqlError>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

using namespace TaskRowJson;

constexpr int withStatus = 1;
constexpr int withFolder = 2;

QString sqlFor(int shape) {
    return select(shape & withStatus, shape & withFolder, [](int) { return u"?"_s; });
}

// Leaves the statement reset whatever happens: no read stays open between requests.
struct Reset {
    sqlite3_stmt* statement;
    ~Reset() {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
};

// The statement's current row. Each column is fetched once, as a value: every sqlite3_column_*
// call takes the connection's mutex, and a row is fifteen of them.
class Row {
public:
    explicit Row(sqlite3_stmt* statement) {
        for (int column = 0; column < Column::columnCount; ++column) {
            m_values[column] = sqlite3_column_value(statement, column);
            switch (sqlite3_value_type(m_values[column])) {
            case SQLITE_NULL:
                m_kinds[column] = Kind::null;
                break;
            case SQLITE_INTEGER:
                m_kinds[column] = Kind::integer;
                break;
            case SQLITE_TEXT:
                m_kinds[column] = Kind::text;
                break;
            default:
                m_kinds[column] = Kind::other;
            }
        }
    }

    Kind kind(int column) const { return m_kinds[column]; }
    std::string_view text(int column) const {
        const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(m_values[column]));
        return std::string_view(text ? text : "", std::size_t(sqlite3_value_bytes(m_values[column])));
    }
    void writeInteger(JsonText& out, int column) const { out.number(sqlite3_value_int64(m_values[column])); }

private:
    std::array<sqlite3_value*, Column::columnCount> m_values{};
    std::array<Kind, Column::columnCount> m_kinds{};
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
        if (TaskRowJson::write(Row(query), out))
            continue;
        out.truncate(rowStart);
        ++m_generalRows;
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
