#include "PostgresTaskList.h"

#include "JsonText.h"
#include "SqlConnection.h"
#include "TaskRowJson.h"

#include <QSqlDriver>
#include <QSqlError>

#include <libpq-fe.h>

#include <memory>

using namespace Qt::StringLiterals;
using namespace TaskRowJson;

namespace {

constexpr int withStatus = 1;
constexpr int withFolder = 2;

QByteArray statementName(int shape) {
    return "vexo_task_list_" + QByteArray::number(shape);
}

// The columns' type identifiers of PostgreSQL's catalogue.
constexpr Oid int2Type = 21;
constexpr Oid int4Type = 23;
constexpr Oid int8Type = 20;
constexpr Oid textType = 25;
constexpr Oid varcharType = 1043;

struct ResultDeleter {
    void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

// One row of the result. Integers arrive as their decimal text, which is what the record's number
// prints as.
class Row {
public:
    Row(const PGresult* result, const std::array<Kind, Column::columnCount>& kinds, int row)
        : m_result(result)
        , m_kinds(kinds)
        , m_row(row) {}

    Kind kind(int column) const { return PQgetisnull(m_result, m_row, column) ? Kind::null : m_kinds[column]; }
    std::string_view text(int column) const {
        return std::string_view(PQgetvalue(m_result, m_row, column), std::size_t(PQgetlength(m_result, m_row, column)));
    }
    void writeInteger(JsonText& out, int column) const { out.raw(text(column)); }

private:
    const PGresult* m_result;
    const std::array<Kind, Column::columnCount>& m_kinds;
    int m_row;
};

} // namespace

PostgresTaskList::PostgresTaskList(SqlConnection& connection,
                                   std::function<QByteArray(qint64, const TaskFilter&)> general)
    : m_connection(connection)
    , m_general(std::move(general)) {}

QByteArray PostgresTaskList::json(qint64 userId, const TaskFilter& filter) {
    const auto general = [this](qint64 user, const TaskFilter& which) {
        ++m_generalLists;
        return m_general(user, which);
    };
    // Inside a transaction of the storage's the list goes the general way, on its snapshot.
    if (m_connection.inTransaction())
        return general(userId, filter);
    m_connection.open();
    const QVariant handle = m_connection.database().driver()->handle();
    PGconn* session =
        qstrcmp(handle.typeName(), "pg_conn*") == 0 ? *static_cast<PGconn* const*>(handle.constData()) : nullptr;
    if (!session || PQstatus(session) != CONNECTION_OK)
        return general(userId, filter);
    // A new session has none of the statements (a reused address does not tell: a statement that
    // is missing is prepared again below).
    if (session != m_session) {
        m_session = session;
        m_prepared.fill(false);
    }
    const int shape = (filter.status ? withStatus : 0) | (filter.folderId ? withFolder : 0);
    const QByteArray name = statementName(shape);
    const auto fail = [&](const PGresult* result) {
        const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
        m_connection.fail(
            QSqlError(u"Unable to read the tasks"_s, QString::fromUtf8(PQerrorMessage(session)).trimmed(),
                      PQstatus(session) == CONNECTION_OK ? QSqlError::StatementError : QSqlError::ConnectionError,
                      state ? QString::fromLatin1(state) : QString()));
    };
    const auto prepare = [&] {
        const QByteArray sql =
            select(shape & withStatus, shape & withFolder, [](int n) { return u"$%1"_s.arg(n); }).toUtf8();
        const Result prepared(PQprepare(session, name.constData(), sql.constData(), 0, nullptr));
        if (PQresultStatus(prepared.get()) != PGRES_COMMAND_OK)
            fail(prepared.get());
        m_prepared[std::size_t(shape)] = true;
    };
    if (!m_prepared[std::size_t(shape)])
        prepare();

    const QByteArray user = QByteArray::number(userId);
    const QByteArray status = filter.status ? rawValue(*filter.status).toUtf8() : QByteArray();
    const QByteArray folder = filter.folderId ? QByteArray::number(*filter.folderId) : QByteArray();
    std::array<const char*, 4> values{user.constData(), filter.archived ? "1" : "0"};
    int count = 2;
    if (filter.status)
        values[std::size_t(count++)] = status.constData();
    if (filter.folderId)
        values[std::size_t(count++)] = folder.constData();
    const auto run = [&] {
        return Result(PQexecPrepared(session, name.constData(), count, values.data(), nullptr, nullptr, 0));
    };
    Result result = run();
    if (PQresultStatus(result.get()) != PGRES_TUPLES_OK) {
        const char* state = PQresultErrorField(result.get(), PG_DIAG_SQLSTATE);
        // 26000: the statement is not there (a new session at the old one's address).
        if (!state || qstrcmp(state, "26000") != 0)
            fail(result.get());
        prepare();
        result = run();
        if (PQresultStatus(result.get()) != PGRES_TUPLES_OK)
            fail(result.get());
    }

    std::array<Kind, Column::columnCount> kinds{};
    if (PQnfields(result.get()) != Column::columnCount)
        return general(userId, filter);
    for (int column = 0; column < Column::columnCount; ++column) {
        const Oid type = PQftype(result.get(), column);
        kinds[std::size_t(column)] = type == int2Type || type == int4Type || type == int8Type ? Kind::integer
                                     : type == textType || type == varcharType                ? Kind::text
                                                                                              : Kind::other;
    }
    qsizetype& lastSize = m_lastSize[std::size_t(shape)];
    JsonText out(lastSize + lastSize / 8 + 256);
    out.raw(R"({"tasks":[)");
    const int rows = PQntuples(result.get());
    for (int row = 0; row < rows; ++row) {
        if (row > 0)
            out.raw(',');
        if (!TaskRowJson::write(Row(result.get(), kinds, row), out))
            return general(userId, filter);
    }
    out.raw("]}");
    lastSize = out.size();
    return out.take();
}
