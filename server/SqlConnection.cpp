#include "SqlConnection.h"

#include "ServerError.h"
#include "ServerLog.h"

#include <QSqlDriver>
#include <QSqlError>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Statements kept at most; the storage uses a few dozen.
constexpr qsizetype maxStatements = 256;

// Qt's PostgreSQL driver frees a prepared statement on the server when the statement goes, and
// warns when it cannot: on a connection that was lost, that is every statement, and nothing is lost.
QtMessageHandler previousHandler = nullptr;

void quietAboutLostStatements(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg && message.startsWith(u"Unable to free statement"_s))
        return;
    if (previousHandler)
        previousHandler(type, context, message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
}

ServerError unavailable() {
    return ServerError(ErrorKind::unavailable, u"Хранилище временно недоступно, попробуйте позже"_s);
}

} // namespace

SqlConnection::Statement::Statement(Statement&& other) noexcept
    : m_query(std::exchange(other.m_query, nullptr))
    , m_busy(std::exchange(other.m_busy, nullptr))
    , m_own(std::move(other.m_own)) {}

SqlConnection::Statement::~Statement() {
    if (m_query)
        m_query->finish();
    if (m_busy)
        *m_busy = false;
}

SqlConnection::SqlConnection(const SqlDialect& dialect, const QSqlDatabase& database,
                             std::function<void(SqlConnection&)> setUp)
    : m_dialect(dialect)
    , m_db(database)
    , m_setUp(std::move(setUp)) {}

SqlConnection::~SqlConnection() {
    close();
}

void SqlConnection::forgetStatements() {
    if (m_db.isOpen() || m_statements.isEmpty()) {
        m_statements.clear();
        return;
    }
    previousHandler = qInstallMessageHandler(quietAboutLostStatements);
    m_statements.clear();
    qInstallMessageHandler(previousHandler);
}

void SqlConnection::close() {
    forgetStatements();
    m_db.close();
    m_inTransaction = false;
}

void SqlConnection::release() {
    close();
    m_db = QSqlDatabase();
}

void SqlConnection::open() {
    if (m_db.isOpen())
        return;
    // Never half a transaction on one connection and the rest on another.
    if (m_inTransaction)
        throw unavailable();
    close();
    if (!m_db.open()) {
        if (!m_lost)
            qCWarning(lcServer).noquote() << "the database cannot be reached:" << m_db.lastError().text().trimmed();
        m_lost = true;
        throw unavailable();
    }
    if (m_setUp) {
        try {
            m_setUp(*this);
        } catch (...) {
            close();
            throw;
        }
    }
    if (std::exchange(m_lost, false))
        qCInfo(lcServer) << "the database is reachable again";
}

SqlConnection::Statement SqlConnection::prepare(const QString& sql) {
    open();
    std::shared_ptr<Cached>& cached = m_statements[sql];
    if (cached && !cached->busy) {
        cached->busy = true;
        return Statement(&cached->query, &cached->busy);
    }
    auto query = std::make_unique<QSqlQuery>(m_db);
    if (!query->prepare(sql))
        fail(query->lastError());
    // A statement already lent (a caller reading while it calls itself) gets one of its own.
    if (cached)
        return Statement(std::move(query));
    if (m_statements.size() > maxStatements) {
        m_statements.remove(sql);
        return Statement(std::move(query));
    }
    cached = std::make_shared<Cached>(Cached{std::move(*query), true});
    return Statement(&cached->query, &cached->busy);
}

void SqlConnection::execute(Statement& statement) {
    if (!statement->exec())
        fail(statement->lastError());
}

void SqlConnection::run(const QString& sql) {
    open();
    QSqlQuery query(m_db);
    if (!query.exec(sql))
        fail(query.lastError());
}

void SqlConnection::begin() {
    open();
    if (!m_db.transaction())
        fail(m_db.lastError());
    m_inTransaction = true;
}

void SqlConnection::commit() {
    const bool committed = m_db.commit();
    m_inTransaction = false;
    if (!committed)
        fail(m_db.lastError());
}

void SqlConnection::rollback() {
    m_inTransaction = false;
    if (m_db.isOpen())
        m_db.rollback();
}

void SqlConnection::fail(const QSqlError& error) {
    if (!m_db.isOpen() || m_dialect.isUnavailable(error)) {
        if (!m_db.isOpen() && !m_lost) {
            m_lost = true;
            qCWarning(lcServer).noquote() << "the connection to the database was lost:" << error.text().trimmed();
        }
        throw unavailable();
    }
    throw ServerError(ErrorKind::internal, u"Ошибка хранилища: "_s + error.text());
}
