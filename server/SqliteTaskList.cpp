#include "SqliteTaskList.h"

#include "JsonText.h"
#include "JsonWriter.h"
#include "SqlRows.h"
#include "TaskRowJson.h"

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

using namespace TaskRowJson;

constexpr int withStatus = 1;
constexpr int withFolder = 2;

QString sqlFor(int shape) {
    return select(shape & withStatus, shape & withFolder, [](int) { return u"?"_s; });
}

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
    : m_statements(connection) {}

QByteArray SqliteTaskList::json(qint64 user, const TaskFilter& filter) {
    sqlite3* db = m_statements.handle();
    const int shape = (filter.status ? withStatus : 0) | (filter.folderId ? withFolder : 0);
    sqlite3_stmt* query = m_statements.statement(db, shape, sqlFor(shape).toUtf8());
    const SqliteStatements::Reset reset{query};
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
            m_statements.fail(db, u"Unable to read the tasks"_s);
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
